// A thread for what may wait. A call into the store can take 20 seconds and more behind somebody's lock, and a file can
// take long to copy; a daemon that did either itself would stop serving its peers.
#ifndef KORVO_TORRENTD_WORKER_H
#define KORVO_TORRENTD_WORKER_H

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

namespace torrentd {

class Worker {
public:
    // Returns whether it is done. One that is not is tried again, unless a newer one with its key has been posted.
    using Job = std::function<bool()>;
    // A task, and what of it. Only the newest job of a key is kept, so that what waits is bounded, and of a figure that
    // changes while the store is locked only the last one is written.
    using Key = std::pair<int32_t, int32_t>;

    // ring: called when there are answers, from this thread.
    explicit Worker(std::function<void()> ring) : ring_(std::move(ring)) {}
    Worker(const Worker &) = delete;
    Worker &operator=(const Worker &) = delete;
    ~Worker();

    void post(Key key, Job job);
    // Drops what waits for a task. What runs at this moment is not tried again.
    void forget(int32_t task);
    // From a job: something to be done on the main thread.
    void answer(std::function<void()> answer);
    void run_answers();
    // Waits until nothing is left to do, but no longer than so many seconds.
    void finish(int32_t seconds);

private:
    void run();

    std::function<void()> ring_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<Key, Job> waiting_;
    std::deque<std::function<void()>> answers_;
    static constexpr Key none{-1, -1};
    Key running_ = none;
    bool again_ = false; // the running job may be tried again
    bool ending_ = false;
    std::thread thread_{[this] { run(); }}; // last: it uses all the others
};

} // namespace torrentd

#endif
