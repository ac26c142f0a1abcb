// How long something is tried again before it is given up.
#ifndef KORVO_PLATFORM_DEADLINE_H
#define KORVO_PLATFORM_DEADLINE_H

#include <cstdint>
#include <ctime>

namespace korvo {

class Deadline {
public:
    explicit Deadline(int seconds) : end_(now() + seconds * second) {}

    // Sleeps for a moment before the next attempt; false when there is no time for one.
    bool wait() const {
        if (now() >= end_) {
            return false;
        }
        constexpr std::timespec moment = {0, 10'000'000};
        nanosleep(&moment, nullptr);
        return true;
    }

private:
    static constexpr int64_t second = 1'000'000'000; // in nanoseconds

    static int64_t now() {
        std::timespec time{};
        clock_gettime(CLOCK_MONOTONIC, &time);
        return time.tv_sec * second + time.tv_nsec;
    }

    int64_t end_;
};

} // namespace korvo

#endif
