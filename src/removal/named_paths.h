// What a removal is about: the paths that a task's record names, before anything is removed. The library removes them,
// and the operator's tool shows them, from this one list; so only the public interface and the platform are used here.
//
// A path that was truncated names another file. Therefore a text that was truncated on its way into a record or a
// buffer is no path, and what it names stays.
#ifndef KORVO_REMOVAL_NAMED_PATHS_H
#define KORVO_REMOVAL_NAMED_PATHS_H

#include "korvo_bt.h"

#include <cstddef>

namespace korvo {

struct NamedPath {
    enum class Kind {
        tree,    // "/share/" + folder + "/" + name: a file or symlink, or a directory with all that it holds
        file,    // the same, but a directory stays
        own_file // name alone, wherever it leads
    };
    Kind kind;
    char folder[1024];
    char name[sizeof BtTaskRecord::task_torrent_name + sizeof ".fastresume"];
};

struct NamedPaths {
    NamedPath paths[4];
    std::size_t count = 0;
    const NamedPath *begin() const { return paths; }
    const NamedPath *end() const { return paths + count; }
};

// In the order in which they are removed.
NamedPaths torrent_paths(const BtTaskRecord &task, bool data_too);
NamedPaths download_paths(const HttpFtpTaskRecord &task, bool data_too);

} // namespace korvo

#endif
