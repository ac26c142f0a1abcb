#include "rows.h"

#include "korvo_bt_conventions.h"
#include "names.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <strings.h>

namespace fetch {
namespace {

constexpr int32_t enabled = 1;

// Lists tasks; false when the store does not answer. `see` has the columns of a row.
using Columns = char **;
bool list_tasks(int32_t filter, std::function<void(Columns)> see) {
    const TqRowCallback call = [](void *context, int, char **values, char **) {
        (*static_cast<std::function<void(Columns)> *>(context))(values);
        return 0;
    };
    return http_ftp_db_query_task(nullptr, call, 0, 0, 0, filter, &see) == BTDB_OK;
}

int32_t number_in(const char *value) {
    return value == nullptr ? 0 : static_cast<int32_t>(std::strtol(value, nullptr, 10));
}

const char *text_in(const char *value) {
    return value == nullptr ? "" : value;
}

} // namespace

// ---- One row

template <typename Number> Entry &Entry::number(uint32_t field, Number stored, Number value) {
    written_ =
        written_ && (stored == value || http_ftp_db_update_task_field_by_id(row_.task_id, field, &value) == BTDB_OK);
    return *this;
}

template Entry &Entry::number(uint32_t, int32_t, int32_t);
template Entry &Entry::number(uint32_t, int64_t, int64_t);

Entry &Entry::rate(int64_t value) {
    constexpr int64_t most = std::numeric_limits<int32_t>::max();
    return number(HTTP_FTP_TASK_FIELD_DOWNLOAD_RATE, int64_t{row_.task_download_rate}, std::min(value, most));
}

Entry &Entry::text(uint32_t field, const char *stored, const std::string &value) {
    written_ = written_ &&
               (stored == value || http_ftp_db_update_task_field_by_id(row_.task_id, field, value.c_str()) == BTDB_OK);
    return *this;
}

Entry &Entry::process(int32_t value) {
    written_ =
        written_ && (row_.task_pid == value || http_ftp_db_update_pid_by_task_id(row_.task_id, value) == BTDB_OK);
    return *this;
}

// ---- Many rows

bool is_absent(int32_t task) {
    bool found = false;
    const bool answered = list_tasks(HTTP_FTP_TASK_FILTER_ALL, [&](Columns columns) {
        found = found || number_in(columns[HTTP_FTP_TASK_FIELD_ID]) == task;
    });
    return answered && !found;
}

int32_t first_queued(const std::function<bool(int32_t task)> &may_start) {
    HttpFtpTaskRecord row;
    if (http_ftp_db_query_next_queued_task_no_rapidshare(&row, 0) != BTDB_OK) {
        return 0;
    }
    if (may_start(row.task_id)) {
        return row.task_id;
    }
    // The library passes over one task. Here several may wait to be tried again.
    int32_t first = 0;
    list_tasks(HTTP_FTP_TASK_FILTER_RUNNING, [&](Columns columns) {
        const int32_t task = number_in(columns[HTTP_FTP_TASK_FIELD_ID]);
        if (number_in(columns[HTTP_FTP_TASK_FIELD_STATE]) == HTTP_FTP_TASK_STATE_QUEUED &&
            number_in(columns[HTTP_FTP_TASK_FIELD_TYPE]) == HTTP_FTP_TASK_TYPE_NORMAL && (first == 0 || task < first) &&
            may_start(task)) {
            first = task;
        }
    });
    return first;
}

std::optional<std::set<std::string>> names_of_others(int32_t task) {
    std::set<std::string> names;
    const bool answered = list_tasks(HTTP_FTP_TASK_FILTER_ALL, [&](Columns columns) {
        if (number_in(columns[HTTP_FTP_TASK_FIELD_ID]) != task) {
            names.insert(text_in(columns[HTTP_FTP_TASK_FIELD_SAVENAME]));
        }
    });
    return answered ? std::optional(std::move(names)) : std::nullopt;
}

std::optional<Login> account_for(const std::string &address) {
    struct Search {
        std::string host;
        int32_t account = std::numeric_limits<int32_t>::max();
        Login login;
    } search{host_of(address), std::numeric_limits<int32_t>::max(), {}};
    // The oldest account, for the host on any port or on the one that the address names.
    const TqRowCallback see = [](void *context, int, char **values, char **) {
        auto &wanted = *static_cast<Search *>(context);
        const std::string host = text_in(values[1]);
        const bool same = strcasecmp(host.c_str(), wanted.host.c_str()) == 0 ||
                          strcasecmp(host.c_str(), wanted.host.substr(0, wanted.host.rfind(':')).c_str()) == 0;
        if (!host.empty() && same && number_in(values[0]) < wanted.account) {
            wanted.account = number_in(values[0]);
            wanted.login = {text_in(values[3]), text_in(values[4])};
        }
        return 0;
    };
    if (bt_account_query(nullptr, see, enabled, &search) != BTDB_OK) {
        return std::nullopt;
    }
    return search.login;
}

// ---- Times

std::string current_time() {
    return http_ftp_task_fmttime(static_cast<int32_t>(std::time(nullptr)), TQ_TIME_FORMAT);
}

std::string time_left(int64_t amount, int64_t rate) {
    if (rate <= 0 || amount < 0) {
        return TQ_TIME_LEFT_UNKNOWN;
    }
    const int64_t seconds = amount / rate;
    if (seconds >= int64_t{100} * 3600) {
        return TQ_TIME_LEFT_MOST;
    }
    char text[sizeof TQ_TIME_LEFT_MOST];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d", static_cast<int>(seconds / 3600),
                  static_cast<int>(seconds / 60 % 60), static_cast<int>(seconds % 60));
    return text;
}

} // namespace fetch
