// Deletes what a removal names, as "rm -rf" would: the named path and what lies below it, nothing else, whatever the
// names hold and whatever others do to the directories meanwhile.
//
// A path below "/share/" is walked one directory at a time from the open descriptor of the one before. The share, which
// is the first of them, may be a symlink of the system's; below it no symlink is followed, so a directory that is
// swapped for one leads nowhere. ".." is refused, and so is a last component ".". A path without a directory below
// "/share/" would name a share: nothing is deleted. There is no shell and no allocation that matters: without memory
// less is deleted.
#ifndef KORVO_REMOVAL_DELETE_PATHS_H
#define KORVO_REMOVAL_DELETE_PATHS_H

#include "removal/named_paths.h"

namespace korvo {

void delete_path(const NamedPath &path);

// What delete_path() would try to delete there.
enum class Found { nothing, file, directory };
Found find_path(const NamedPath &path);

} // namespace korvo

#endif
