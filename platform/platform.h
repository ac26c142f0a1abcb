// The device's own libraries, as this project calls them: its configuration file, its name, its alert mail. A device
// has them already; elsewhere libKorvo_platform.so.1 stands in. A program that defines one of these functions itself
// takes precedence over either, as usual with shared libraries.
#ifndef KORVO_PLATFORM_H
#define KORVO_PLATFORM_H

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define KORVO_PLATFORM_API __attribute__((visibility("default")))
#else
#define KORVO_PLATFORM_API
#endif

// Copies the key's value into the buffer, NUL-terminated, at most size - 1 characters, and returns the length of what
// it copied. The default stands for a key, or a file, that does not exist. A file that exists and cannot be read or
// understood (no permission, not a regular file, a NUL in it, a line like "[name" without its end, a symlink that leads
// nowhere) is the empty string: what the default names could be something that the settings keep away from.
KORVO_PLATFORM_API int Get_Profile_String(const char *section, const char *key, const char *default_text, char *buffer,
                                          int size);

// Returns the key's value as 0 or 1, or the default when there is none or it is neither.
KORVO_PLATFORM_API int Get_Profile_Boolean(const char *section, const char *key, int default_value);

// Store a value under a key, for good when they return 0. Another result: the file is as it was, unless only the last
// step failed, making its new name permanent. They wait for up to 20 seconds for other writers.
//
// A write is for who may write both the file and its directory. The file keeps its mode and access list, and its owner
// and group; from a writer who may not give files away it gets a new owner, and keeps its group. When it cannot keep
// that either, nothing is stored. Neither is what could not be read back: a section or key with a line end, a key with
// "=".
KORVO_PLATFORM_API int Set_Profile_String(const char *section, const char *key, const char *value);
KORVO_PLATFORM_API int Set_Profile_Boolean(const char *section, const char *key, int value);

// Copies the host's name into the buffer, NUL-terminated and cut to its size. Returns 0, or -1 with an empty name.
KORVO_PLATFORM_API int Get_Server_Name(char *buffer, int size);

// Sends a message from this server as an alert mail. Returns 0 once the mail system has accepted it, else -1. A mail
// program that has not accepted it after 60 seconds is ended with its process group. Settings that cannot be read send
// nothing: they may name another recipient.
//
// The configuration file names another program than the system's only if root and the process's effective user alone
// own and can write the file and every directory on the way to it.
KORVO_PLATFORM_API int Send_Alert_Mail(const char *server_name, const char *message, const void *reserved);

#ifdef __cplusplus
}
#endif

#endif
