#include "memory.h"

#include "next.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>
#include <sqlite3.h>
#include <sys/mman.h>

namespace {

std::atomic<bool> watched = false;
std::atomic<int> allocations_until_failure = 0; // 0: none fails, or all do
std::atomic<bool> failing_goes_on = false;
// The outcome in a child process is the parent's to see.
struct Outcome {
    std::atomic<bool> failed = false;
    std::atomic<int> held = 0;
};
Outcome &outcome =
    *new (mmap(nullptr, sizeof(Outcome), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Outcome;

bool fails() {
    if (!watched) {
        return false;
    }
    const int left = allocations_until_failure.fetch_sub(1);
    if (left != 1 && !(left < 1 && outcome.failed && failing_goes_on)) {
        return false;
    }
    outcome.failed = true;
    errno = ENOMEM;
    return true;
}

void *counted(void *memory) {
    if (watched && memory != nullptr) {
        ++outcome.held;
    }
    return memory;
}

void forget(const void *memory) {
    if (watched && memory != nullptr) {
        --outcome.held;
    }
}

} // namespace

namespace test {

void begin_shortage(int at, bool goes_on) {
    outcome.failed = false;
    outcome.held = 0;
    failing_goes_on = goes_on;
    allocations_until_failure = at;
    watched = true;
}

void end_shortage() {
    watched = false;
}

bool memory_ran_out() {
    return outcome.failed;
}

int allocations_held() {
    return outcome.held;
}

} // namespace test

#ifdef KORVO_SANITIZE

namespace {

sqlite3_mem_methods system_memory;

void *allocate(int size) {
    return fails() ? nullptr : counted(system_memory.xMalloc(size));
}
void *reallocate(void *memory, int size) {
    return fails() ? nullptr : system_memory.xRealloc(memory, size);
}
void release(void *memory) {
    forget(memory);
    system_memory.xFree(memory);
}
bool take_memory() {
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &system_memory);
    sqlite3_mem_methods methods = system_memory;
    methods.xMalloc = allocate;
    methods.xRealloc = reallocate;
    methods.xFree = release;
    return sqlite3_config(SQLITE_CONFIG_MALLOC, &methods) == SQLITE_OK;
}

} // namespace

#else

using test::next;

extern "C" {
void *malloc(std::size_t size) {
    static const auto system = next(malloc, "malloc");
    return fails() ? nullptr : counted(system(size));
}
void *calloc(std::size_t count, std::size_t size) {
    static const auto system = next(calloc, "calloc");
    return fails() ? nullptr : counted(system(count, size));
}
void *realloc(void *memory, std::size_t size) {
    static const auto system = next(realloc, "realloc");
    void *grown = fails() ? nullptr : system(memory, size);
    return memory == nullptr ? counted(grown) : grown;
}
void free(void *memory) {
    static const auto system = next(free, "free");
    forget(memory);
    system(memory);
}
}

void *operator new(std::size_t size) {
    static const auto system = next(malloc, "malloc");
    void *memory = test::new_runs_out ? malloc(size) : system(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}
void operator delete(void *memory) noexcept {
    static const auto system = next(free, "free");
    test::new_runs_out ? free(memory) : system(memory);
}
void operator delete(void *memory, std::size_t /*size*/) noexcept {
    operator delete(memory);
}

namespace {

bool take_memory() {
    return true;
}

} // namespace

#endif

// Before anything else uses SQLite: without lookaside memory, so that small allocations are counted too.
const bool test::memory_is_taken = take_memory() && sqlite3_config(SQLITE_CONFIG_LOOKASIDE, 0, 0) == SQLITE_OK;
