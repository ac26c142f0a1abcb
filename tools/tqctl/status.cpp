// What tasks do, in a word.
#include "tasks.h"

namespace tqctl {
namespace {

// The columns that tell it, by their places.
struct Places {
    explicit Places(const Rows &rows)
        : kind(rows.position("kind")), state(rows.position("task_state")), paused(rows.position("task_is_paused")),
          down(rows.position("task_download_rate")), up(rows.position("task_upload_rate")),
          error(rows.position("task_errcode")) {}

    std::size_t kind;
    std::size_t state;
    std::size_t paused;
    std::size_t down;
    std::size_t up;
    std::size_t error;
};

std::int64_t number(const Row &row, std::size_t place) {
    return place < row.size() ? whole_number(row[place]).value_or(0) : 0;
}

// The words follow the groups by which lists are filtered.
std::string status_of(const Row &row, const Places &places, bool http) {
    const std::int64_t state = number(row, places.state);
    const bool paused = number(row, places.paused) == 1;
    const bool moving = number(row, places.down) > 0 || number(row, places.up) > 0;
    const std::int64_t finished_first = http ? HTTP_FTP_TASK_STATE_FINISHED : 5;
    const std::int64_t finished_last = http ? HTTP_FTP_TASK_STATE_FINISHED : 6;
    const std::int64_t last = http ? HTTP_FTP_TASK_STATE_FINISHED : 7;
    if (state < 1 || state > last) {
        return "state " + (row[places.state] ? *row[places.state] : "none");
    }
    if (state >= finished_first && state <= finished_last) {
        return "finished";
    }
    if (const std::int64_t error = http ? number(row, places.error) : 0; error != 0) {
        return "error " + std::to_string(error);
    }
    return paused ? "paused" : http && state == HTTP_FTP_TASK_STATE_QUEUED ? "queued" : moving ? "active" : "running";
}

} // namespace

void add_status(Rows &rows, const TaskKind *kind) {
    const Places places(rows);
    rows.names.emplace_back("status");
    for (Row &row : rows.rows) {
        const bool http = kind != nullptr ? kind == &http_tasks : row[places.kind] == http_tasks.name;
        row.emplace_back(status_of(row, places, http));
    }
}

const char *status_color(const Rows &rows, const Row &row) {
    const std::string status = row[rows.position("status")].value_or("");
    return status.starts_with("error") ? red : status == "paused" ? yellow : status == "active" ? green : nullptr;
}

} // namespace tqctl
