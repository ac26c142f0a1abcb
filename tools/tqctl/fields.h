// From the command line into the fixed fields of a record.
#pragma once

#include "commands.h"
#include "failure.h"
#include "selection.h"
#include "table.h"

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

// The argument ID...: identifiers, ranges of them, "all".
using Selection = std::vector<IdentifierRange>;
std::shared_ptr<Selection> add_selection(CLI::App &command, const char *help, bool required = true);

// What a command with a selection needs to know of the rows that it is about.
struct Selectable {
    Rows (*list)(); // all rows
    const char *id_column;
    void (*require)(std::int32_t id); // ends the command unless there is such a row
};

// The identifiers of the rows that are selected; at least one. A single one that is not there ends the command.
std::vector<std::int32_t> chosen(const Selection &selection, const Selectable &rows);

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

// Removes what is selected, or every row that has the one value that was given: one of the two.
template <typename Record>
void remove_rows(const Selection &selection, const Draft<Record> &draft, const Selectable &rows, const char *operation,
                 std::int32_t (*remove)(std::uint32_t, const void *), const Store &store) {
    if (draft.changes.size() + (selection.empty() ? 0 : 1) != 1) {
        throw CLI::ValidationError("remove", "needs either identifiers or one option");
    }
    require_database();
    if (!draft.changes.empty()) {
        checked(operation, remove(draft.changes[0].column, draft.changes[0].value), store);
        return;
    }
    for (const std::int32_t id : chosen(selection, rows)) {
        checked(operation, remove(0, &id), store);
    }
}

} // namespace tqctl
