// The weekly schedule: a character for each hour of the week, in the configuration file as one string, Sunday's first.

#include "korvo_bt.h"
#include "platform.h"
#include "services/settings.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <strings.h>

using korvo::settings_section;

namespace {

constexpr const char *hours_key = "Schedule Time";
constexpr const char *enabled_key = "Schedule Time Enable";
constexpr const char *no_schedule = "not";

constexpr char allowed = '1';
constexpr char switched_off = '2';

constexpr std::size_t days = 7;
constexpr std::size_t hours = 24;
constexpr std::size_t hours_of_week = days * hours;

} // namespace

int32_t get_tqv3_schedule(ScheduleRecord *record) {
    if (record == nullptr) {
        return BTDB_ERR_NULL;
    }
    char stored[512] = "";
    Get_Profile_String(settings_section, hours_key, no_schedule, stored, sizeof stored);
    char week[hours_of_week];
    std::memset(week, allowed, sizeof week);
    if (strcasecmp(stored, no_schedule) != 0) {
        std::memcpy(week, stored, strnlen(stored, sizeof week));
    }
    for (std::size_t day = 0; day < days; ++day) {
        std::memcpy(record->hours[day], week + day * hours, hours);
        record->hours[day][hours] = '\0';
    }
    record->enabled = Get_Profile_Boolean(settings_section, enabled_key, 0);
    return BTDB_OK;
}

int32_t set_tqv3_schedule(const ScheduleRecord *record) {
    if (record == nullptr) {
        return BTDB_ERR_NULL;
    }
    char week[hours_of_week + 1] = "";
    for (std::size_t day = 0; day < days; ++day) {
        for (std::size_t hour = 0; hour < hours; ++hour) {
            const char c = record->hours[day][hour];
            week[day * hours + hour] = c != '\0' ? c : allowed; // NUL would end the string
        }
    }
    Set_Profile_String(settings_section, hours_key, week);
    Set_Profile_Boolean(settings_section, enabled_key, record->enabled);
    return BTDB_OK;
}

int32_t get_now_tqv3_schedule() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    tzset(); // localtime_r() need not notice that the time zone has changed
    const bool known = localtime_r(&now, &local) != nullptr;
    ScheduleRecord schedule;
    get_tqv3_schedule(&schedule);
    if (!known || schedule.enabled == 0) {
        return switched_off;
    }
    return static_cast<unsigned char>(schedule.hours[local.tm_wday][local.tm_hour]);
}
