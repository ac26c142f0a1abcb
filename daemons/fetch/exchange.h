// What the thread of the store and the thread of the transfers tell each other. Neither ever waits for the other: a
// locked store stops no transfer.
#ifndef KORVO_FETCH_EXCHANGE_H
#define KORVO_FETCH_EXCHANGE_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace fetch {

using Clock = std::chrono::steady_clock;

// A transfer to be started.
struct Job {
    int32_t task = 0;
    std::string address;
    std::string user; // empty: none
    std::string password;
    std::string folder;
    std::string name;
    bool name_is_ours = false; // the server may suggest a better one
    int token = -1;            // readable once the task's token process is dead
};

// How a transfer ended.
struct Verdict {
    enum class End { complete, failed, stopped, token_died };
    End end = End::stopped;
    int32_t error = 0;      // as it is entered with the task
    bool temporary = false; // worth another try
    int64_t wait_s = 0;     // asked for by the server
    std::string reason{};
};

struct Amount {
    int64_t done = 0;
    int64_t size = -1; // -1: unknown
    Clock::time_point when;
};

struct Orders {
    std::vector<Job> start;
    std::vector<int32_t> stop;
    std::map<int32_t, std::string> names; // answers to suggestions
};

struct Reports {
    std::map<int32_t, Amount> amounts;
    std::map<int32_t, Verdict> verdicts;
    std::map<int32_t, std::string> suggestions; // of names; the transfer waits for the answer
    bool again = false;                         // what waits to be tried again is due now
    bool ending = false;
};

// Collects what one thread has for the other, and wakes that one.
template <typename Content> class Inbox {
public:
    void ring_with(std::function<void()> ring) { ring_ = std::move(ring); }

    template <typename Change> void post(Change change) {
        leave(change);
        ring_();
    }

    // To be found when the other thread looks in by itself.
    template <typename Change> void leave(Change change) {
        const std::lock_guard guard(mutex_);
        change(content_);
    }

    Content take() {
        const std::lock_guard guard(mutex_);
        return std::exchange(content_, {});
    }

private:
    std::mutex mutex_;
    Content content_;
    std::function<void()> ring_ = [] {};
};

struct Exchange {
    Inbox<Orders> orders;
    Inbox<Reports> reports;
};

} // namespace fetch

#endif
