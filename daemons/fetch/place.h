// Gives a complete file its final name and place, also in a folder on another file system. Takes as long as the disk
// does, so it runs on a thread of its own.
#ifndef KORVO_FETCH_PLACE_H
#define KORVO_FETCH_PLACE_H

#include <atomic>
#include <cstdint>
#include <string>

namespace fetch {

struct Placing {
    int32_t task = 0;
    std::string folder;     // of the partial file
    std::string name;       // that the partial file is called after
    std::string new_folder; // that it goes to
    std::string new_name;   // and its name there
};

enum class Placed { done, name_taken, disk_full, failed, stopped };

Placed place(const Placing &placing, const std::atomic<bool> &stop);

} // namespace fetch

#endif
