#include "commands/fix.h"

#include "base/output.h"
#include "base/text.h"
#include "store/write.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>

namespace tqctl {
namespace {

// Of a file, not of what a symlink in its place leads to.
void set_mode(const char *path, mode_t taken, mode_t given = 0) {
    struct stat status {};
    if (lstat(path, &status) != 0 || !S_ISREG(status.st_mode)) {
        return;
    }
    const mode_t wanted = ((status.st_mode & ~taken) | given) & 07777U;
    if (fchmodat(AT_FDCWD, path, wanted, AT_SYMLINK_NOFOLLOW) != 0) {
        warn(concat("the mode of ", path, " cannot be changed: ", std::strerror(errno)));
    }
}

void delete_orphans(const Connection &database) {
    for (const Table *table : {&file_table, &info_table}) {
        database.run(concat("DELETE FROM ", table->name, " WHERE ", condition_of_orphans(*table)));
    }
}

// The counter of a table whose rows have smaller identifiers goes on above the largest of them.
void free_identifiers(const Connection &database) {
    for (const Table *table : all_tables()) {
        const std::string largest = concat("(SELECT coalesce(max(", table->id().name, "), 0) FROM ", table->name, ")");
        database.run(concat("UPDATE sqlite_sequence SET seq = ", largest, " WHERE name = '", table->name,
                            "' AND seq >= 2147483647 AND ", largest, " < 2147483647"));
    }
}

void forget_processes() {
    std::vector<std::int32_t> gone;
    {
        const Connection database = Connection::read();
        Statement tasks(database, "SELECT task_id, task_pid FROM HTTP_FTP_TASK WHERE task_pid > 0");
        while (tasks.next()) {
            if (kill(static_cast<pid_t>(tasks.number(1)), 0) != 0 && errno == ESRCH) {
                gone.push_back(static_cast<std::int32_t>(tasks.number(0)));
            }
        }
    }
    for (const std::int32_t id : gone) {
        set_fields(http_task_table, id, {{http_task_table.find("pid"), "0"}});
    }
}

} // namespace

std::string condition_of_orphans(const Table &table) {
    const std::string task(table.task_column);
    return task + " IS NULL OR " + task + " NOT IN (SELECT task_id FROM BT_TASK)";
}

std::string fix_database() {
    require_own_tables(Connection::read()); // before the copy is made
    const std::time_t now = std::time(nullptr);
    char time[32] = "";
    std::tm local{};
    std::strftime(time, sizeof time, "%Y%m%d-%H%M%S", localtime_r(&now, &local));
    const std::string first = device_database() + ".before-fix-" + time;
    std::string copy = first;
    struct stat status {};
    for (int number = 2; lstat(copy.c_str(), &status) == 0; ++number) {
        copy = concat(first, "-", number);
    }
    if (const std::string damage = backup(copy); !damage.empty()) {
        throw Failure(Exit::failed, damage + "; nothing was changed, and " + copy + " is a copy of what is there");
    }
    set_mode(device_database().c_str(), S_IRWXO, S_IRUSR | S_IWUSR);
    set_mode(configuration_file, S_IWOTH);
    require_writable();
    for (const Table *table : all_tables()) {
        table->create.run(); // of a table that is there it makes missing indexes
    }
    {
        const Connection database = Connection::write();
        database.run("BEGIN IMMEDIATE");
        delete_orphans(database);
        free_identifiers(database);
        database.run("COMMIT");
    }
    forget_processes();
    return copy;
}

} // namespace tqctl
