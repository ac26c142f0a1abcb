// The stored schedule, with the configuration file held in memory.

#include "korvo_bt.h"
#include "platform.h"
#include "target.h"

#include <algorithm>

namespace {

std::string stored;

} // namespace

// This program's own configuration takes precedence over the platform's.
int Get_Profile_String(const char * /*section*/, const char * /*key*/, const char * /*text*/, char *buffer, int size) {
    return std::snprintf(buffer, static_cast<std::size_t>(size), "%s", stored.c_str());
}
int Get_Profile_Boolean(const char * /*section*/, const char * /*key*/, int /*value*/) {
    return stored.empty() ? 0 : 1;
}
int Set_Profile_String(const char * /*section*/, const char * /*key*/, const char *value) {
    stored = value;
    return 0;
}
int Set_Profile_Boolean(const char * /*section*/, const char * /*key*/, int /*value*/) {
    return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    stored = fuzz::Input(data, size).text();
    ScheduleRecord read, again;
    std::memset(&read, 0xa5, sizeof read);
    KORVO_REQUIRE(get_tqv3_schedule(&read) == BTDB_OK);
    for (const auto &day : read.hours) {
        KORVO_REQUIRE(std::strlen(day) == sizeof day - 1);
    }
    get_now_tqv3_schedule();
    KORVO_REQUIRE(set_tqv3_schedule(&read) == BTDB_OK);
    KORVO_REQUIRE(get_tqv3_schedule(&again) == BTDB_OK);
    KORVO_REQUIRE(std::memcmp(read.hours, again.hours, sizeof read.hours) == 0);
    return 0;
}
