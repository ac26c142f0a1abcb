// tqctl init.
#include "base/output.h"
#include "commands/commands.h"
#include "store/write.h"

#include <sys/stat.h>

namespace tqctl {
namespace {

// Everything is made before the first word is printed: a reader that goes away stops nothing.
void init() {
    umask(umask(0) | S_IRWXO); // the file holds passwords: not for everybody
    struct stat status {};
    const bool there = lstat(device_database().c_str(), &status) == 0; // a symlink is not followed
    if (there) {
        require_writable();
    }
    std::string lines;
    for (const Table *table : all_tables()) {
        const bool known = there && Connection::read().has_table(table->name);
        const std::int32_t result = table->create.run(); // of a table that is there it makes missing indexes
        if (!known) {
            written(
                table->create.name, [=] { return result; }, *table);
        }
        lines += std::string(table->name) + (known ? ": there already\n" : ": created\n");
    }
    print(lines);
}

} // namespace

void add_init_command(CLI::App &app) {
    CLI::App *command = app.add_subcommand("init", "Create the database and its tables");
    command->footer("Says for each table whether it was created or is there already. Rows are never\n"
                    "touched. Other users of the device get no access to a new file.");
    command->callback(init);
}

} // namespace tqctl
