// Removal below "/share/": nothing but the named path and what lies below it, whatever the names hold and whatever
// others do to the folders meanwhile.
//
// A path is walked one folder at a time from the open descriptor of the one before, and no symbolic link is followed,
// so a folder that is swapped for a link leads nowhere. ".." is refused. There is no shell and no allocation that
// matters: without memory less is removed.
#ifndef KORVO_REMOVAL_DELETE_BELOW_SHARE_H
#define KORVO_REMOVAL_DELETE_BELOW_SHARE_H

namespace korvo {

// Removes the file, link or whole folder at "/share/" + folder + "/" + name. A name of slashes and dots alone would be
// the folder itself: nothing is removed.
void remove_tree(const char *folder, const char *name);

// Removes the file or link there; a folder stays.
void remove_file(const char *folder, const char *name);

} // namespace korvo

#endif
