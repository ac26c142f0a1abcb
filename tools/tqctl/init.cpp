// The database's tables: tqctl init.
#include "commands.h"
#include "failure.h"
#include "output.h"
#include "stores.h"

namespace tqctl {
namespace {

void init() {
    for (const Store *store : all_stores) {
        // The same code says that the table exists already and that it could not be created; a read tells them apart.
        const std::int32_t result = store->create();
        const bool there_already = result == BTDB_ERR_TABLE && store->readable();
        if (!there_already) {
            checked(store->create_operation, result, *store);
        }
        print(std::string(store->table) + (there_already ? ": there already\n" : ": created\n"));
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
