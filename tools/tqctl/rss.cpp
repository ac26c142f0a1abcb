// Feeds and their items: tqctl rss.
#include "commands.h"
#include "failure.h"
#include "fields.h"
#include "listing.h"
#include "output.h"
#include "stores.h"

#include <memory>
#include <optional>

namespace tqctl {
namespace {

using RssDraft = std::shared_ptr<Draft<BtRssRecord>>;

void require_item(std::int32_t id) {
    BtRssRecord record{};
    checked("bt_rss_query_data_by_id", bt_rss_query_data_by_id(id, &record), rss_store, "item " + std::to_string(id));
}

Rows all_items() {
    Rows rows;
    const std::int32_t result = bt_rss_query(nullptr, Rows::collect, 0, 0, 0, &rows);
    rows.rethrow_failure();
    checked("bt_rss_query", result, rss_store);
    return rows;
}

constexpr Selectable selectable{all_items, "rss_id", require_item};

void add_feeds(CLI::App &rss) {
    static const std::vector<Column> columns{
        {"url", "rss_url", Kind::text},
        {"feed", "rss_user_def_title", Kind::text},
    };
    CLI::App *command = rss.add_subcommand("feeds", "List the feeds that there are items of");
    const auto listing = std::make_shared<Listing>(columns);
    listing->add_options(*command);
    command->callback([listing] {
        require_database();
        Rows rows;
        const std::int32_t result = bt_rss_user_title_list_query(nullptr, Rows::collect, &rows);
        rows.rethrow_failure();
        checked("bt_rss_user_title_list_query", result, rss_store);
        listing->print(rows);
    });
}

struct ItemsOptions {
    explicit ItemsOptions(const std::vector<Column> &columns) : listing(columns) {}

    Listing listing;
    std::optional<std::string> feed;
};

void items(const ItemsOptions &options) {
    const auto [start, end] = options.listing.range();
    require_database();
    Rows rows;
    const std::int32_t result =
        options.feed ? bt_rss_query_data_by_ud_title(nullptr, Rows::collect, options.feed->c_str(), &rows)
                     : bt_rss_query(nullptr, Rows::collect, 0, start, end, &rows);
    rows.rethrow_failure();
    checked(options.feed ? "bt_rss_query_data_by_ud_title" : "bt_rss_query", result, rss_store);
    options.listing.print(rows, options.feed.has_value());
}

void add_items(CLI::App &rss) {
    static const std::vector<Column> columns{
        {"id", "rss_id", Kind::number},
        {"downloaded", "rss_downloaded", Kind::number, Audience::programs},
        {"got", "rss_downloaded", Kind::flag, Audience::people},
        {"url", "rss_url", Kind::text, Audience::programs},
        {"enclosure", "rss_enclosure_url", Kind::text, Audience::programs},
        {"keyword", "rss_keyword", Kind::text},
        {"feed", "rss_user_def_title", Kind::text},
        {"title", "rss_title", Kind::text},
    };
    CLI::App *command = rss.add_subcommand("items", "List items");
    const auto options = std::make_shared<ItemsOptions>(columns);
    command->add_option("--feed", options->feed, "Only those of the feed with exactly this title");
    options->listing.add_options(*command);
    options->listing.add_paging(*command, "Items on a page (default: 20)");
    command->callback([options] { items(*options); });
}

void add_add(CLI::App &rss) {
    CLI::App *command = rss.add_subcommand("add", "Add an item");
    command->footer("Prints the new item's identifier.");
    const RssDraft draft = std::make_shared<Draft<BtRssRecord>>();
    add_field(*command, draft, 1, "--url", &BtRssRecord::rss_url, "Address of the feed")->required();
    add_field(*command, draft, 2, "--title", &BtRssRecord::rss_title, "Title of the item")->required();
    add_field(*command, draft, 3, "--enclosure", &BtRssRecord::rss_enclosure_url, "Address of what it offers");
    add_field(*command, draft, 4, "--keyword", &BtRssRecord::rss_keyword, "Keyword");
    add_field(*command, draft, 5, "--feed", &BtRssRecord::rss_user_def_title, "Your own title of the feed");
    add_field(*command, draft, 6, "--downloaded", &BtRssRecord::rss_downloaded, "Downloaded mark (default: 0)");
    command->callback([draft] {
        require_database();
        print_new_identifier("bt_rss_add", bt_rss_add(&draft->record), rss_store, "item");
    });
}

void add_mark(CLI::App &rss) {
    CLI::App *command = rss.add_subcommand("mark", "Mark items as downloaded");
    command->footer("With other options than --downloaded the mark itself stays as it is.");
    const RssDraft draft = std::make_shared<Draft<BtRssRecord>>();
    const auto selection = add_selection(*command, "Identifiers: 3, 3-7, all");
    add_field(*command, draft, 6, "--downloaded", &BtRssRecord::rss_downloaded,
              "Mark it with this number (default: 1)");
    add_field(*command, draft, 4, "--keyword", &BtRssRecord::rss_keyword, "Set its keyword");
    add_field(*command, draft, 5, "--feed", &BtRssRecord::rss_user_def_title, "Set your own title of its feed");
    command->callback([selection, draft] {
        if (draft->changes.empty()) {
            draft->record.rss_downloaded = 1;
            draft->changes.push_back({6, "--downloaded", &draft->record.rss_downloaded});
        }
        require_database();
        for (const std::int32_t id : chosen(*selection, selectable)) {
            apply(*draft, id, "bt_rss_update_field_by_id", bt_rss_update_field_by_id, rss_store);
        }
    });
}

void add_remove(CLI::App &rss) {
    CLI::App *command = rss.add_subcommand("remove", "Remove items");
    command->footer("Give identifiers (3, 3-7, all) or one option. An option removes every item that\n"
                    "has the value; none is no failure.");
    const RssDraft draft = std::make_shared<Draft<BtRssRecord>>();
    const auto selection = add_selection(*command, "The items with these identifiers", false);
    add_field(*command, draft, 1, "--url", &BtRssRecord::rss_url, "Items of the feed with this address");
    add_field(*command, draft, 5, "--feed", &BtRssRecord::rss_user_def_title, "Items of the feed with this title");
    add_field(*command, draft, 4, "--keyword", &BtRssRecord::rss_keyword, "Items with this keyword");
    add_field(*command, draft, 6, "--downloaded", &BtRssRecord::rss_downloaded, "Items with this mark");
    command->callback(
        [selection, draft] { remove_rows(*selection, *draft, selectable, "bt_rss_del", bt_rss_del, rss_store); });
}

} // namespace

void add_rss_commands(CLI::App &app) {
    CLI::App *rss = app.add_subcommand("rss", "Feeds and their items");
    rss->group("Commands");
    rss->require_subcommand(1);
    add_feeds(*rss);
    add_items(*rss);
    add_add(*rss);
    add_mark(*rss);
    add_remove(*rss);
    rss->group("RSS and accounts");
}

} // namespace tqctl
