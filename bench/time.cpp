// Times by Google Benchmark. Each run starts on the file as it was when the program started, so that every form adds to
// and searches the same rows. With --scale, as the first argument: single calls of the library on the file as it is.

#include "forms.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

std::string file_contents() {
    std::ifstream file(BTDB_DEFAULT_FILE, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Whatever else the machine does adds to a run; the least of several is nearest to the work itself.
double least(const std::vector<double> &runs) {
    return *std::min_element(runs.begin(), runs.end());
}

void compare_forms() {
    static const std::string before = file_contents();
    for (const bench::Work &work : bench::all_work()) {
        for (const char *name : bench::form_names) {
            benchmark::RegisterBenchmark((std::string(work.name) + "/" + name).c_str(),
                                         [form = work.form(name)](benchmark::State &state) {
                                             std::ofstream(BTDB_DEFAULT_FILE, std::ios::binary) << before;
                                             for (auto _ : state) {
                                                 form();
                                             }
                                         })
                ->Iterations(100)
                ->ComputeStatistics("least", least)
                ->Unit(benchmark::kMicrosecond);
        }
    }
}

int32_t tasks = 0;
std::string last_hash;
int rows = 0;

// What grows with the number of tasks, and what does not.
void grow() {
    tasks = bt_db_query_task_count(BT_TASK_FILTER_ALL);
    static BtTaskRecord last;
    bench::require(bt_db_query_data_by_task_id(tasks, &last) == BTDB_OK, "the last task");
    last_hash = last.task_hash;
    const auto add = [](const char *name, bool (*call)()) {
        benchmark::RegisterBenchmark(name,
                                     [name, call](benchmark::State &state) {
                                         for (auto _ : state) {
                                             bench::require(call(), name);
                                         }
                                     })
            ->ComputeStatistics("least", least)
            ->Unit(benchmark::kMicrosecond);
    };
    static constexpr auto page = [](int from) {
        return bt_db_query_task(nullptr, bench::count_row, 0, from, from + 50, BT_TASK_FILTER_ALL, &rows) == BTDB_OK;
    };
    add("read by identifier", [] { return bt_db_query_data_by_task_id(tasks / 2, &last) == BTDB_OK; });
    add("read the last by hash", [] { return bt_db_query_data_by_task_hash(last_hash.c_str(), &last) == BTDB_OK; });
    add("count all", [] { return bt_db_query_task_count(BT_TASK_FILTER_ALL) > 0; });
    add("count running", [] { return bt_db_query_task_count(BT_TASK_FILTER_RUNNING) > 0; });
    add("first page of 50", [] { return page(0); });
    add("last page of 50", [] { return page(tasks - 50); });
    add("first page of HTTP/FTP tasks", [] {
        return http_ftp_db_query_task(nullptr, bench::count_row, 0, 0, 50, HTTP_FTP_TASK_FILTER_ALL, &rows) == BTDB_OK;
    });
    add("first page of both kinds",
        [] { return tq_db_query_task(nullptr, bench::count_row, 0, 0, 50, BT_TASK_FILTER_ALL, &rows) == BTDB_OK; });
    add("update the last by hash", [] { return bt_db_update_task_by_hash(&last) == BTDB_OK; });
    add("set one marker by identifier", [] { return bt_db_update_recode_by_task_id(tasks / 2, 1) == BTDB_OK; });
    add("set an HTTP/FTP rate by identifier", [] {
        static constexpr int64_t rate = 250;
        return http_ftp_db_update_task_field_by_id(tasks / 2, HTTP_FTP_TASK_FIELD_DOWNLOAD_RATE, &rate) == BTDB_OK;
    });
    add("add a BT task", [] { return bt_db_add_task(&bench::some_bt_task()) > 0; });
    add("add an HTTP/FTP task", [] { return http_ftp_db_add_task(&bench::some_http_ftp_task()) > 0; });
}

} // namespace

int main(int argc, char **argv) {
    if (argc > 1 && std::strcmp(argv[1], "--scale") == 0) {
        grow();
        --argc;
        ++argv;
    } else {
        compare_forms();
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
