// Memory that runs out: the runtime's, of which SQLite's is a part.
#ifndef KORVO_TESTS_MEMORY_H
#define KORVO_TESTS_MEMORY_H

namespace test {

// Whether operator new takes part. A program whose tests have nothing else to take from says no.
extern const bool new_runs_out;

// Or nothing would run out.
extern const bool memory_is_taken;

// From here to end_shortage(), all threads' allocations are counted, and the one of that number fails, alone or with
// all that follow. 0: none fails.
void begin_shortage(int at, bool goes_on);
void end_shortage();

// Since the beginning, also in a child that has called it: whether any allocation failed, and how many are not freed.
bool memory_ran_out();
int allocations_held();

// A sanitizer has taken the runtime's memory; SQLite's can still be had from SQLite.
#ifdef KORVO_SANITIZE
constexpr bool runtime_runs_out = false;
#else
constexpr bool runtime_runs_out = true;
#endif

} // namespace test

#endif
