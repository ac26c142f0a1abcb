// Files that this process's user may take orders from.
#ifndef KORVO_PLATFORM_TRUSTED_H
#define KORVO_PLATFORM_TRUSTED_H

namespace korvo {

// Opens a file for reading if root and the effective user alone can change it or lead the path to another one: they own
// the file and every directory on the way, up to the root directory and on the ways of all symlinks, and neither
// group nor others have write permission on any of these (an access list's widest entry shows as the group's). Returns
// -1 for every other file, and for a path that does not start at the root directory.
int open_trusted(const char *path);

} // namespace korvo

#endif
