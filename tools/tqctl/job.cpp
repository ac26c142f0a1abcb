// Download jobs that watch feeds: tqctl job.
#include "commands.h"
#include "failure.h"
#include "fields.h"
#include "listing.h"
#include "stores.h"

#include <memory>

namespace tqctl {
namespace {

using JobDraft = std::shared_ptr<Draft<BtRssJobRecord>>;

void require_job(std::int32_t id) {
    BtRssJobRecord record{};
    checked("bt_rss_job_query_data_by_id", bt_rss_job_query_data_by_id(id, &record), job_store,
            "job " + std::to_string(id));
}

Rows jobs(std::int32_t start, std::int32_t end) {
    Rows rows;
    const std::int32_t result = bt_rss_job_query(nullptr, Rows::collect, 0, start, end, &rows);
    rows.rethrow_failure();
    checked("bt_rss_job_query", result, job_store);
    return rows;
}

constexpr Selectable selectable{[] { return jobs(0, 0); }, "rss_job_id", require_job};

void add_list(CLI::App &job) {
    static const std::vector<Column> columns{
        {"id", "rss_job_id", Kind::number},
        {"quality", "rss_job_quality", Kind::number},
        {"interval", "rss_job_interval", Kind::number},
        {"last_check", "rss_job_last_check", Kind::time},
        {"episodes", "rss_job_enable_episode", Kind::number},
        {"episode", "rss_job_episode", Kind::text, Audience::programs},
        {"url", "rss_job_url_applied", Kind::text, Audience::programs},
        {"filter", "rss_job_filter", Kind::text},
        {"exclude", "rss_job_exclusion_filter", Kind::text},
        {"name", "rss_job_name", Kind::text},
    };
    CLI::App *command = job.add_subcommand("list", "List jobs");
    const auto listing = std::make_shared<Listing>(columns);
    listing->add_options(*command);
    listing->add_paging(*command, "Jobs on a page (default: 20)");
    command->callback([listing] {
        const auto [start, end] = listing->range();
        require_database();
        Rows rows = jobs(start, end);
        listing->print(rows);
    });
}

// Returns the option for the name, which an add requires.
CLI::Option *add_fields(CLI::App &command, const JobDraft &draft) {
    CLI::Option *name = add_field(command, draft, 1, "--name", &BtRssJobRecord::rss_job_name, "Name");
    add_field(command, draft, 2, "--filter", &BtRssJobRecord::rss_job_filter, "What to download");
    add_field(command, draft, 3, "--exclude", &BtRssJobRecord::rss_job_exclusion_filter, "What not to download");
    add_field(command, draft, 4, "--url", &BtRssJobRecord::rss_job_url_applied, "Address of the feed it is for");
    add_field(command, draft, 5, "--quality", &BtRssJobRecord::rss_job_quality, "Quality code");
    add_field(command, draft, 6, "--interval", &BtRssJobRecord::rss_job_interval, "Check interval");
    add_field(command, draft, 7, "--last-check", &BtRssJobRecord::rss_job_last_check, "Time of the last check");
    add_field(command, draft, 8, "--episodes", &BtRssJobRecord::rss_job_enable_episode, "Episode switch");
    add_field(command, draft, 9, "--episode", &BtRssJobRecord::rss_job_episode, "Episode, as text");
    return name;
}

void add_add(CLI::App &job) {
    CLI::App *command = job.add_subcommand("add", "Add a job");
    command->footer("Prints the new job's identifier. Fields not given are 0 or empty.");
    const JobDraft draft = std::make_shared<Draft<BtRssJobRecord>>();
    add_fields(*command, draft)->required();
    command->callback([draft] {
        require_database();
        print_new_identifier("bt_rss_job_add", bt_rss_job_add(&draft->record), job_store, "job");
    });
}

void add_set(CLI::App &job) {
    CLI::App *command = job.add_subcommand("set", "Change fields of jobs");
    const JobDraft draft = std::make_shared<Draft<BtRssJobRecord>>();
    const auto selection = add_selection(*command, "Identifiers: 3, 3-7, all");
    add_fields(*command, draft);
    command->callback([selection, draft] {
        if (draft->changes.empty()) {
            throw CLI::ValidationError("job set", "needs at least one field to change");
        }
        require_database();
        for (const std::int32_t id : chosen(*selection, selectable)) {
            apply(*draft, id, "bt_rss_job_update_field_by_id", bt_rss_job_update_field_by_id, job_store);
        }
    });
}

void add_remove(CLI::App &job) {
    CLI::App *command = job.add_subcommand("remove", "Remove jobs");
    command->footer("Give identifiers (3, 3-7, all) or one option. An option removes every job that\n"
                    "has the value; none is no failure.");
    const JobDraft draft = std::make_shared<Draft<BtRssJobRecord>>();
    const auto selection = add_selection(*command, "The jobs with these identifiers", false);
    add_field(*command, draft, 1, "--name", &BtRssJobRecord::rss_job_name, "Jobs with this name");
    add_field(*command, draft, 4, "--url", &BtRssJobRecord::rss_job_url_applied, "Jobs for this feed");
    command->callback([selection, draft] {
        remove_rows(*selection, *draft, selectable, "bt_rss_job_del", bt_rss_job_del, job_store);
    });
}

} // namespace

void add_job_commands(CLI::App &app) {
    CLI::App *job = app.add_subcommand("job", "Download jobs that watch feeds");
    job->group("Commands");
    job->require_subcommand(1);
    add_list(*job);
    add_add(*job);
    add_set(*job);
    add_remove(*job);
    job->group("RSS and accounts");
}

} // namespace tqctl
