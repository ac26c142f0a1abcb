// The daemon: torrents of the session on one side, tasks of the store on the other. Everything here runs on the main
// thread and waits for nothing; what may wait is posted to a worker, and its answer comes back here.
#ifndef KORVO_TORRENTD_DAEMON_H
#define KORVO_TORRENTD_DAEMON_H

#include "store.h"
#include "worker.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <korvo_bt.h>
#include <korvo_bt_conventions.h>
#include <libtorrent/session.hpp>
#include <libtorrent/torrent_handle.hpp>
#include <libtorrent/torrent_status.hpp>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace torrentd {

struct Options {
    std::string listen = "0.0.0.0:6881,[::]:6881";
    bool discovery = true; // peers from elsewhere than trackers and links
};

class Daemon {
public:
    // ring: called from any thread when handle_events() has something to do.
    Daemon(const Options &options, const std::function<void()> &ring);

    void handle_events();
    void obey(const BtMessage &message);
    void tick(); // once a second
    // Saves what is needed to go on later. Takes seconds, more only while the store is locked.
    void end();

private:
    struct Task {
        TaskRow row;
        std::string directory;     // that its data is in
        lt::torrent_handle handle; // not valid: it is not in the session
        lt::torrent_status status;
        int32_t state = TQ_BT_STATE_QUEUED;
        bool paused = false;
        bool must_match = false; // data of its name was there before; it is ours only if some of it is the torrent's
        bool moving = false;
        bool gone = false; // its row is, and it only waits for the end of its move
        BtTaskRecord written{};
        BtInfoDataRecord metadata{};
    };
    using Pointer = std::shared_ptr<Task>;
    enum What : int32_t { tables, list, totals, cleanup, hash, files, fast_resume, details, progress, marker };

    // From the store
    void look();
    void compare(const std::vector<TaskRow> &rows);
    void let_go(const TaskRow &row);
    void drop(const Pointer &task);

    // A task's way into the session and out of it
    void start(const Pointer &task);
    void open(const Pointer &task, lt::add_torrent_params torrent);
    void add(const Pointer &task, lt::add_torrent_params torrent, const std::vector<bool> &wanted);
    void put_in(const Pointer &task, lt::add_torrent_params torrent);
    void take_out(const Pointer &task, std::function<void()> closed);
    void fail(const Pointer &task, const std::string &reason);
    void pause(const Pointer &task, bool paused);
    void choose_files(const Pointer &task);
    void move(const Pointer &task, std::vector<char> resume_data);
    void finish_move(const Pointer &task, const std::string &failure);

    // From the session
    void handle(lt::alert *alert);
    void handle(const Pointer &task, lt::alert *alert);
    void take_resume_data(const lt::torrent_handle &handle, std::vector<char> data);
    void take_metadata(const Pointer &task);
    void update(const Pointer &task);

    // Into the store
    static BtTaskRecord record_of(const Task &task);
    void write_progress(const Pointer &task);
    void write_details(const Pointer &task);
    void write_totals(const lt::span<const int64_t> &counters);
    void save_fast_resume(const Pointer &task);

    Pointer find(const lt::torrent_handle &handle) const;

    lt::session session_;
    std::map<int32_t, Pointer> tasks_;
    std::map<lt::torrent_handle, std::function<void()>> closing_; // what comes when the last file is closed
    std::map<lt::torrent_handle, std::weak_ptr<Task>> by_handle_;
    std::set<int32_t> twins_;     // tasks of a torrent that another task has
    std::set<int32_t> releasing_; // let go; the answer is on its way into the store
    bool look_soon_ = true;
    bool answered_ = true;
    int32_t ticks_ = 0;
    std::size_t saving_ = 0;
    BtSessionRecord totals_{};
    int64_t base_download_ = 0;
    int64_t base_upload_ = 0;
    int64_t last_download_ = 0;
    int64_t last_upload_ = 0;
    Worker store_;
    Worker mover_;
};

} // namespace torrentd

#endif
