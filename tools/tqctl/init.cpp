// The database's tables: tqctl init.
#include "commands.h"
#include "failure.h"
#include "output.h"
#include "stores.h"

namespace tqctl {
namespace {

void init() {
    for (const Store *store : all_stores) {
        print(std::string(store->table) + (create_if_missing(*store) ? ": created\n" : ": there already\n"));
    }
}

} // namespace

void add_init_commands(CLI::App &app) {
    CLI::App *command = app.add_subcommand("init", "Create the database and its tables");
    command->group("Database");
    command->footer("Says for each table whether it was created or is there already. Rows are never\n"
                    "touched.");
    command->callback(init);
}

} // namespace tqctl
