#include "fields.h"

#include "output.h"

#include <algorithm>

namespace tqctl {

std::shared_ptr<std::int32_t> add_identifier(CLI::App &command, const char *help) {
    auto id = std::make_shared<std::int32_t>();
    add_number(
        command, "ID", help, [id](std::int32_t number) { *id = number; }, 0)
        ->required();
    return id;
}

std::shared_ptr<Selection> add_selection(CLI::App &command, const char *help, bool required) {
    auto selection = std::make_shared<Selection>();
    const auto take = [selection](const std::vector<std::string> &words) {
        for (const std::string &word : words) {
            const auto ranges = read_selection(word);
            if (!ranges) {
                throw CLI::ValidationError("ID", '"' + word + R"(" is no identifier, no range like 3-7 and not "all")");
            }
            selection->insert(selection->end(), ranges->begin(), ranges->end());
        }
    };
    command.add_option_function<std::vector<std::string>>("ID", take, help)->required(required)->type_name("");
    return selection;
}

std::vector<std::int32_t> chosen(const Selection &selection, const Selectable &rows) {
    const auto single = [](const IdentifierRange &range) { return range.first == range.last; };
    std::vector<std::int32_t> there;
    if (!std::ranges::all_of(selection, single)) {
        const Rows all = rows.list();
        const std::size_t column = all.position(rows.id_column);
        for (const Row &row : all.rows) {
            if (const auto id = whole_number(row[column]); id && *id <= std::numeric_limits<std::int32_t>::max()) {
                there.push_back(static_cast<std::int32_t>(*id));
            }
        }
    }
    std::vector<std::int32_t> ids = selected(selection, std::move(there));
    for (const IdentifierRange &range : selection) {
        if (single(range)) {
            rows.require(range.first);
        }
    }
    if (ids.empty()) {
        throw Failure(Exit::not_there, "tqctl: nothing has an identifier of that range");
    }
    return ids;
}

void make(const std::vector<FieldChange> &changes, const Store &store) {
    std::string changed;
    for (const FieldChange &change : changes) {
        try {
            checked(change.operation, change.call(), store);
            changed += " " + change.option;
        } catch (const Failure &failure) {
            throw Failure(failure.exit(), failure.what() + (changed.empty() ? "" : "; changed already:" + changed));
        }
    }
}

void print_new_identifier(const char *operation, std::int32_t result, const Store &store, const std::string &what,
                          const std::string &before) {
    if (result == BTDB_ERR_QUERY) {
        throw call_failure(Exit::failed, operation, result,
                           "the " + what + " is added, but its identifier could not be read back");
    }
    checked(operation, result, store);
    try {
        print(before + std::to_string(result) + "\n");
    } catch (const Failure &failure) {
        throw Failure(failure.exit(), failure.what() + ("; " + what + " " + std::to_string(result) + " is added"));
    }
}

} // namespace tqctl
