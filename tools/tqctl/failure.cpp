#include "failure.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace tqctl {
namespace {

// The switches below have no default: the compiler reports a code that one of them forgot.
enum class Code : std::int32_t {
    ok = BTDB_OK,
    param = BTDB_ERR_PARAM,
    open = BTDB_ERR_OPEN,
    table = BTDB_ERR_TABLE,
    flush = BTDB_ERR_FLUSH,
    insert = BTDB_ERR_INSERT,
    query = BTDB_ERR_QUERY,
    remove = BTDB_ERR_DELETE,
    update = BTDB_ERR_UPDATE,
    null = BTDB_ERR_NULL,
    no_task = BTDB_ERR_NO_TASK,
};

const char *name_of(Code code) {
    switch (code) {
    case Code::ok:
        return "BTDB_OK";
    case Code::param:
        return "BTDB_ERR_PARAM";
    case Code::open:
        return "BTDB_ERR_OPEN";
    case Code::table:
        return "BTDB_ERR_TABLE";
    case Code::flush:
        return "BTDB_ERR_FLUSH";
    case Code::insert:
        return "BTDB_ERR_INSERT";
    case Code::query:
        return "BTDB_ERR_QUERY";
    case Code::remove:
        return "BTDB_ERR_DELETE";
    case Code::update:
        return "BTDB_ERR_UPDATE";
    case Code::null:
        return "BTDB_ERR_NULL";
    case Code::no_task:
        return "BTDB_ERR_NO_TASK";
    }
    return "unknown code";
}

const std::string database = "the database " BTDB_DEFAULT_FILE;

// What is wrong with the file as a whole; empty when it reads well. One operation of the library returns SQLite's own
// result codes, by which a damaged or locked file can be told from a missing table.
std::string trouble_with_file() {
    enum { busy = 5, out_of_memory = 7, io_error = 10, corrupt = 11, not_a_database = 26 };
    switch (bt_db_query_data_by_task_id_with_callback(nullptr, 0, nullptr)) {
    case BTDB_ERR_OPEN:
        return database + " can no longer be opened";
    case busy:
        return database + " is locked by another process";
    case out_of_memory:
        return "out of memory";
    case io_error:
        return database + " cannot be read: input/output error";
    case corrupt:
        return database + " is damaged";
    case not_a_database:
        return database + " is damaged, or no SQLite database";
    default: // readable, or the table is missing
        return {};
    }
}

std::string not_opened() {
    const bool refused = access(BTDB_DEFAULT_FILE, R_OK) != 0;
    return database + " could not be opened" + (refused ? std::string(": ") + std::strerror(errno) : "");
}

// SQLite writes into the file and makes a journal beside it.
std::string why_not_written() {
    if (access(BTDB_DEFAULT_FILE, W_OK) != 0) {
        return database + " cannot be written: " + std::strerror(errno);
    }
    if (access(std::filesystem::path(BTDB_DEFAULT_FILE).parent_path().c_str(), W_OK) != 0) {
        return "the folder of " + database + " cannot be written: " + std::strerror(errno);
    }
    return database + " stayed locked, or the disk is full";
}

std::string meaning_of(Code code, const Store &store, const std::string &wanted) {
    switch (code) {
    case Code::ok:
        return "done";
    case Code::param:
    case Code::null:
        return "an argument was refused";
    case Code::no_task:
        return "there is no " + wanted;
    case Code::open:
        return not_opened();
    case Code::table:
        return std::string("the table ") + store.table + " was not created or dropped: " + why_not_written();
    case Code::query:
        return wanted.empty() ? "the rows could not be read to the end" : "there is no " + wanted;
    case Code::insert:
        return "no row was added: " + why_not_written();
    case Code::flush:
    case Code::remove:
        return "no row was deleted: " + why_not_written();
    case Code::update:
        return "the row was not changed: " + why_not_written();
    }
    return "this tool does not know the code";
}

} // namespace

void require_database() {
    struct stat status {};
    if (stat(BTDB_DEFAULT_FILE, &status) == 0) {
        return;
    }
    if (errno == ENOENT || errno == ENOTDIR) {
        throw Failure(Exit::database, "tqctl: " + database + " does not exist; run tqctl init");
    }
    throw Failure(Exit::database, "tqctl: " + database + " cannot be reached: " + std::strerror(errno));
}

Failure call_failure(Exit exit, const char *operation, std::int32_t code, const std::string &meaning) {
    return {exit, std::string(operation) + ": " + name_of(Code{code}) + " (" + std::to_string(code) + "): " + meaning};
}

std::int32_t checked(const char *operation, std::int32_t result, const Store &store, const std::string &wanted) {
    if (result >= 0) {
        return result;
    }
    const Code code{result};
    if (code == Code::open) {
        throw call_failure(Exit::database, operation, result, meaning_of(code, store, wanted));
    }
    if (code != Code::param) {
        if (const std::string trouble = trouble_with_file(); !trouble.empty()) {
            throw call_failure(Exit::failed, operation, result, trouble);
        }
        if (code != Code::table && !store.readable()) {
            throw call_failure(Exit::failed, operation, result,
                               std::string("the table ") + store.table + " does not exist yet; run tqctl init");
        }
    }
    const bool not_found = code == Code::query && !wanted.empty();
    throw call_failure(not_found ? Exit::not_there : Exit::failed, operation, result, meaning_of(code, store, wanted));
}

bool create_if_missing(const Store &store) {
    // The same code says that the table exists already and that it could not be created; a read tells them apart.
    const std::int32_t result = store.create();
    if (result == BTDB_ERR_TABLE && store.readable()) {
        return false;
    }
    checked(store.create_operation, result, store);
    return true;
}

} // namespace tqctl
