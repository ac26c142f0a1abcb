#include "worker.h"

#include <chrono>

namespace torrentd {

Worker::~Worker() {
    {
        const std::lock_guard guard(mutex_);
        ending_ = true;
        changed_.notify_all();
    }
    thread_.join();
}

void Worker::post(Key key, Job job) {
    const std::lock_guard guard(mutex_);
    waiting_.insert_or_assign(key, std::move(job));
    changed_.notify_all();
}

void Worker::forget(int32_t task) {
    const std::lock_guard guard(mutex_);
    std::erase_if(waiting_, [&](const auto &job) { return job.first.first == task; });
    again_ = again_ && running_.first != task;
}

void Worker::answer(std::function<void()> answer) {
    {
        const std::lock_guard guard(mutex_);
        answers_.push_back(std::move(answer));
    }
    ring_();
}

void Worker::run_answers() {
    std::deque<std::function<void()>> answers;
    {
        const std::lock_guard guard(mutex_);
        answers.swap(answers_);
    }
    for (const auto &answer : answers) {
        answer();
    }
}

void Worker::finish(int32_t seconds) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::seconds(seconds), [&] { return waiting_.empty() && running_ == none; });
}

// Goes round the jobs in the order of their keys, so that none waits for ever behind another's retries.
void Worker::run() {
    std::unique_lock lock(mutex_);
    while (!ending_) {
        const auto next = waiting_.upper_bound(running_);
        if (next == waiting_.end()) {
            running_ = none;
            changed_.notify_all();
            if (waiting_.empty()) {
                changed_.wait(lock);
            } else {
                changed_.wait_for(lock, std::chrono::milliseconds(200));
            }
            continue;
        }
        running_ = next->first;
        Job job = std::move(next->second);
        waiting_.erase(next);
        again_ = true;
        lock.unlock();
        const bool done = job();
        lock.lock();
        if (!done && again_) {
            waiting_.try_emplace(running_, std::move(job));
        }
    }
}

} // namespace torrentd
