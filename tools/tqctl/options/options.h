// Options and arguments, one mechanism for all commands: what a table's columns are as options follows from their
// descriptions.
#ifndef KORVO_TQCTL_OPTIONS_OPTIONS_H
#define KORVO_TQCTL_OPTIONS_OPTIONS_H

#include "base/output.h"
#include "options/selection.h"
#include "store/write.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tqctl {

// A whole text as a decimal number between the two bounds; anything else is refused in the name of the option.
std::int64_t read_number(const std::string &option, const std::string &text, std::int64_t least, std::int64_t most);

// An option (or, named without dashes, an argument) that takes one decimal number from `least` on. CLI11 by itself
// would read "010" as eight.
CLI::Option *add_number(CLI::App &command, const std::string &name, const std::string &help,
                        std::optional<std::int32_t> &to, std::int32_t least);

// An option that takes one of some words.
CLI::Option *add_choice(CLI::App &command, const std::string &name, const std::string &help,
                        std::vector<std::string> words, std::function<void(const std::string &)> take);

// "--db FILE", for commands that only read.
std::shared_ptr<std::string> add_database(CLI::App &command);

// The options for the columns of one or two tables that are used by a command, and which of them were given: the
// columns' titles and the values as they were written.
using Given = std::vector<std::pair<std::string, std::string>>;
std::shared_ptr<Given> add_fields(CLI::App &command, std::initializer_list<const Table *> tables, unsigned use);

// The same as values of one table. An option that is not one of its columns is refused. A password is not read yet.
Values values_of(const Given &given, const Table &table, unsigned use);

// "save_as" as an option.
std::string option_of(std::string_view title);

// The argument ID...: identifiers, ranges of them, "all".
using Selection = std::vector<IdentifierRange>;
std::shared_ptr<Selection> add_selection(CLI::App &command, const char *help, bool required = true);

// The identifiers of the rows that are selected, each once, at least one. A single one that is not there ends the
// command.
std::vector<std::int32_t> selected_rows(const Connection &database, const Table &table, const Selection &selection);

} // namespace tqctl

#endif
