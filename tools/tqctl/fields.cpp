#include "fields.h"

#include "output.h"

namespace tqctl {

std::shared_ptr<std::int32_t> add_identifier(CLI::App &command, const char *help) {
    auto id = std::make_shared<std::int32_t>();
    add_number(
        command, "ID", help, [id](std::int32_t number) { *id = number; }, 0)
        ->required();
    return id;
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
