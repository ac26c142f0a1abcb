#include "store/write.h"

#include "base/text.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>

namespace tqctl {
namespace {

std::string name_of(std::int32_t code) {
#define KORVO_CODE(name)                                                                                               \
    std::pair {                                                                                                        \
        name, #name                                                                                                    \
    }
    constexpr std::array codes{
        KORVO_CODE(BTDB_ERR_PARAM),   KORVO_CODE(BTDB_ERR_NULL),   KORVO_CODE(BTDB_ERR_OPEN),
        KORVO_CODE(BTDB_ERR_TABLE),   KORVO_CODE(BTDB_ERR_FLUSH),  KORVO_CODE(BTDB_ERR_INSERT),
        KORVO_CODE(BTDB_ERR_QUERY),   KORVO_CODE(BTDB_ERR_DELETE), KORVO_CODE(BTDB_ERR_UPDATE),
        KORVO_CODE(BTDB_ERR_NO_TASK),
    };
#undef KORVO_CODE
    const auto found = std::ranges::find(codes, code, [](const auto &each) { return each.first; });
    return found != codes.end() ? found->second : "code";
}

// A write that is taken back. The new table never leaves the cache but for the journal beside the file, which shows
// whether one can be made there.
void try_to_write(const Patience &patience) {
    const Connection database = Connection::write(device_database(), patience);
    require_own_tables(database);
    database.run("PRAGMA synchronous = OFF");
    database.run("BEGIN IMMEDIATE");
    database.run("CREATE TABLE tqctl_trial (a); ROLLBACK");
}

template <class Number> Number number_of(const std::string &text, const std::string &option) {
    const auto number = number_in<Number>(text);
    return number ? *number
                  : throw Failure(Exit::usage,
                                  concat(option, ": that is no whole number of ", sizeof *number * 8, " bits"));
}

Failure refusal(std::int32_t code, const Table &table, std::optional<std::int32_t> id, bool waited_long) {
    if (code == BTDB_ERR_PARAM) {
        return {Exit::failed, "the library does not take these values"};
    }
    try {
        const Patience none{std::chrono::milliseconds(0), true, {}};
        try_to_write(none);
        const Connection database = Connection::read(device_database(), none);
        if (!database.has_table(table.name)) {
            return {Exit::failed, concat(device_database(), " has no table ", table.name, " yet; run tqctl init")};
        }
        if (id && !has_row(database, table, *id)) {
            return no_such_row(table, *id);
        }
        if (waited_long) {
            return {Exit::failed, device_database() + " stayed locked by another program; try again"};
        }
        if (const std::string damage = damage_of(database); !damage.empty()) {
            return {Exit::failed, damage};
        }
    } catch (const Failure &failure) {
        return failure;
    }
    return {Exit::failed, "the library refused this, for a reason that is no more to be seen in " + device_database() +
                              "; try again, or see tqctl doctor"};
}

} // namespace

void Record::set(const Column &column, const std::string &value, const std::string &option) {
    char *field = reinterpret_cast<char *>(bytes_.data()) + column.offset;
    if (is_text(column.kind)) {
        if (value.size() >= column.width) { // cut, it would name another file, folder or torrent
            throw Failure(Exit::usage, concat(option, ": a value of ", value.size(),
                                              " bytes does not fit, its field holds ", column.width - 1));
        }
        if (value.find('\0') != std::string::npos) {
            throw Failure(Exit::usage, option + ": the value holds a NUL character");
        }
        std::memcpy(field, value.c_str(), value.size() + 1);
    } else if (column.width == sizeof(std::int64_t)) {
        const auto number = number_of<std::int64_t>(value, option);
        std::memcpy(field, &number, sizeof number);
    } else {
        const auto number = number_of<std::int32_t>(value, option);
        std::memcpy(field, &number, sizeof number);
    }
}

std::string Record::text(std::string_view title) const {
    return bytes() + table_.find(title)->offset;
}

void require_own_tables(const Connection &database) {
    Statement foreign(database,
                      "SELECT type, name, upper(tbl_name) FROM sqlite_master WHERE type IN ('trigger', 'view')");
    while (foreign.next()) {
        if (find_table(foreign.text(2)) != nullptr) {
            throw Failure(Exit::failed, concat(database.path(), " has the ", foreign.text(0), " ", foreign.text(1),
                                               ", which changes what writes do; see tqctl doctor"));
        }
    }
}

void require_writable() {
    try_to_write({});
}

std::int32_t written(const char *call, const std::function<std::int32_t()> &write, const Table &table,
                     std::optional<std::int32_t> id) {
    constexpr std::chrono::milliseconds nearly_the_librarys_patience{19500};
    const auto start = std::chrono::steady_clock::now();
    const std::int32_t result = write();
    if (result >= 0) {
        return result;
    }
    const bool waited_long = std::chrono::steady_clock::now() - start > nearly_the_librarys_patience;
    const Failure reason = refusal(result, table, id, waited_long);
    throw Failure(reason.exit(), concat(reason.what(), " (", call, ": ", name_of(result), ", ", result, ")"));
}

std::int32_t add_row(const Record &record) {
    const Table &table = record.table();
    const auto add = [&] {
        const std::int32_t result = table.add.run(record.data());
        if (result == BTDB_ERR_QUERY) {
            throw Failure(Exit::failed,
                          concat("the ", table.title, " is added, but its identifier could not be read back (",
                                 table.add.name, ": BTDB_ERR_QUERY, -24)"));
        }
        return result;
    };
    return written(table.add.name, add, table);
}

void set_fields(const Table &table, std::int32_t id, const Values &values) {
    Record record(table);
    std::string done;
    for (const auto &[column, value] : values) {
        record.set(*column, value, "--" + std::string(column->title));
    }
    for (const auto &[column, value] : values) {
        const std::uint32_t position = table.position(*column);
        const void *const field = record.field(*column);
        try {
            written(
                table.set.name, [&] { return table.set.run(id, position, field); }, table, id);
        } catch (const Failure &failure) {
            throw Failure(failure.exit(), failure.what() + (done.empty() ? "" : "; set before that:" + done));
        }
        done += " " + std::string(column->title);
    }
}

bool has_row(const Connection &database, const Table &table, std::int64_t id) {
    return Statement(database, concat("SELECT 1 FROM ", table.name, " WHERE ", table.id().name, " = ?"), {id}).next();
}

Failure no_such_row(const Table &table, std::int64_t id) {
    return {Exit::not_there, concat("there is no ", table.title, " ", id)};
}

} // namespace tqctl
