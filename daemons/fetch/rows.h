// Rows of the store as the daemon reads and writes them: one column at a time, and only what differs, so that nobody
// else's change is undone.
#ifndef KORVO_FETCH_ROWS_H
#define KORVO_FETCH_ROWS_H

#include "korvo_bt.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>

namespace fetch {

// One task's row and the columns to be entered in it. After a failed write everything else is left for the next time.
class Entry {
public:
    explicit Entry(const HttpFtpTaskRecord &row) : row_(row) {}

    Entry &state(int32_t value) { return number(HTTP_FTP_TASK_FIELD_STATE, row_.task_state, value); }
    Entry &progress(int32_t value) { return number(HTTP_FTP_TASK_FIELD_PROGRESS, row_.task_progress, value); }
    Entry &paused(int32_t value) { return number(HTTP_FTP_TASK_FIELD_IS_PAUSED, row_.task_is_paused, value); }
    Entry &error(int32_t value) { return number(HTTP_FTP_TASK_FIELD_ERRCODE, row_.task_errcode, value); }
    Entry &size(int64_t value) { return number(HTTP_FTP_TASK_FIELD_TOTAL_SIZE, row_.task_total_size, value); }
    Entry &downloaded(int64_t value) {
        return number(HTTP_FTP_TASK_FIELD_TOTAL_DOWNLOADED, row_.task_total_downloaded, value);
    }
    Entry &rate(int64_t value); // cut to the 31 bits that a record holds
    Entry &start_time(const std::string &value) {
        return text(HTTP_FTP_TASK_FIELD_START_TIME, row_.task_start_time, value);
    }
    Entry &finish_time(const std::string &value) {
        return text(HTTP_FTP_TASK_FIELD_FINISH_TIME, row_.task_finish_time, value);
    }
    Entry &time_left(const std::string &value) {
        return text(HTTP_FTP_TASK_FIELD_TIME_LEFT, row_.task_time_left, value);
    }
    Entry &name(const std::string &value) { return text(HTTP_FTP_TASK_FIELD_SAVENAME, row_.task_savename, value); }
    Entry &move_folder(const std::string &value) {
        return text(HTTP_FTP_TASK_FIELD_MOVE_FOLDER, row_.task_move_folder, value);
    }
    Entry &process(int32_t value);

    // Whether everything is in the store.
    bool is_written() const { return written_; }

private:
    template <typename Number> Entry &number(uint32_t field, Number stored, Number value);
    Entry &text(uint32_t field, const char *stored, const std::string &value);

    const HttpFtpTaskRecord &row_;
    bool written_ = true;
};

// BTDB_ERR_QUERY also means that the store did not answer. True only when it answered and the task was not there.
bool is_absent(int32_t task);

// The first queued task of the usual type that may start; 0 for none.
int32_t first_queued(const std::function<bool(int32_t task)> &may_start);

// The names that all other tasks' files have. None when the store does not answer.
std::optional<std::set<std::string>> names_of_others(int32_t task);

// The login for an address among the enabled accounts; empty when there is none for its host. None when the store does
// not answer.
struct Login {
    std::string user;
    std::string password;
};
std::optional<Login> account_for(const std::string &address);

std::string current_time();
std::string time_left(int64_t amount, int64_t rate);

} // namespace fetch

#endif
