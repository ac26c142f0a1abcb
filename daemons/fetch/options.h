// What the command line sets.
#ifndef KORVO_FETCH_OPTIONS_H
#define KORVO_FETCH_OPTIONS_H

#include <cstdint>

namespace fetch {

struct Options {
    int32_t transfers = 3;
    int32_t timeout_s = 60; // without an answer or a byte
    int32_t retries = 5;    // in a row without any progress
    int32_t retry_wait_s = 10;
    int32_t log_level = 3;
    bool syslog = false;
};

} // namespace fetch

#endif
