#include "store.h"

#include "korvo_bt_conventions.h"
#include "names.h"
#include "rows.h"
#include "source.h"

#include <algorithm>
#include <cinttypes>
#include <sys/stat.h>
#include <unistd.h>

namespace fetch {
namespace {

constexpr int32_t log_error = 1;
constexpr int32_t log_event = 3;
constexpr auto tick_every = std::chrono::seconds(1);
constexpr auto tick_at_the_end = std::chrono::milliseconds(50);
constexpr auto settings_every = std::chrono::seconds(10);
constexpr auto sweep_every = std::chrono::seconds(60);
constexpr auto longest_wait = std::chrono::hours(1);
constexpr int32_t closed_hour = '0';
constexpr int names_tried = 1000;

// What strangers wrote reaches the log without control characters.
std::string printable(std::string text) {
    std::ranges::replace_if(
        text, [](unsigned char c) { return c < ' ' || c >= 127; }, '?');
    return text;
}

void log(int32_t level, int32_t task, const std::string &text) {
    err_log(level, ERR_MODULE_MAIN, "task %" PRId32 ": %s\n", task, printable(text).c_str());
}

// A record holds such a text cut, or this long: then it names something else, maybe.
template <std::size_t Width> bool may_be_cut(const char (&field)[Width]) {
    return std::char_traits<char>::length(field) >= Width - 1;
}

// A name that nothing has, neither in the download folder nor where the file goes nor in another task. Empty when none
// can be found now, with the error in `verdict` when the reason is a folder rather than the store.
std::string free_name(int32_t task, const std::string &wanted, const std::string &folder_name,
                      const std::string &target_name, Verdict &verdict) {
    const Descriptor folder = open_folder(folder_name);
    const Descriptor target = open_folder(target_name);
    if (!folder.valid() || !target.valid()) {
        verdict = {Verdict::End::failed, TQ_ERROR_FILE, true, 0, "a folder cannot be entered"};
        return {};
    }
    const auto others = names_of_others(task);
    for (int number = 1; others && number <= names_tried; ++number) {
        std::string name = numbered(wanted, number);
        const bool ours = load_source(folder, name).task == task;
        const bool taken = exists(folder, name) || exists(target, name) || others->contains(name) ||
                           (!ours && (exists(folder, partial_name(name)) || exists(folder, info_name(name))));
        if (!taken) {
            return name;
        }
    }
    return {};
}

std::string target_folder(const std::string &folder, const HttpFtpTaskRecord &row) {
    return row.task_move_folder[0] == '\0' ? folder : row.task_move_folder;
}

} // namespace

Store::Store(const Options &options, Exchange &exchange) : options_(options), exchange_(exchange) {
    exchange_.reports.ring_with([this] {
        const std::lock_guard guard(mutex_);
        ringing_ = true;
        rung_.notify_one();
    });
}

void Store::run() noexcept {
    while (!ending_ || !tasks_.empty()) {
        take_reports();
        tick();
        wait();
    }
}

void Store::wait() {
    std::unique_lock guard(mutex_);
    rung_.wait_for(guard, ending_ ? tick_at_the_end : std::chrono::milliseconds(tick_every),
                   [this] { return ringing_; });
    ringing_ = false;
}

void Store::take_reports() {
    Reports reports = exchange_.reports.take();
    for (const auto &[id, amount] : reports.amounts) {
        if (const auto found = tasks_.find(id); found != tasks_.end()) {
            Task &task = found->second;
            const std::chrono::duration<double> passed = amount.when - task.amount.when;
            const int64_t more = amount.done - task.amount.done;
            const bool known = task.amount.when != Clock::time_point{} && more >= 0 && passed.count() > 0;
            task.rate = known ? static_cast<int64_t>(static_cast<double>(more) / passed.count()) : 0;
            task.amount = amount;
        }
    }
    // A transfer's task stays until it is known how the transfer ended.
    for (auto &[id, verdict] : reports.verdicts) {
        tasks_.at(id).verdict = std::move(verdict);
    }
    for (auto &[id, name] : reports.suggestions) {
        tasks_.at(id).suggestion = std::move(name);
    }
    if (reports.again) {
        for (auto &[id, attempts] : attempts_) {
            attempts.due = {};
        }
        next_settings_ = next_sweep_ = {};
    }
    ending_ = ending_ || reports.ending;
}

void Store::tick() {
    // The library would create a missing file, for example where its disk is not mounted. An empty one is no store yet.
    struct stat status {};
    const bool there = stat(BTDB_DEFAULT_FILE, &status) == 0 && status.st_size > 0;
    recovered_ = recovered_ || (there && recover());
    if (!there || !recovered_) {
        if (!std::exchange(waiting_, true)) {
            err_log(log_error, ERR_MODULE_MAIN, "waiting for %s, which %s\n", BTDB_DEFAULT_FILE,
                    !there                                 ? "is not there"
                    : access(BTDB_DEFAULT_FILE, W_OK) == 0 ? "is locked or damaged, or its disk is full"
                                                           : "this user may not change");
        }
        return;
    }
    waiting_ = false;
    for (auto entry = tasks_.begin(); entry != tasks_.end();) {
        entry = advance(entry->first, entry->second) ? tasks_.erase(entry) : std::next(entry);
    }
    if (!ending_) {
        pick();
        sweep();
    }
}

// After whatever ended the last run, tasks may be marked as running by processes that are gone.
bool Store::recover() {
    http_ftp_db_create_tbl_task();
    bt_account_create_tbl();
    // "Nothing to change" and "no answer" are one code, so look.
    const auto done = [](int32_t result, int32_t count) { return result == BTDB_OK || count == 0; };
    return done(http_ftp_db_update_pid_to_zero(), http_ftp_db_query_task_count(HTTP_FTP_TASK_FILTER_ALL)) &&
           done(http_ftp_db_update_no_pid_runninig_task_to_queue(),
                http_ftp_db_query_running_task_count_without_pid()) &&
           done(http_ftp_db_update_download_rate_to_zero(), http_ftp_db_query_task_count(HTTP_FTP_TASK_FILTER_ALL));
}

bool Store::is_open_hour() {
    if (Clock::now() >= next_settings_) {
        next_settings_ = Clock::now() + settings_every;
        open_hour_ = get_now_tqv3_schedule() != closed_hour;
    }
    return open_hour_;
}

// ---- Which tasks

bool Store::may_start(int32_t task) const {
    const auto attempts = attempts_.find(task);
    return !tasks_.contains(task) && (attempts == attempts_.end() || attempts->second.due <= Clock::now());
}

void Store::pick() {
    // Paused while it ran and resumed when it did not: nobody else would see it.
    HttpFtpTaskRecord row;
    if (http_ftp_db_query_next_running_task_without_pid(&row) == BTDB_OK && !tasks_.contains(row.task_id)) {
        http_ftp_db_update_no_pid_runninig_task_to_queue();
    }
    auto active = std::ranges::count_if(tasks_, [](const auto &entry) {
        return entry.second.phase == Phase::claiming || entry.second.phase == Phase::transferring;
    });
    for (; is_open_hour() && active < options_.transfers; ++active) {
        const int32_t id = first_queued([this](int32_t task) { return may_start(task); });
        if (id == 0) {
            return;
        }
        Task &task = tasks_[id];
        task.job.task = id;
        task.token = std::make_unique<Token>();
        if (advance(id, task)) {
            tasks_.erase(id);
        }
    }
}

// Removes what is left of tasks that were removed or finished while nobody was looking.
void Store::sweep() {
    if (Clock::now() < next_sweep_) {
        return;
    }
    next_sweep_ = Clock::now() + sweep_every;
    std::erase_if(attempts_, [](const auto &entry) { return entry.second.due + longest_wait < Clock::now(); });
    const Descriptor folder = open_folder(download_folder());
    if (!folder.valid()) {
        return;
    }
    for (const std::string &file : names_in(folder)) {
        if (!file.ends_with(TQ_PARTIAL_INFO_SUFFIX)) {
            continue;
        }
        const std::string name = file.substr(0, file.size() - (sizeof TQ_PARTIAL_INFO_SUFFIX - 1));
        const int32_t id = load_source(folder, name).task;
        if (id == 0 || tasks_.contains(id)) {
            continue;
        }
        HttpFtpTaskRecord row;
        if (http_ftp_db_query_data_by_task_id(id, &row) == BTDB_OK) {
            if (row.task_state == HTTP_FTP_TASK_STATE_FINISHED || row.task_savename != name) {
                forget(folder, name, id);
            }
        } else if (is_absent(id)) {
            discard(folder, name, id);
        }
    }
}

// ---- One task

// As far as it gets without waiting.
bool Store::advance(int32_t id, Task &task) {
    for (;;) {
        const Phase before = task.phase;
        if (step(id, task)) {
            return true;
        }
        if (task.phase == before || task.phase == Phase::transferring) {
            return false;
        }
    }
}

bool Store::step(int32_t id, Task &task) {
    HttpFtpTaskRecord row;
    const int32_t result = http_ftp_db_query_data_by_task_id(id, &row);
    if (result != BTDB_OK) {
        return result == BTDB_ERR_QUERY && is_absent(id) && drop(id, task);
    }
    switch (task.phase) {
    case Phase::claiming:
        claim(task, row);
        break;
    case Phase::transferring:
        follow(task, row);
        break;
    case Phase::placing:
        see_placed(task, row);
        break;
    case Phase::finishing:
        return finish(task, row);
    case Phase::letting_go:
        return let_go(task, row);
    }
    return false;
}

// Its row is gone.
bool Store::drop(int32_t id, Task &task) {
    if (task.phase == Phase::transferring && !task.verdict) {
        order_stop(task);
        return false;
    }
    if (!is_placing_over(task)) {
        return false;
    }
    if (const Descriptor folder = open_folder(task.job.folder); folder.valid()) {
        discard(folder, task.job.name, id);
    }
    attempts_.erase(id);
    log(log_event, id, "removed");
    return true;
}

void Store::order_stop(Task &task) {
    if (!std::exchange(task.stopping, true)) {
        exchange_.orders.post([&](Orders &orders) { orders.stop.push_back(task.job.task); });
    }
}

void Store::claim(Task &task, const HttpFtpTaskRecord &row) {
    Job &job = task.job;
    if (ending_ || row.task_state != HTTP_FTP_TASK_STATE_QUEUED || row.task_is_paused != 0) {
        task.phase = Phase::letting_go;
        return;
    }
    if (may_be_cut(row.task_filename) || may_be_cut(row.task_move_folder)) {
        fail(task, {Verdict::End::failed, TQ_ERROR_UNSUPPORTED, false, 0, "a text in its row is too long"});
        return;
    }
    job.address = row.task_filename;
    job.folder = download_folder();
    job.user = row.task_username;
    job.password = row.task_password;
    job.token = task.token->descriptor();
    if (!task.token->is_alive()) {
        fail(task, {Verdict::End::failed, TQ_ERROR_TRANSFER, true, 0, "no process can be started for it"});
        return;
    }
    if (job.user.empty() && !has_login(job.address)) {
        const auto login = account_for(job.address);
        if (!login) {
            return;
        }
        job.user = login->user;
        job.password = login->password;
    }
    if (!claim_name(task, row)) {
        return;
    }
    const Source source = load_source(open_folder(job.folder), job.name);
    const std::string now = row.task_start_time[0] == '\0' ? current_time() : row.task_start_time;
    const bool entered = Entry(row)
                             .name(job.name)
                             .process(task.token->pid())
                             .start_time(now)
                             .state(HTTP_FTP_TASK_STATE_RUNNING)
                             .is_written();
    if (!entered) {
        return;
    }
    if (source.task == job.task && is_placed(source)) {
        task.new_folder = source.folder;
        task.new_name = source.name;
        task.phase = Phase::finishing;
        return;
    }
    task.phase = Phase::transferring;
    log(log_event, job.task, "starting");
    exchange_.orders.post([&](Orders &orders) { orders.start.push_back(job); });
}

// Before anything else, so that a removal never takes another's file for this task's.
bool Store::claim_name(Task &task, const HttpFtpTaskRecord &row) {
    Job &job = task.job;
    Attempts &attempts = attempts_[job.task];
    attempts.name_is_ours = attempts.name_is_ours || row.task_savename[0] == '\0';
    job.name_is_ours = attempts.name_is_ours;
    job.name = row.task_savename;
    if (const Descriptor folder = open_folder(job.folder);
        !job.name.empty() && folder.valid() && load_source(folder, job.name).task == job.task) {
        return true;
    }
    const std::string wanted = job.name.empty() ? name_of_address(job.address) : safe_name(job.name);
    return give_name(task, row, wanted, job.name);
}

bool Store::give_name(Task &task, const HttpFtpTaskRecord &row, const std::string &wanted, std::string &name) {
    Verdict verdict;
    const std::string found =
        free_name(task.job.task, wanted, task.job.folder, target_folder(task.job.folder, row), verdict);
    if (found.empty() && verdict.error != 0) {
        fail(task, verdict);
    }
    if (!found.empty()) {
        name = found;
    }
    return !found.empty();
}

void Store::follow(Task &task, const HttpFtpTaskRecord &row) {
    if (task.verdict) {
        judge(task, row);
        return;
    }
    const bool unwanted = row.task_is_paused != 0 || row.task_filename != task.job.address || !is_open_hour();
    if (unwanted) {
        order_stop(task);
    }
    if (task.suggestion) {
        std::string name;
        if (!give_name(task, row, *task.suggestion, name) || !Entry(row).name(name).is_written()) {
            return;
        }
        task.suggestion.reset();
        task.job.name = name;
        exchange_.orders.post([&](Orders &orders) { orders.names[task.job.task] = name; });
    }
    // Process and state again: somebody may have recovered all tasks.
    Entry entry(row);
    enter_progress(task, entry);
    entry.process(task.token->pid()).state(HTTP_FTP_TASK_STATE_RUNNING);
    if (task.rate > 0) {
        entry.error(0);
    }
}

void Store::enter_progress(const Task &task, Entry &entry) {
    const auto &[done, size, when] = task.amount;
    if (when == Clock::time_point{}) {
        return;
    }
    constexpr int64_t most = 99; // 100 is for what is finished
    entry.downloaded(done)
        .progress(static_cast<int32_t>(size > 0 ? std::min(done * 100 / size, most) : 0))
        .rate(task.rate)
        .time_left(time_left(size - done, task.rate));
    if (size >= 0) {
        entry.size(size);
    }
}

void Store::judge(Task &task, const HttpFtpTaskRecord &row) {
    switch (task.verdict->end) {
    case Verdict::End::complete:
        begin_placing(task, row, task.job.name);
        break;
    case Verdict::End::failed:
        fail(task, *task.verdict);
        break;
    case Verdict::End::token_died:
        expect_removal(task);
        break;
    case Verdict::End::stopped:
        task.phase = Phase::letting_go;
        break;
    }
}

// Its process was killed, so its row is about to go, though a locked store may keep it for a while.
void Store::expect_removal(Task &task) {
    task.kept_until = Clock::now() + std::chrono::seconds(options_.retry_wait_s);
    task.phase = Phase::letting_go;
}

// For what is temporary the waits grow, and progress starts the count again.
void Store::fail(Task &task, const Verdict &verdict) {
    const int32_t id = task.job.task;
    Attempts &attempts = attempts_[id];
    if (task.amount.done > attempts.furthest) {
        attempts.furthest = task.amount.done;
        attempts.failures = 0;
    }
    constexpr int32_t most_doublings = 12;
    const auto wait = std::min<std::chrono::seconds>(
        std::max(std::chrono::seconds(options_.retry_wait_s) * (1 << std::min(attempts.failures, most_doublings)),
                 std::chrono::seconds(verdict.wait_s)),
        longest_wait);
    attempts.due = Clock::now() + wait;
    task.failed = !verdict.temporary || attempts.failures++ >= options_.retries;
    task.error = verdict.error;
    task.phase = Phase::letting_go;
    log(log_event, id,
        verdict.reason + " (" + std::to_string(verdict.error) + "); " +
            (task.failed ? "failed" : "again in " + std::to_string(wait.count()) + " s"));
    if (task.failed) {
        attempts_.erase(id);
    }
}

bool Store::let_go(const Task &task, const HttpFtpTaskRecord &row) {
    Entry entry(row);
    enter_progress(task, entry);
    entry.rate(0).time_left(TQ_TIME_LEFT_UNKNOWN).error(task.error);
    if (task.failed) {
        entry.paused(1);
    }
    return entry.state(HTTP_FTP_TASK_STATE_QUEUED).process(0).is_written() &&
           (ending_ || Clock::now() >= task.kept_until);
}

// ---- A complete file

void Store::begin_placing(Task &task, const HttpFtpTaskRecord &row, const std::string &name) {
    task.phase = Phase::placing;
    task.new_folder = target_folder(task.job.folder, row);
    task.new_name = name;
    const Placing placing{task.job.task, task.job.folder, task.job.name, task.new_folder, task.new_name};
    task.placing = std::async(std::launch::async, [this, placing] { return place(placing, stop_placing_); });
}

bool Store::is_placing_over(Task &task) {
    constexpr std::chrono::milliseconds moment(20); // most often it is a matter of renaming
    if (task.placing.valid() && task.placing.wait_for(moment) == std::future_status::ready) {
        task.placed = task.placing.get();
    }
    return !task.placing.valid();
}

void Store::see_placed(Task &task, const HttpFtpTaskRecord &row) {
    if (!is_placing_over(task)) {
        return;
    }
    switch (task.placed) {
    case Placed::done:
        task.phase = Phase::finishing;
        break;
    case Placed::name_taken:
        if (std::string name; give_name(task, row, task.job.name, name)) {
            begin_placing(task, row, name);
        }
        break;
    case Placed::disk_full:
        fail(task, {Verdict::End::failed, TQ_ERROR_DISK_FULL, true, 0, "no space for the finished file"});
        break;
    case Placed::failed:
        fail(task, {Verdict::End::failed, TQ_ERROR_FILE, true, 0, "the finished file cannot be moved"});
        break;
    case Placed::stopped:
        task.phase = Phase::letting_go;
        break;
    }
}

bool Store::finish(Task &task, const HttpFtpTaskRecord &row) {
    const int32_t id = task.job.task;
    if (!task.token->is_alive()) { // should it not be removed, the next claim finds the file where it is
        expect_removal(task);
        return false;
    }
    const Descriptor folder = open_folder(task.job.folder);
    const int64_t size = load_source(folder, task.job.name).size;
    // A removal looks where the row says: so it says where the file is, whatever was changed meanwhile.
    const bool written = Entry(row)
                             .name(task.new_name)
                             .move_folder(task.new_folder == task.job.folder ? "" : task.new_folder)
                             .size(size)
                             .downloaded(size)
                             .progress(100)
                             .rate(0)
                             .time_left(TQ_TIME_LEFT_UNKNOWN)
                             .error(0)
                             .finish_time(current_time())
                             .process(0)
                             .state(HTTP_FTP_TASK_STATE_FINISHED)
                             .is_written();
    if (written) {
        forget(folder, task.job.name, id);
        attempts_.erase(id);
        log(log_event, id, "finished");
    }
    return written;
}

} // namespace fetch
