#include "daemon.h"

#include "files.h"
#include "records.h"

#include <algorithm>
#include <cinttypes>
#include <cstring>
#include <ctime>
#include <libtorrent/alert_types.hpp>
#include <libtorrent/magnet_uri.hpp>
#include <libtorrent/peer_info.hpp>
#include <libtorrent/session_params.hpp>
#include <libtorrent/session_stats.hpp>
#include <libtorrent/settings_pack.hpp>
#include <libtorrent/write_resume_data.hpp>
#include <utility>

namespace torrentd {
namespace {

constexpr int32_t log_error = 1;
constexpr int32_t log_event = 5;
constexpr int32_t look_every_s = 5; // a message may have been lost
constexpr int32_t save_every_s = 10;
constexpr int32_t details_every_s = 60;
constexpr auto all_of_it = lt::torrent_handle::save_info_dict | lt::torrent_handle::flush_disk_cache;

void log(int32_t level, int32_t task, const std::string &text) {
    err_log(level, ERR_MODULE_MAIN, "task %" PRId32 ": %s\n", task, text.c_str());
}

std::vector<std::string> paths_of(const lt::torrent_info &torrent) {
    std::vector<std::string> paths;
    for (const lt::file_index_t file : torrent.files().file_range()) {
        paths.push_back(torrent.files().file_path(file));
    }
    return paths;
}

std::vector<lt::download_priority_t> priorities_of(const std::vector<bool> &wanted) {
    std::vector<lt::download_priority_t> priorities;
    for (const bool file : wanted) {
        priorities.push_back(file ? lt::default_priority : lt::dont_download);
    }
    return priorities;
}

lt::session_params settings(const Options &options) {
    lt::session_params params;
    params.settings.set_str(lt::settings_pack::listen_interfaces, options.listen);
    params.settings.set_int(lt::settings_pack::alert_mask,
                            lt::alert_category::status | lt::alert_category::error | lt::alert_category::storage);
    for (const int way : {lt::settings_pack::enable_dht, lt::settings_pack::enable_lsd, lt::settings_pack::enable_upnp,
                          lt::settings_pack::enable_natpmp}) {
        params.settings.set_bool(way, options.discovery);
    }
    return params;
}

} // namespace

Daemon::Daemon(const Options &options, const std::function<void()> &ring)
    : session_(settings(options)), store_(ring), mover_(ring) {
    session_.set_alert_notify(ring);
    store_.post({0, tables}, [] {
        create_tables();
        return true;
    });
    store_.post({0, totals}, [this] {
        const auto found = read_totals();
        if (found) {
            store_.answer([this, found] {
                totals_ = *found;
                base_download_ = totals_.total_download * int64_t{TQ_SESSION_TOTAL_UNIT};
                base_upload_ = totals_.total_upload * int64_t{TQ_SESSION_TOTAL_UNIT};
            });
        }
        return found.has_value();
    });
}

void Daemon::handle_events() {
    std::vector<lt::alert *> alerts;
    session_.pop_alerts(&alerts);
    for (lt::alert *alert : alerts) {
        handle(alert);
    }
    // A torrent lives until the last of its disk operations is done.
    const auto closing = closing_;
    for (const auto &[handle, closed] : closing) {
        if (!handle.is_valid()) {
            closing_.erase(handle);
            closed();
        }
    }
    store_.run_answers();
    mover_.run_answers();
}

void Daemon::obey(const BtMessage &message) {
    if (message.mtype != BT_MSG_COMMAND) {
        return; // the folder is read anew for each task
    }
    look_soon_ = look_soon_ || message.param1 == TQ_COMMAND_LOOK || message.param1 == TQ_COMMAND_RELEASE;
    for (const auto &[id, task] : tasks_) {
        if (message.param2 != 0 && message.param2 != id) {
            continue;
        }
        if (message.param1 == TQ_COMMAND_PAUSE || message.param1 == TQ_COMMAND_RESUME) {
            pause(task, message.param1 == TQ_COMMAND_PAUSE);
        } else if (message.param1 == TQ_COMMAND_FILES_CHOSEN) {
            choose_files(task);
        }
    }
}

void Daemon::tick() {
    if (look_soon_ || ticks_ % look_every_s == 0) {
        look();
    }
    session_.post_torrent_updates(lt::torrent_handle::query_pieces);
    session_.post_session_stats();
    for (const auto &[id, task] : tasks_) {
        if (ticks_ % save_every_s == 0 && task->status.need_save_resume && !task->must_match && !task->moving) {
            save_fast_resume(task);
        }
        if (ticks_ % details_every_s == 0) {
            write_details(task);
        }
    }
    ++ticks_;
}

void Daemon::end() {
    session_.pause();
    for (const auto &[id, task] : tasks_) {
        if (!task->must_match && !task->moving) {
            save_fast_resume(task);
        }
    }
    const auto late = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (saving_ > 0 && std::chrono::steady_clock::now() < late) {
        session_.wait_for_alert(std::chrono::milliseconds(100));
        handle_events();
    }
    for (const auto &[id, task] : tasks_) {
        task->status.download_payload_rate = task->status.upload_payload_rate = 0;
        write_progress(task);
    }
    store_.finish(25);
}

// ---- From the store

void Daemon::look() {
    look_soon_ = false;
    store_.post({0, list}, [this] {
        auto rows = list_tasks();
        store_.answer([this, rows = std::move(rows)] {
            if (rows.has_value()) {
                compare(*rows);
            } else if (answered_) {
                err_log(log_error, ERR_MODULE_MAIN,
                        "the store does not answer; going on with the tasks as they were\n");
            }
            answered_ = rows.has_value();
        });
        return true;
    });
}

void Daemon::compare(const std::vector<TaskRow> &rows) {
    std::set<int32_t> listed;
    for (const TaskRow &row : rows) {
        listed.insert(row.id);
        const auto known = tasks_.find(row.id);
        if (row.marker != TQ_MARKER_NONE) {
            let_go(row);
        } else if (known != tasks_.end()) {
            known->second->row.move_folder = row.move_folder;
        } else if (std::any_of(tasks_.begin(), tasks_.end(), [&](const auto &task) {
                       return !row.hash.empty() && task.second->row.hash == row.hash;
                   })) {
            if (twins_.insert(row.id).second) {
                log(log_error, row.id, "another task has the same torrent; it waits for the removal of that one");
            }
        } else {
            const auto task = std::make_shared<Task>();
            task->row = row;
            task->paused = row.paused;
            task->state = row.state;
            tasks_[row.id] = task;
            if (row.state != TQ_BT_STATE_FAILED) { // that one waits to be resumed
                start(task);
            }
        }
    }
    std::erase_if(releasing_, [&](int32_t id) { return !listed.contains(id); });
    const auto all = tasks_; // dropping changes it
    for (const auto &[id, task] : all) {
        if (!listed.contains(id)) {
            drop(task);
        }
    }
}

// The answer to a removal, also for a task that was never loaded. It is given when the last file is closed, together
// with what the removal goes by: the name of the data, and whether it is in the move folder.
void Daemon::let_go(const TaskRow &row) {
    const auto known = tasks_.find(row.id);
    const Pointer task = known != tasks_.end() ? known->second : nullptr;
    if (task != nullptr) {
        task->row.marker = row.marker;
    }
    if (row.marker == TQ_MARKER_RELEASED || releasing_.contains(row.id) || (task != nullptr && task->moving)) {
        return;
    }
    log(log_event, row.id, "let go, to be removed");
    const BtTaskRecord last = task != nullptr ? record_of(*task) : BtTaskRecord{};
    const auto answer = [this, last, id = row.id] {
        store_.post({id, marker}, [last, id] { return release_task(last, id); });
    };
    releasing_.insert(row.id);
    store_.forget(row.id);
    tasks_.erase(row.id);
    if (task != nullptr) {
        take_out(task, answer);
    } else {
        answer();
    }
}

// A task whose row is gone. Whoever removed it did not wait, so something may have been written since.
void Daemon::drop(const Pointer &task) {
    const int32_t id = task->row.id;
    if (task->moving) {
        task->gone = true;
        return;
    }
    log(log_event, id, "was removed");
    store_.forget(id);
    tasks_.erase(id);
    const bool with_data = task->row.marker == TQ_MARKER_REMOVE_WITH_DATA;
    take_out(task, [this, id, with_data, directory = task->directory, name = task->row.name] {
        store_.post({id, cleanup}, [id, with_data, directory, name] {
            if (!directory.empty()) {
                remove_files(directory, name, with_data);
            }
            return delete_details(id);
        });
    });
}

// ---- A task's way into the session and out of it

void Daemon::start(const Pointer &task) {
    TaskRow &row = task->row;
    task->metadata = {};
    task->state = TQ_BT_STATE_QUEUED;
    lt::error_code error;
    lt::add_torrent_params link = lt::parse_magnet_uri(row.magnet_link, error);
    std::optional<lt::add_torrent_params> torrent;
    for (const std::string &directory : {directory_of(row.move_folder), download_directory()}) {
        if (!torrent && !directory.empty()) {
            torrent = read_fast_resume(directory, row.name, row.hash);
        }
    }
    if (!torrent && !row.torrent_file.empty()) {
        torrent = read_torrent_file(row.torrent_file);
    }
    if (!torrent && error) {
        return fail(task, "there is neither a torrent file that can be read nor a magnet link");
    }
    const std::string hash_found = hash_text(torrent ? torrent->ti->info_hashes() : link.info_hashes);
    if (row.hash.empty()) {
        row.hash = hash_found;
        store_.post({row.id, hash}, [id = row.id, hash_found] {
            return bt_db_update_task_hash_by_task_id(id, hash_found.c_str()) == BTDB_OK;
        });
    }
    if (!same_hash(row.hash, hash_found)) {
        return fail(task, "the torrent is another one than the task's");
    }
    if (torrent) {
        torrent->peers.insert(torrent->peers.end(), link.peers.begin(), link.peers.end());
        return open(task, std::move(*torrent));
    }
    // Until the metadata is there, nobody knows under which name something would be written: so nothing can be.
    link.save_path = "/dev/null";
    link.flags = lt::torrent_flags::update_subscribe | lt::torrent_flags::duplicate_is_error;
    link.flags |= task->paused ? lt::torrent_flags::paused : lt::torrent_flags_t{};
    put_in(task, std::move(link));
}

void Daemon::open(const Pointer &task, lt::add_torrent_params torrent) {
    TaskRow &row = task->row;
    const std::string name = data_name(*torrent.ti);
    if (name.empty()) {
        return fail(task, "the torrent's name is not one that its data can have");
    }
    for (const auto &[id, other] : tasks_) {
        const std::string &taken = other->row.name;
        if (other != task && !other->directory.empty() &&
            (taken == name || taken == name + TQ_FAST_RESUME_SUFFIX || name == taken + TQ_FAST_RESUME_SUFFIX)) {
            return fail(task, "its name is that of task " + std::to_string(id));
        }
    }
    const bool finished = row.state == TQ_BT_STATE_FINISHED || row.state == TQ_BT_STATE_SEEDING;
    const std::string target = directory_of(row.move_folder);
    task->directory = download_directory();
    if (task->directory.empty() || (!row.move_folder.empty() && target.empty())) {
        return fail(task, "its folder is not one below /share");
    }
    row.name = name;
    if (!target.empty() && target != task->directory) {
        if (row.state == TQ_BT_STATE_FINISHED) {
            task->directory = target;
        } else if (const auto moved = read_fast_resume(target, name, row.hash)) { // a move was interrupted
            return move(task, lt::write_resume_data_buf(*moved));
        }
    }
    const std::string data = task->directory + "/" + name;
    auto resumed = read_fast_resume(task->directory, name, row.hash);
    if (!resumed && exists(data + TQ_FAST_RESUME_SUFFIX)) {
        return fail(task, "something else has the name of its fast-resume file");
    }
    if (is_symlink(data)) {
        return fail(task, "its data would be written through a symlink");
    }
    if (finished && !exists(data)) {
        return fail(task, "its data is gone");
    }
    task->must_match = !resumed && exists(data);

    task->metadata = metadata_of(*torrent.ti, resumed ? resumed->trackers : torrent.trackers);
    write_details(task);

    // The name is claimed before anything is written under it.
    std::vector<char> claim;
    if (resumed) {
        resumed->peers.insert(resumed->peers.end(), torrent.peers.begin(), torrent.peers.end());
        torrent = std::move(*resumed);
    } else if (!task->must_match) {
        claim = lt::write_resume_data_buf(torrent);
    }
    store_.post({row.id, files}, [this, weak = std::weak_ptr(task), id = row.id, directory = task->directory, name,
                                  claim, paths = paths_of(*torrent.ti), torrent = std::move(torrent)] {
        const bool claimed = claim.empty() || write_fast_resume(directory, name, claim);
        const auto wanted = read_file_choice(id, paths);
        if (claimed && !wanted) {
            return false;
        }
        store_.answer([this, weak, claimed, wanted, torrent] {
            const Pointer still = weak.lock();
            if (still != nullptr && claimed) {
                add(still, torrent, *wanted);
            } else if (still != nullptr) {
                fail(still, "the download folder cannot be written to");
            }
        });
        return true;
    });
}

void Daemon::add(const Pointer &task, lt::add_torrent_params torrent, const std::vector<bool> &wanted) {
    const lt::torrent_flags_t after_check = lt::torrent_flags::stop_when_ready;
    const lt::torrent_flags_t managed = lt::torrent_flags::paused | lt::torrent_flags::auto_managed;
    torrent.save_path = task->directory;
    torrent.file_priorities = priorities_of(wanted);
    torrent.flags = lt::torrent_flags::update_subscribe | lt::torrent_flags::duplicate_is_error |
                    (task->must_match ? after_check
                     : task->paused   ? lt::torrent_flags::paused
                                      : managed);
    put_in(task, std::move(torrent));
}

void Daemon::put_in(const Pointer &task, lt::add_torrent_params torrent) {
    lt::error_code error;
    task->handle = session_.add_torrent(std::move(torrent), error);
    if (error) {
        return fail(task, error.message());
    }
    by_handle_[task->handle] = task;
}

void Daemon::take_out(const Pointer &task, std::function<void()> closed) {
    const lt::torrent_handle handle = std::exchange(task->handle, {});
    if (handle.is_valid()) {
        by_handle_.erase(handle);
        closing_[handle] = std::move(closed);
        session_.remove_torrent(handle);
    } else {
        closed();
    }
}

// A failed task is out of the session, so that nothing but a message starts it again.
void Daemon::fail(const Pointer &task, const std::string &reason) {
    log(log_error, task->row.id, "failed: " + reason);
    take_out(task, [] {});
    task->directory.clear();
    task->status.download_payload_rate = task->status.upload_payload_rate = 0;
    task->state = TQ_BT_STATE_FAILED;
    task->paused = true;
    put(task->metadata.infodata_error, reason);
    write_details(task);
    write_progress(task);
}

void Daemon::pause(const Pointer &task, bool paused) {
    if (task->paused == paused || task->moving) {
        return;
    }
    task->paused = paused;
    if (task->state == TQ_BT_STATE_FAILED) {
        task->row.state = TQ_BT_STATE_QUEUED; // data that is gone may be downloaded again
        start(task);
    } else if (task->handle.is_valid() && !task->must_match) {
        if (paused) {
            task->handle.unset_flags(lt::torrent_flags::auto_managed);
            task->handle.pause();
        } else {
            task->handle.resume();
            if (!task->directory.empty()) {
                task->handle.set_flags(lt::torrent_flags::auto_managed);
            }
        }
    }
}

void Daemon::choose_files(const Pointer &task) {
    const auto torrent = task->handle.is_valid() ? task->handle.torrent_file() : nullptr;
    if (torrent == nullptr || task->directory.empty() || task->state == TQ_BT_STATE_FINISHED) {
        return; // what is moved stays complete
    }
    store_.post({task->row.id, files},
                [this, weak = std::weak_ptr(task), id = task->row.id, paths = paths_of(*torrent)] {
                    const auto wanted = read_file_choice(id, paths);
                    if (wanted) {
                        store_.answer([weak, wanted] {
                            const Pointer still = weak.lock();
                            if (still != nullptr && still->handle.is_valid()) {
                                still->handle.prioritize_files(priorities_of(*wanted));
                            }
                        });
                    }
                    return wanted.has_value();
                });
}

void Daemon::move(const Pointer &task, std::vector<char> resume_data) {
    task->moving = true;
    const std::string target = directory_of(task->row.move_folder);
    take_out(task, [this, task, target, resume_data = std::move(resume_data)] {
        mover_.post({task->row.id, files},
                    [this, task, from = task->directory, name = task->row.name, target, resume_data] {
                        const std::string failure = move_data(from, target, name, resume_data);
                        mover_.answer([this, task, failure] { finish_move(task, failure); });
                        return true;
                    });
    });
}

void Daemon::finish_move(const Pointer &task, const std::string &failure) {
    task->moving = false;
    if (failure.empty()) {
        task->directory = directory_of(task->row.move_folder);
        task->row.state = task->state = TQ_BT_STATE_FINISHED;
    }
    if (task->gone) {
        return drop(task);
    }
    if (!failure.empty()) {
        return fail(task, failure);
    }
    log(log_event, task->row.id, "moved to " + task->row.move_folder);
    write_progress(task);
    start(task);
}

// ---- From the session

void Daemon::handle(lt::alert *alert) {
    if (const auto *updates = lt::alert_cast<lt::state_update_alert>(alert)) {
        for (const lt::torrent_status &status : updates->status) {
            if (const Pointer task = find(status.handle)) {
                task->status = status;
                update(task);
            }
        }
    } else if (const auto *stats = lt::alert_cast<lt::session_stats_alert>(alert)) {
        write_totals(stats->counters());
    } else if (const auto *failure = lt::alert_cast<lt::listen_failed_alert>(alert)) {
        err_log(log_error, ERR_MODULE_MAIN, "%s\n", failure->message().c_str());
    } else if (const auto *saved = lt::alert_cast<lt::save_resume_data_alert>(alert)) {
        --saving_;
        take_resume_data(saved->handle, lt::write_resume_data_buf(saved->params));
    } else if (const auto *unsaved = lt::alert_cast<lt::save_resume_data_failed_alert>(alert)) {
        --saving_;
        const Pointer task = find(unsaved->handle);
        if (task != nullptr && task->moving) {
            task->moving = false;
            fail(task, unsaved->error.message());
        }
    } else if (const auto *of_torrent = dynamic_cast<lt::torrent_alert *>(alert)) {
        if (const Pointer task = find(of_torrent->handle)) {
            handle(task, alert);
        }
    }
}

void Daemon::handle(const Pointer &task, lt::alert *alert) {
    if (lt::alert_cast<lt::metadata_received_alert>(alert) != nullptr) {
        take_metadata(task);
    } else if (task->directory.empty()) {
        return; // what fails without metadata is only that nothing can be written
    } else if (const auto *error = lt::alert_cast<lt::torrent_error_alert>(alert)) {
        fail(task, error->error.message());
    } else if (const auto *file = lt::alert_cast<lt::file_error_alert>(alert)) {
        fail(task, file->error.message());
    } else if (lt::alert_cast<lt::torrent_checked_alert>(alert) != nullptr && task->must_match) {
        if (task->handle.status().num_pieces == 0) {
            return fail(task, "the download folder has something else of that name");
        }
        task->must_match = false;
        save_fast_resume(task);
        task->paused = !task->paused; // what it is at this moment, whatever it is to be
        pause(task, !task->paused);
    }
}

// What was known from the link, and who sent the metadata, goes on to the torrent proper.
void Daemon::take_metadata(const Pointer &task) {
    lt::error_code error;
    lt::add_torrent_params torrent = lt::parse_magnet_uri(task->row.magnet_link, error);
    torrent.ti = std::make_shared<lt::torrent_info>(*task->handle.torrent_file());
    std::vector<lt::peer_info> peers;
    task->handle.get_peer_info(peers);
    for (const lt::peer_info &peer : peers) {
        torrent.peers.push_back(peer.ip);
    }
    take_out(task, [] {});
    open(task, std::move(torrent));
}

void Daemon::take_resume_data(const lt::torrent_handle &handle, std::vector<char> data) {
    const Pointer task = find(handle);
    if (task == nullptr) {
        return;
    }
    if (task->moving) {
        return move(task, std::move(data));
    }
    store_.post({task->row.id, fast_resume},
                [directory = task->directory, name = task->row.name, data, id = task->row.id] {
                    if (!write_fast_resume(directory, name, data)) {
                        log(log_error, id, "its fast-resume data could not be saved");
                    }
                    return true;
                });
}

void Daemon::update(const Pointer &task) {
    const lt::torrent_status &now_is = task->status;
    const std::string target = directory_of(task->row.move_folder);
    const bool queued = (now_is.flags & lt::torrent_flags::paused) && (now_is.flags & lt::torrent_flags::auto_managed);
    const bool complete = now_is.is_finished && now_is.total_wanted > 0 && !task->must_match;
    if (task->moving) {
        return;
    }
    if (!target.empty() && task->directory == target && (complete || task->row.state == TQ_BT_STATE_FINISHED)) {
        task->state = TQ_BT_STATE_FINISHED; // whatever it does there, that is where its data is
    } else if (task->directory.empty()) {
        task->state = TQ_BT_STATE_METADATA;
    } else if (now_is.state == lt::torrent_status::checking_files ||
               now_is.state == lt::torrent_status::checking_resume_data) {
        task->state = TQ_BT_STATE_CHECKING;
    } else if (complete && target.empty()) {
        task->state = TQ_BT_STATE_SEEDING;
    } else {
        task->state = queued && !complete ? TQ_BT_STATE_QUEUED : TQ_BT_STATE_DOWNLOADING;
    }
    if (complete && task->row.finish_time.empty()) {
        task->row.finish_time = local_time(std::time(nullptr), TQ_TIME_FORMAT_SHORT);
        log(log_event, task->row.id, "finished");
    }
    write_progress(task);
    if (complete && !target.empty() && task->directory != target) {
        task->moving = true;
        save_fast_resume(task);
    }
}

// ---- Into the store

BtTaskRecord Daemon::record_of(const Task &task) {
    BtTaskRecord record = progress_of(task.status);
    put(record.task_torrent_name, task.row.name);
    record.task_state = task.state;
    record.task_block_size = task.metadata.infodata_piece_length;
    record.task_num_pieces = task.metadata.infodata_num_pieces;
    put(record.task_finish_time, task.row.finish_time);
    record.task_is_paused = task.paused ? 1 : 0;
    record.task_queue_position = task.row.queue_position;
    put(record.task_hash, task.row.hash);
    return record;
}

// Once a second for what changed. A write that fails is tried again, with whatever is newest by then.
void Daemon::write_progress(const Pointer &task) {
    const BtTaskRecord record = record_of(*task);
    if (std::memcmp(&record, &task->written, sizeof record) != 0) {
        task->written = record;
        store_.post({task->row.id, progress}, [record] { return bt_db_update_task_by_hash(&record) == BTDB_OK; });
    }
}

void Daemon::write_details(const Pointer &task) {
    BtInfoDataRecord &record = task->metadata;
    record.infodata_command = TQ_DETAIL_METADATA;
    record.infodata_task_id = task->row.id;
    record.infodata_sender_pid = TQ_DETAIL_SENDER;
    put(record.infodata_infohash, task->row.hash);
    const std::time_t next = std::time(nullptr) + lt::total_seconds(task->status.next_announce);
    put(record.infodata_next_announce, local_time(next, TQ_TIME_FORMAT_SHORT));
    record.infodata_active_time = narrow(task->status.active_duration.count());
    record.infodata_seeding_time = narrow(task->status.seeding_duration.count());
    store_.post({task->row.id, details}, [record] { return write_metadata(record); });
}

void Daemon::write_totals(const lt::span<const int64_t> &counters) {
    static const int down = lt::find_metric_idx("net.recv_payload_bytes");
    static const int up = lt::find_metric_idx("net.sent_payload_bytes");
    if (totals_.session_id == 0) {
        return; // not read yet
    }
    BtSessionRecord record = totals_;
    record.total_download = narrow((base_download_ + counters[down]) / TQ_SESSION_TOTAL_UNIT);
    record.total_upload = narrow((base_upload_ + counters[up]) / TQ_SESSION_TOTAL_UNIT);
    record.download_rate = narrow(counters[down] - std::exchange(last_download_, counters[down]));
    record.upload_rate = narrow(counters[up] - std::exchange(last_upload_, counters[up]));
    if (std::memcmp(&record, &totals_, sizeof record) != 0) {
        totals_ = record;
        store_.post({0, totals}, [record] { return bt_db_update_session(&record) == BTDB_OK; });
    }
}

void Daemon::save_fast_resume(const Pointer &task) {
    if (task->handle.is_valid() && !task->directory.empty()) {
        task->handle.save_resume_data(all_of_it);
        ++saving_;
    }
}

Daemon::Pointer Daemon::find(const lt::torrent_handle &handle) const {
    const auto found = by_handle_.find(handle);
    return found != by_handle_.end() ? found->second.lock() : nullptr;
}

} // namespace torrentd
