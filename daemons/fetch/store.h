// The thread that owns the store: picks tasks, enters their state and progress, and sees what others change. It alone
// calls the library's store functions, which may wait for a lock; the transfers go on meanwhile.
#ifndef KORVO_FETCH_STORE_H
#define KORVO_FETCH_STORE_H

#include "exchange.h"
#include "options.h"
#include "place.h"
#include "rows.h"
#include "token.h"

#include "korvo_bt.h"

#include <atomic>
#include <condition_variable>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace fetch {

class Store {
public:
    Store(const Options &options, Exchange &exchange);
    Store(const Store &) = delete;
    Store &operator=(const Store &) = delete;

    // Works until the transfers have ended for good and every task is back in the queue. Memory that runs out ends the
    // process here as if it had been killed: the next start goes on from that.
    void run() noexcept;
    // Ends a long move.
    void hurry() { stop_placing_ = true; }

private:
    // Each step is taken again every second until all that it writes is written.
    enum class Phase { claiming, transferring, placing, finishing, letting_go };

    struct Task {
        Phase phase = Phase::claiming;
        Job job;
        std::unique_ptr<Token> token;
        bool stopping = false;
        Amount amount;
        int64_t rate = 0;
        std::optional<Verdict> verdict;
        std::optional<std::string> suggestion;
        std::string new_folder; // of the complete file
        std::string new_name;
        std::future<Placed> placing;
        Placed placed = Placed::failed;
        int32_t error = 0;   // to be entered when it is let go
        bool failed = false; // for good: it is paused too
        Clock::time_point kept_until;
    };

    // What is remembered of a task that is tried again.
    struct Attempts {
        int32_t failures = 0;
        int64_t furthest = 0;
        bool name_is_ours = false;
        Clock::time_point due;
    };

    void wait();
    void take_reports();
    void tick();
    bool recover();
    bool is_open_hour();
    void pick();
    bool may_start(int32_t task) const;
    void sweep();

    // These return whether the task is done with.
    bool advance(int32_t id, Task &task);
    bool step(int32_t id, Task &task);
    bool drop(int32_t id, Task &task);
    bool finish(Task &task, const HttpFtpTaskRecord &row);
    bool let_go(const Task &task, const HttpFtpTaskRecord &row);

    void claim(Task &task, const HttpFtpTaskRecord &row);
    bool claim_name(Task &task, const HttpFtpTaskRecord &row);
    bool give_name(Task &task, const HttpFtpTaskRecord &row, const std::string &wanted, std::string &name);
    void follow(Task &task, const HttpFtpTaskRecord &row);
    void enter_progress(const Task &task, Entry &entry);
    void order_stop(Task &task);
    void judge(Task &task, const HttpFtpTaskRecord &row);
    void expect_removal(Task &task);
    void fail(Task &task, const Verdict &verdict);
    void begin_placing(Task &task, const HttpFtpTaskRecord &row, const std::string &name);
    bool is_placing_over(Task &task);
    void see_placed(Task &task, const HttpFtpTaskRecord &row);

    const Options &options_;
    Exchange &exchange_;
    std::mutex mutex_;
    std::condition_variable rung_;
    bool ringing_ = false;
    std::atomic<bool> stop_placing_ = false;

    std::map<int32_t, Task> tasks_;
    std::map<int32_t, Attempts> attempts_;
    bool recovered_ = false;
    bool waiting_ = false; // for the store
    bool ending_ = false;
    bool open_hour_ = true;
    Clock::time_point next_settings_;
    Clock::time_point next_sweep_;
};

} // namespace fetch

#endif
