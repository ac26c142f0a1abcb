// What the database should look like: the eight tables, column by column, and their indexes.
#pragma once

#include "stores.h"

#include <cstddef>
#include <span>
#include <string_view>

namespace tqctl {

struct ColumnRule {
    std::string_view name;
    std::string_view type;
    std::size_t width = 0; // of a text's field in the record, NUL included; 0: no text
};

struct IndexRule {
    std::string_view name;
    std::string_view column;
};

struct TableRule {
    const Store *store;
    std::span<const ColumnRule> columns; // the first is the identifier
    std::span<const IndexRule> indexes;
    // What is known of the states in its column task_state; both 0: there is none.
    int first_state = 0;
    int last_state = 0;
    std::string_view task_column{}; // names a BitTorrent task that the row belongs to
};

std::span<const TableRule> table_rules();

} // namespace tqctl
