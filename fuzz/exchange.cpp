// The reader of exports: any bytes are refused with the one exception it documents, or are an export that comes out the
// same when it is written and read again.

#include "formats/exchange.h"
#include "target.h"

namespace {

std::string written(const tqctl::Export &read) {
    std::string text = tqctl::export_start(read.masked);
    bool first_table = true;
    for (const tqctl::ExportedTable &table : read.tables) {
        text += tqctl::table_start(first_table, table.name, table.last_id, table.columns);
        first_table = false;
        bool first_row = true;
        for (const auto &row : table.rows) {
            KORVO_REQUIRE(row.size() == table.columns.size());
            text += tqctl::row_text(first_row, row);
            first_row = false;
        }
        text += tqctl::table_end();
    }
    return text + tqctl::export_end();
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    try {
        const std::string text = written(tqctl::read_export({reinterpret_cast<const char *>(data), size}));
        KORVO_REQUIRE(written(tqctl::read_export(text)) == text);
    } catch (const tqctl::FormatError &) {
        return 0;
    }
    return 0;
}
