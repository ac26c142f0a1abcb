// repeat WORK FORM COUNT: does a piece of work so many times and nothing else, for instruments that look at a process
// from outside. repeat --list: the pieces of work, a line each. Built with COUNT_HEAP it reports what the process
// allocated.

#include "forms.h"

#include <cstdio>
#include <cstdlib>

#ifdef COUNT_HEAP
extern std::size_t heap_peak;

namespace {

// In KiB, of this program alone: getrusage() would count what its parent had when it forked.
long resident_peak() {
    long peak = 0;
    char line[128];
    if (std::FILE *status = std::fopen("/proc/self/status", "r")) {
        while (std::fgets(line, sizeof line, status) != nullptr && std::sscanf(line, "VmHWM: %ld", &peak) != 1) {
        }
        std::fclose(status);
    }
    return peak;
}

} // namespace
#endif

int main(int argc, char **argv) {
    if (argc == 2 && std::strcmp(argv[1], "--list") == 0) {
        for (const bench::Work &work : bench::all_work()) {
            std::printf("%s\t%s\t%.4g\n", work.name, work.what, work.most);
        }
        return 0;
    }
    if (argc == 4) {
        for (const bench::Work &work : bench::all_work()) {
            if (std::strcmp(work.name, argv[1]) == 0) {
                void (*const form)() = work.form(argv[2]);
                for (int left = std::atoi(argv[3]); left > 0; --left) {
                    form();
                }
#ifdef COUNT_HEAP
                std::printf("%zu\t%ld\n", heap_peak, resident_peak());
#endif
                return 0;
            }
        }
    }
    std::fputs("usage: repeat WORK library|bare|wrapper COUNT, or repeat --list\n", stderr);
    return 2;
}
