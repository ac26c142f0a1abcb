// The work that is measured, each piece in three forms: a call of the library; the same by hand with SQLite's C API,
// with the same statement; and with SQLiteCpp, opened anew each time, as a programmer would write it who takes
// that.
#ifndef KORVO_BENCH_FORMS_H
#define KORVO_BENCH_FORMS_H

#include <cstdint>
#include <cstring>
#include <korvo_bt.h>
#include <span>

namespace bench {

struct Work {
    const char *name;
    const char *what; // for the report
    double most;      // instructions of the library beside those by hand, at most
    void (*library)();
    void (*bare)();
    void (*wrapper)();
    void (*form(const char *which) const)() {
        return std::strcmp(which, "library") == 0 ? library : std::strcmp(which, "bare") == 0 ? bare : wrapper;
    }
};
inline constexpr const char *form_names[] = {"library", "bare", "wrapper"};

std::span<const Work> all_work();

// Ends the program: a figure counts only for work that was done.
void require(bool done, const char *what);

// The file has these rows, see fill.cpp.
constexpr int32_t some_id = 150;
extern const char *const some_hash;
constexpr int32_t no_id = 2000000000;

// What the adds and updates write.
BtTaskRecord &some_bt_task();
HttpFtpTaskRecord &some_http_ftp_task();

// Counts rows.
int count_row(void *rows, int columns, char **values, char **names);

#define BENCH_FORM                                                                                                     \
    void add_bt();                                                                                                     \
    void add_http_ftp();                                                                                               \
    void update_bt_by_hash();                                                                                          \
    void delete_bt();                                                                                                  \
    void create_and_drop();                                                                                            \
    void read_bt();                                                                                                    \
    void read_filename();                                                                                              \
    void count_bt();                                                                                                   \
    void page_bt();                                                                                                    \
    void list_bt();                                                                                                    \
    void list_http_ftp();                                                                                              \
    void page_both();

namespace library {
BENCH_FORM
}
namespace bare {
BENCH_FORM
}
namespace wrapper {
BENCH_FORM
}

} // namespace bench

#endif
