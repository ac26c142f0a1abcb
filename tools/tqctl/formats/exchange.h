// The export format: every row of the database as JSON, exactly. Reading takes any bytes: an export may come from
// anywhere.
//
//     {"format": "tqctl export", "version": 1, "passwords": "masked", "tables": [
//       {"table": "BT_RSS", "last_id": 7, "columns": ["rss_id", ...], "rows": [
//         [7, "a text", 2.5, null, {"blob": "00ff"}],
//         ...]},
//       ...]}
//
// A number with a point or an exponent is a real one, any other an integer of 64 bits. What JSON cannot say is an
// object with one member: {"blob": HEX}, {"text": HEX} for a text that is not UTF-8, {"real": "inf"} or "-inf", and
// {"masked": TEXT} for a value without its password:
// the empty text, or an address that has none any more. "last_id" is the largest identifier that the table ever gave.
#ifndef KORVO_TQCTL_FORMATS_EXCHANGE_H
#define KORVO_TQCTL_FORMATS_EXCHANGE_H

#include "base/cell.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tqctl {

// A value that is not as it is in the database: a password was left out of it. What is left is the text itself, as of
// an address, or empty.
struct Masked {
    std::string text;
    bool operator==(const Masked &) const = default;
};

using ExportedCell = std::variant<Cell, Masked>;

struct ExportedTable {
    std::string name;
    std::int64_t last_id = 0;
    std::vector<std::string> columns;
    std::vector<std::vector<ExportedCell>> rows; // each with a cell for every column
};

struct Export {
    bool masked = false;
    std::vector<ExportedTable> tables; // no two with the same name
};

// What is wrong with an export; says where, but nothing of what stands there.
struct FormatError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

Export read_export(std::string_view json);

// The parts of an export, in the order in which they are written: the start, then for each table its start, its rows
// and its end, then the end.
std::string export_start(bool masked);
std::string table_start(bool first, const std::string &name, std::int64_t last_id,
                        const std::vector<std::string> &columns);
std::string row_text(bool first, const std::vector<ExportedCell> &row);
std::string table_end();
std::string export_end();

} // namespace tqctl

#endif
