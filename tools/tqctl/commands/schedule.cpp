// The weekly schedule: tqctl schedule show, set, now.
#include "base/failure.h"
#include "base/output.h"
#include "commands/commands.h"
#include "display/sheet.h"
#include "options/options.h"
#include "store/message_queue.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <korvo_bt.h>
#include <memory>
#include <optional>
#include <utility>

namespace tqctl {
namespace {

constexpr std::size_t hours_of_day = 24;
constexpr std::array<std::string_view, 7> days{"sunday",   "monday", "tuesday", "wednesday",
                                               "thursday", "friday", "saturday"};

constexpr std::string short_name(std::size_t day) {
    return std::string(days[day].substr(0, 3));
}

// A first and a last day, both included; a span may go over the end of the week.
using Days = std::pair<std::size_t, std::size_t>;

// A first hour and an end; an end that is not above the first is on the next day.
using Hours = std::pair<std::size_t, std::size_t>;

ScheduleRecord stored_schedule() {
    ScheduleRecord schedule;
    get_tqv3_schedule(&schedule);
    return schedule;
}

// ---- show ----------------------------------------------------------------------------------------------------------

std::string hours_of(const ScheduleRecord &schedule, std::size_t day) {
    return {schedule.hours[day], hours_of_day};
}

// A column of two for each hour, so that a day is wider than high.
std::string cell(char hour) {
    const bool plain = hour > ' ' && hour < '\x7f';
    return hour == '1' ? "##" : hour == '0' ? " ." : std::string{' ', plain ? hour : '?'};
}

std::string grid(const ScheduleRecord &schedule) {
    std::string out = concat("The schedule is ", schedule.enabled != 0 ? "on" : "off", ".\n\n    ");
    for (std::size_t hour = 0; hour < hours_of_day; hour += 3) {
        const std::string clock = (hour < 10 ? "0" : "") + std::to_string(hour);
        out += clock + std::string(hour + 3 < hours_of_day ? 4 : 0, ' ');
    }
    out += "\n";
    for (std::size_t i = 1; i <= days.size(); ++i) {
        const std::size_t day = i % days.size(); // a week begins on Monday for people
        out += short_name(day) + " ";
        for (const char hour : hours_of(schedule, day)) {
            out += cell(hour);
        }
        out += "\n";
    }
    return out + "\n## hours with the character 1, . those with 0; others as they are\n";
}

void show(bool json) {
    const ScheduleRecord schedule = stored_schedule();
    if (output_is_terminal() && !json) {
        return print(grid(schedule));
    }
    std::vector<Titled> values{{"enabled", schedule.enabled != 0 ? "1" : "0", Kind::flag}};
    for (std::size_t day = 0; day < days.size(); ++day) {
        values.push_back({short_name(day), hours_of(schedule, day)});
    }
    print_record(values, json);
}

// ---- set -----------------------------------------------------------------------------------------------------------

std::size_t day_called(const std::string &name) {
    for (std::size_t day = 0; day < days.size(); ++day) {
        if (lower(name) == days[day] || lower(name) == short_name(day)) {
            return day;
        }
    }
    throw CLI::ValidationError("DAYS", "there is no day \"" + name + "\"");
}

std::size_t time_of_day(const std::string &text) {
    return static_cast<std::size_t>(read_number("HOURS", text, 0, hours_of_day));
}

// "a-b" or "a" alone, which stands for both.
std::pair<std::string, std::string> ends_of(const std::string &text) {
    const std::size_t dash = text.find('-');
    return dash == std::string::npos ? std::pair(text, text) : std::pair(text.substr(0, dash), text.substr(dash + 1));
}

Days read_days(const std::string &text) {
    const std::string words = lower(text);
    if (words == "all" || words == "weekdays" || words == "weekend") {
        return words == "all" ? Days{0, 6} : words == "weekdays" ? Days{1, 5} : Days{6, 0};
    }
    const auto [first, last] = ends_of(text);
    return {day_called(first), day_called(last)};
}

Hours read_hours(const std::string &text) {
    if (text == "all") {
        return {0, hours_of_day};
    }
    const auto [from, until] = ends_of(text);
    const std::size_t first = time_of_day(from);
    const std::size_t end = text == from ? first + 1 : time_of_day(until);
    if (end == first || first == hours_of_day || end > hours_of_day) {
        throw CLI::ValidationError("HOURS", "\"" + text + "\" holds no hour");
    }
    return {first, end};
}

struct Change {
    std::string days;
    std::string hours;
    std::string character;
    bool on = false;
    bool off = false;
};

void set_hours(ScheduleRecord &schedule, const Change &change) {
    if (change.character.size() != 1) {
        throw CLI::ValidationError("set", "needs DAYS, HOURS and one CHARACTER");
    }
    const auto [first_day, last_day] = read_days(change.days);
    const auto [first, end] = read_hours(change.hours);
    for (std::size_t day = first_day;; day = (day + 1) % days.size()) {
        char *const today = schedule.hours[day];
        char *const tomorrow = schedule.hours[(day + 1) % days.size()];
        std::memset(today + first, change.character[0], (end > first ? end : hours_of_day) - first);
        std::memset(tomorrow, change.character[0], end > first ? 0 : end);
        if (day == last_day) {
            break;
        }
    }
}

void set(const Change &change) {
    if (change.days.empty() && !change.on && !change.off) {
        throw CLI::ValidationError("set", "needs DAYS HOURS CHARACTER, --on or --off");
    }
    ScheduleRecord schedule = stored_schedule();
    if (!change.days.empty()) {
        set_hours(schedule, change);
    }
    if (change.on || change.off) {
        schedule.enabled = change.on ? 1 : 0;
    }
    set_tqv3_schedule(&schedule);
    // The library reports no failure of the device's configuration.
    const ScheduleRecord kept = stored_schedule();
    if (std::memcmp(kept.hours, schedule.hours, sizeof kept.hours) != 0 ||
        (kept.enabled != 0) != (schedule.enabled != 0)) {
        throw Failure(Exit::failed, "the device's configuration could not store the schedule");
    }
}

void add_set(CLI::App &schedule) {
    CLI::App *command = schedule.add_subcommand("set", "Change hours, or switch the schedule");
    command->footer("As in: tqctl schedule set mon-fri 09-17 0 --on\n"
                    "What a character means is up to the download programs; 1 is to download.");
    const auto change = std::make_shared<Change>();
    command->add_option("DAYS", change->days, "mon, Monday, mon-fri, weekdays, weekend or all")->type_name("");
    command
        ->add_option(
            "HOURS", change->hours,
            "9 for 9:00 to 10:00, 9-17 for 9:00 to 17:00, 22-6\nfor the night that begins on these days, or all")
        ->type_name("");
    command->add_option("CHARACTER", change->character, "What these hours get")->type_name("");
    CLI::Option *on = command->add_flag("--on", change->on, "Switch the schedule on");
    command->add_flag("--off", change->off, "Switch it off")->excludes(on);
    command->callback([change] { set(*change); });
}

// ---- now -----------------------------------------------------------------------------------------------------------

void now() {
    const char hour = static_cast<char>(get_now_tqv3_schedule());
    print(escaped({&hour, 1}, Charset::ascii) + "\n");
}

} // namespace

void add_schedule_commands(CLI::App &app) {
    CLI::App *schedule = app.add_subcommand("schedule", "The hours of the week in which to download");
    CLI::App *show_command = schedule->add_subcommand("show", "Show the week");
    const auto json = std::make_shared<bool>(false);
    show_command->add_flag("--json", *json, "A JSON object");
    show_command->callback([json] { show(*json); });
    add_set(*schedule);
    CLI::App *now_command = schedule->add_subcommand("now", "Print the character of the current hour");
    now_command->footer("2 while the schedule is off.");
    now_command->callback(now);
}

} // namespace tqctl
