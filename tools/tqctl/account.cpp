// Login accounts per host: tqctl account. Passwords appear only where they are asked for by name.
#include "commands.h"
#include "failure.h"
#include "fields.h"
#include "listing.h"
#include "password.h"
#include "stores.h"

#include <algorithm>
#include <memory>
#include <optional>

namespace tqctl {
namespace {

using AccountDraft = std::shared_ptr<Draft<BtAccountRecord>>;

std::string named(std::int32_t id) {
    return "account " + std::to_string(id);
}

void require_account(std::int32_t id, BtAccountRecord &record) {
    checked("bt_account_query_data_by_id", bt_account_query_data_by_id(id, &record), account_store, named(id));
}

Rows all_accounts() {
    Rows rows;
    const std::int32_t result = bt_account_query_all(nullptr, Rows::collect, &rows);
    rows.rethrow_failure();
    checked("bt_account_query_all", result, account_store);
    return rows;
}

Rows accounts_enabled(std::int32_t enable) {
    Rows rows;
    const std::int32_t result = bt_account_query(nullptr, Rows::collect, enable, &rows);
    rows.rethrow_failure();
    checked("bt_account_query", result, account_store);
    return rows;
}

struct ListOptions {
    explicit ListOptions(const std::vector<Column> &columns) : listing(columns) {}

    Listing listing;
    std::optional<std::int32_t> enable;
    bool show_passwords = false;
};

void list(const ListOptions &options) {
    require_database();
    Rows rows = options.enable ? accounts_enabled(*options.enable) : all_accounts();
    if (!options.show_passwords) {
        mask(rows, "account_pass");
    }
    options.listing.print(rows);
}

void add_list(CLI::App &account) {
    static const std::vector<Column> columns{
        {"id", "account_id", Kind::number},       {"enable", "account_enable", Kind::number},
        {"host", "account_host", Kind::text},     {"user", "account_user", Kind::text},
        {"password", "account_pass", Kind::text},
    };
    CLI::App *command = account.add_subcommand("list", "List accounts");
    const auto options = std::make_shared<ListOptions>(columns);
    add_number(
        *command, "--enable", "Only those with this enable value", [options](std::int32_t n) { options->enable = n; },
        std::numeric_limits<std::int32_t>::min());
    command->add_flag("--show-passwords", options->show_passwords, "Show passwords rather than ********");
    options->listing.add_options(*command);
    command->callback([options] { list(*options); });
}

void add_fields(CLI::App &command, const AccountDraft &draft, bool required, const char *enable) {
    add_field(command, draft, 1, "--host", &BtAccountRecord::account_host, "Host")->required(required);
    add_field(command, draft, 3, "--user", &BtAccountRecord::account_user, "User name")->required(required);
    add_field(command, draft, 2, "--enable", &BtAccountRecord::account_enable, enable);
}

void add_add(CLI::App &account) {
    CLI::App *command = account.add_subcommand("add", "Add an account");
    command->footer("Asks for the password. Where standard input is no terminal, its first line\n"
                    "is the password.");
    const AccountDraft draft = std::make_shared<Draft<BtAccountRecord>>();
    draft->record.account_enable = 1;
    add_fields(*command, draft, true, "Enable value (default: 1)");
    command->callback([draft] {
        require_database();
        fill("password", draft->record.account_pass, read_password("Password"));
        checked("bt_account_add", bt_account_add(&draft->record), account_store);
    });
}

// The update writes all four values, so the others are read first. One that is longer than its field would be written
// back cut.
void require_whole(std::int32_t id) {
    RowsWith rows(0, std::to_string(id));
    const std::int32_t result = bt_account_query_all(nullptr, RowsWith::collect, &rows);
    rows.rethrow_failure();
    checked("bt_account_query_all", result, account_store);
    const BtAccountRecord record{};
    const auto whole = [&](std::size_t column, std::size_t width) {
        return rows.rows.empty() || rows.rows[0][column].value_or("").size() < width;
    };
    if (!whole(1, sizeof record.account_host) || !whole(3, sizeof record.account_user) ||
        !whole(4, sizeof record.account_pass)) {
        throw Failure(Exit::failed, "tqctl: " + named(id) +
                                        " holds a text that is longer than its field and would be cut; remove the "
                                        "account and add it anew");
    }
}

void add_set(CLI::App &account) {
    CLI::App *command = account.add_subcommand("set", "Change one account");
    const AccountDraft draft = std::make_shared<Draft<BtAccountRecord>>();
    const auto password = std::make_shared<bool>(false);
    const auto id = add_identifier(*command, "The account's identifier");
    add_fields(*command, draft, false, "Enable value");
    command->add_flag("--password", *password, "Ask for a new password, or read it from standard\ninput");
    command->callback([id, draft, password] {
        if (draft->changes.empty() && !*password) {
            throw CLI::ValidationError("account set", "needs something to change");
        }
        require_database();
        BtAccountRecord record{};
        require_account(*id, record);
        require_whole(*id);
        for (const auto &change : draft->changes) {
            switch (change.column) {
            case 1:
                std::ranges::copy(draft->record.account_host, record.account_host);
                break;
            case 2:
                record.account_enable = draft->record.account_enable;
                break;
            default:
                std::ranges::copy(draft->record.account_user, record.account_user);
            }
        }
        if (*password) {
            fill("password", record.account_pass, read_password("New password"));
        }
        checked("bt_account_update", bt_account_update(&record, *id), account_store);
    });
}

void add_remove(CLI::App &account) {
    CLI::App *command = account.add_subcommand("remove", "Remove accounts");
    command->footer("Give identifiers (3, 3-7, all) or one option. An option removes every account\n"
                    "that has the value; none is no failure.");
    const AccountDraft draft = std::make_shared<Draft<BtAccountRecord>>();
    const auto selection = add_selection(*command, "The accounts with these identifiers", false);
    add_field(*command, draft, 1, "--host", &BtAccountRecord::account_host, "Accounts of this host");
    add_field(*command, draft, 2, "--enable", &BtAccountRecord::account_enable, "Accounts with this enable value");
    command->callback([selection, draft] {
        const auto require = [](std::int32_t id) {
            BtAccountRecord record{};
            require_account(id, record);
        };
        remove_rows(*selection, *draft, {all_accounts, "account_id", require}, "bt_account_del", bt_account_del,
                    account_store);
    });
}

} // namespace

void add_account_commands(CLI::App &app) {
    CLI::App *account = app.add_subcommand("account", "Login accounts per host");
    account->group("Commands");
    account->require_subcommand(1);
    add_list(*account);
    add_add(*account);
    add_set(*account);
    add_remove(*account);
    account->group("RSS and accounts");
}

} // namespace tqctl
