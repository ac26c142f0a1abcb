// The configuration file for the platform layer's own use.
#ifndef KORVO_PLATFORM_PROFILE_H
#define KORVO_PLATFORM_PROFILE_H

namespace korvo {

// Get_Profile_String() into a buffer of at least one byte; -1 for a file that cannot be read or understood.
int read_profile(const char *section, const char *key, const char *default_text, char *buffer, int size);

// The same for a file that is open; a negative descriptor stands for one that does not exist.
int read_profile(int descriptor, const char *section, const char *key, const char *default_text, char *buffer,
                 int size);

} // namespace korvo

#endif
