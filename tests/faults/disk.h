// The files as SQLite sees them, with an accident on demand: each file operation is counted on its way to the disk and
// fails when its turn comes. Waiting for a lock can be made to take no time.
#ifndef KORVO_TESTS_DISK_H
#define KORVO_TESTS_DISK_H

#include <functional>
#include <string>
#include <vector>

namespace test::disk {

enum class On { open, remove, access, read, write, sync, truncate, lock, size };

struct Accident {
    const char *name;
    std::vector<On> on;   // the operations that are counted
    bool is_full = false; // what a write then reports
};

// The count-th operation meets the accident, and when it goes on all that follow do.
void arm(const Accident &accident, int count, bool goes_on = false);
// No more accidents. Whether there was one.
bool disarm();

// From now on waiting takes no time; called instead with the microseconds that were to be waited since. nullptr: it
// takes its time again.
void instead_of_waiting(std::function<void(long long)> called);

} // namespace test::disk

#endif
