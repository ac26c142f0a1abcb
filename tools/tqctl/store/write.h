// Writing through the library, and what a refused write meant. The library waits up to twenty seconds without a word
// and has one code for many reasons; so a trial write, which is taken back, finds the reason beforehand: a lock,
// damage, a file or a disk that takes nothing.
#ifndef KORVO_TQCTL_STORE_WRITE_H
#define KORVO_TQCTL_STORE_WRITE_H

#include "store/connection.h"
#include "store/table.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tqctl {

// A row as the library takes it, filled from texts.
class Record {
public:
    explicit Record(const Table &table) : table_(table), bytes_((table.record_size + 7) / 8) {}

    // `option` is named in a refusal; the value is not, it may be a password.
    void set(const Column &column, const std::string &value, const std::string &option);
    void set(std::string_view title, const std::string &value) { set(*table_.find(title), value, std::string(title)); }

    std::string text(std::string_view title) const;
    const Table &table() const { return table_; }
    const void *data() const { return bytes_.data(); }
    const void *field(const Column &column) const { return bytes() + column.offset; }

private:
    const char *bytes() const { return reinterpret_cast<const char *>(bytes_.data()); }

    const Table &table_;
    std::vector<std::uint64_t> bytes_;
};

// Ends the command if a view is in the place of a table, or a trigger makes something else of a write than what is
// reported.
void require_own_tables(const Connection &database);

// Ends the command unless the database can be written just now, and has nothing of the above.
void require_writable();

// Passes the result of a library's write on. One that failed ends the command with the reason; `id` is the row that it
// was about, which was there before.
std::int32_t written(const char *call, const std::function<std::int32_t()> &write, const Table &table,
                     std::optional<std::int32_t> id = {});

// Adds a row. The new row's identifier, where the table's add tells it.
std::int32_t add_row(const Record &record);

// Sets single fields of a row, one call each. A failure says which were set before it.
using Values = std::vector<std::pair<const Column *, std::string>>;
void set_fields(const Table &table, std::int32_t id, const Values &values);

// Whether there is such a row.
bool has_row(const Connection &database, const Table &table, std::int64_t id);

Failure no_such_row(const Table &table, std::int64_t id);

} // namespace tqctl

#endif
