// From the command line into the fixed fields of a record.
#pragma once

#include "commands.h"
#include "failure.h"

#include <cstddef>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <vector>

namespace tqctl {

// A value that does not fit its field is refused: cut, it would name another file, folder or torrent.
template <std::size_t Width>
void require_fit(const std::string &what, const std::string &value, const char (&)[Width]) {
    if (value.size() >= Width) {
        throw CLI::ValidationError(what, "a value of " + std::to_string(value.size()) +
                                             " bytes does not fit: its field holds " + std::to_string(Width - 1));
    }
}

template <std::size_t Width> void fill(const std::string &what, char (&field)[Width], const std::string &value) {
    require_fit(what, value, field);
    std::memcpy(field, value.c_str(), value.size() + 1);
}

// A record as options fill it, and which of its fields they gave.
template <typename Record> struct Draft {
    struct Change {
        std::uint32_t column; // its position in the table
        std::string option;
        const void *value; // in the record
    };

    Record record{};
    std::vector<Change> changes;
};

// Options that fill one field each. `column` is the field's position in its table.
template <typename Record, std::size_t Width>
CLI::Option *add_field(CLI::App &command, const std::shared_ptr<Draft<Record>> &draft, std::uint32_t column,
                       const char *option, char (Record::*field)[Width], const char *help) {
    const auto take = [draft, column, option, field](const std::string &value) {
        fill(option, draft->record.*field, value);
        draft->changes.push_back({column, option, draft->record.*field});
    };
    return command.add_option_function<std::string>(option, take, help);
}

template <typename Record>
CLI::Option *add_field(CLI::App &command, const std::shared_ptr<Draft<Record>> &draft, std::uint32_t column,
                       const char *option, std::int32_t Record::*field, const char *help,
                       std::int32_t least = std::numeric_limits<std::int32_t>::min()) {
    const auto take = [draft, column, option, field](std::int32_t number) {
        draft->record.*field = number;
        draft->changes.push_back({column, option, &(draft->record.*field)});
    };
    return add_number(command, option, help, take, least);
}

// The required argument ID.
std::shared_ptr<std::int32_t> add_identifier(CLI::App &command, const char *help);

// The one field that was given; several, and none, are refused.
template <typename Record> const typename Draft<Record>::Change &only_change(const Draft<Record> &draft) {
    if (draft.changes.size() != 1) {
        throw CLI::ValidationError("remove", "needs exactly one of its argument and options");
    }
    return draft.changes.front();
}

// Changes of single fields, one call each. A failure tells which were made before it.
struct FieldChange {
    std::string option;
    const char *operation;
    std::function<std::int32_t()> call;
};
void make(const std::vector<FieldChange> &changes, const Store &store);

// Writes each of the fields that were given into the row with that identifier.
template <typename Record>
void apply(const Draft<Record> &draft, std::int32_t id, const char *operation,
           std::int32_t (*update)(std::int32_t, std::uint32_t, const void *), const Store &store) {
    std::vector<FieldChange> changes;
    for (const auto &change : draft.changes) {
        changes.push_back({change.option, operation, [=] { return update(id, change.column, change.value); }});
    }
    make(changes, store);
}

// The end of an add: `result` is the new row's identifier, or says what went wrong. `what` names a row ("item").
// Printed after `before`.
void print_new_identifier(const char *operation, std::int32_t result, const Store &store, const std::string &what,
                          const std::string &before = {});

} // namespace tqctl
