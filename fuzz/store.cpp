// Any string in any text field of any table: added, found as it was, read back, and deleted by it and alone.

#include "support.h"
#include "target.h"

namespace test {
namespace {

void open_tables() {
    start_afresh();
    for (const Table &table : tables()) {
        table.create();
        Record bystander(table, 1);
        table.add(bystander.data());
    }
}

void check(const uint8_t *data, std::size_t size) {
    static const bool opened = (open_tables(), true);
    KORVO_REQUIRE(opened);
    fuzz::Input input(data, size);
    const Table &table = tables()[input.byte() % tables().size()];

    Record record(table, 2);
    for (std::size_t at = 1; at < table.fields.size() && !input.empty(); ++at) {
        if (table.fields[at].kind == Kind::text) {
            record.set(at, input.text());
        } else if (table.fields[at].kind != Kind::int_as_float) {
            record.set(at, static_cast<int64_t>(input.byte() << 24U | input.byte()));
        }
    }
    KORVO_REQUIRE(table.add(record.data()) >= 0);
    Rows rows = stored(table);
    KORVO_REQUIRE(rows.size() == 2);
    record.set(0, std::stoll(rows[1][0]));
    KORVO_REQUIRE(rows[1] == record.row());
    if (!table.reads.empty()) {
        Record found(table);
        KORVO_REQUIRE(table.reads[0](record.data(), found.data()) == BTDB_OK);
        KORVO_REQUIRE(found.row() == record.as_read().row());
    }
    for (const Listing &listing : table.listings) {
        KORVO_REQUIRE(listing.call(nullptr, deliver, 0, 0, nullptr) == BTDB_OK);
    }
    for (const uint32_t selector : table.selectors) {
        const bool shared = rows[0][selector] == rows[1][selector];
        if (table.fields[selector].kind == Kind::text && !shared) {
            KORVO_REQUIRE(table.remove(selector, record.field(selector)) == BTDB_OK);
            KORVO_REQUIRE(stored(table) == Rows{rows[0]});
            break;
        }
    }
    sql("DELETE FROM " + std::string(table.name) + " WHERE rowid = " + rows[1][0]);
    delivered.clear();
    KORVO_REQUIRE(connections() == 0 && !testing::Test::HasFailure());
}

} // namespace
} // namespace test

int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    test::check(data, size);
    return 0;
}
