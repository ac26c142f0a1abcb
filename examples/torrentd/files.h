// Where a torrent's files lie, and what is done with them besides downloading. Everything is below "/share/"; names
// come from strangers.
#ifndef KORVO_TORRENTD_FILES_H
#define KORVO_TORRENTD_FILES_H

#include <libtorrent/add_torrent_params.hpp>
#include <libtorrent/info_hash.hpp>
#include <libtorrent/torrent_info.hpp>
#include <optional>
#include <string>
#include <vector>

namespace torrentd {

// The directory that a folder of the settings or of a task names; empty when it is not one below "/share/".
std::string directory_of(const std::string &folder);
std::string download_directory();

// The one name that a torrent's data has in its directory. Empty when a file cannot be called so, with the companions
// that it needs, or when some of the data would lie elsewhere.
std::string data_name(const lt::torrent_info &torrent);

// As task_hash has it.
std::string hash_text(const lt::info_hash_t &hashes);
bool same_hash(const std::string &one, const std::string &other); // whatever the case of its digits

bool exists(const std::string &path); // whatever it is, a symlink that leads nowhere included
bool is_symlink(const std::string &path);

// The torrent file of a task. Nothing when there is none, or it is damaged.
std::optional<lt::add_torrent_params> read_torrent_file(const std::string &path);

// Fast-resume data holds the metadata too, so that a task from a magnet link needs no other file. It lies where users
// can write: no paths are taken from it, and none that is another torrent's.
std::optional<lt::add_torrent_params> read_fast_resume(const std::string &directory, const std::string &name,
                                                       const std::string &hash);

// The file is whole at every moment, and there for good when this returns true.
bool write_fast_resume(const std::string &directory, const std::string &name, const std::vector<char> &data);
void remove_files(const std::string &directory, const std::string &name, bool with_data);

// Moves data and fast-resume data, also to another file system. Interrupted at any moment, it is completed by the same
// call. Returns what was in the way, or nothing.
std::string move_data(const std::string &from, const std::string &to, const std::string &name,
                      const std::vector<char> &fast_resume);

} // namespace torrentd

#endif
