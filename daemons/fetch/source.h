// What is known of the source of a partial file, kept beside it: enough to go on with the same file and no other, and
// to find a finished file again whose task does not know of it yet.
#ifndef KORVO_FETCH_SOURCE_H
#define KORVO_FETCH_SOURCE_H

#include "folder.h"

#include <cstdint>
#include <string>

namespace fetch {

struct Source {
    int32_t task = 0;         // 0: there is no such information
    std::string address;      // without user name and password
    std::string etag;         // as the server sent it
    std::string modified;     // the same; for FTP the number of seconds
    int64_t size = -1;        // of the whole file; -1: unknown
    std::string folder;       // where the complete file is being moved; empty: it is not
    std::string name;         // and its name there
    uint64_t file_number = 0; // of the file that is about to have that name
};

// Both work on NAME.part.info in the folder of the partial file.
Source load_source(const Descriptor &folder, const std::string &name);
bool save_source(const Descriptor &folder, const std::string &name, const Source &source);

std::string partial_name(const std::string &name);
std::string info_name(const std::string &name);

// Whether the file has its final place already.
bool is_placed(const Source &source);

// The copy of a complete file while it is being made on another file system.
std::string copy_name(int32_t task);

// Removes what was kept beside a finished file.
void forget(const Descriptor &folder, const std::string &name, int32_t task);
// Removes everything of a task that is gone, also a file that has its final place but was never reported.
void discard(const Descriptor &folder, const std::string &name, int32_t task);

} // namespace fetch

#endif
