// How long something is tried again before it is given up.
#ifndef KORVO_PLATFORM_DEADLINE_H
#define KORVO_PLATFORM_DEADLINE_H

#include <ctime>

namespace korvo {

class Deadline {
public:
    explicit Deadline(int seconds) : end_(now()) { end_.tv_sec += seconds; }

    // Sleeps for a moment before the next attempt; false when there is no time for one.
    bool wait() const {
        const std::timespec time = now();
        if (time.tv_sec > end_.tv_sec || (time.tv_sec == end_.tv_sec && time.tv_nsec >= end_.tv_nsec)) {
            return false;
        }
        constexpr std::timespec moment = {0, 10'000'000};
        nanosleep(&moment, nullptr);
        return true;
    }

private:
    static std::timespec now() {
        std::timespec time{};
        clock_gettime(CLOCK_MONOTONIC, &time);
        return time;
    }

    std::timespec end_;
};

} // namespace korvo

#endif
