// Directories below "/share/" and the files that downloads make in them. Everything is reached through an open
// directory, and no symlink is followed below the share's own directory.
#ifndef KORVO_FETCH_FOLDER_H
#define KORVO_FETCH_FOLDER_H

#include <cstdint>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace fetch {

// A file descriptor that is closed on every path.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number) : number_(number) {}
    Descriptor(Descriptor &&other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor &operator=(Descriptor &&other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Descriptor() {
        if (valid()) {
            close(number_);
        }
    }

    bool valid() const { return number_ >= 0; }
    int get() const { return number_; }

private:
    int number_ = -1;
};

// The folder that unfinished downloads are in, by the device's settings.
std::string download_folder();

// Opens "/share/FOLDER", a directory that is there. Not valid, with errno, for a folder that is not below "/share/".
Descriptor open_folder(const std::string &folder);

// Opens a file of our own for reading and writing: an ordinary one without a second name. Whatever else has its name
// is removed first. Not valid when there is no such file and it is not to be created.
enum class Missing { create, leave };
Descriptor open_own_file(const Descriptor &folder, const std::string &name, Missing missing);

// Whether anything has the name.
bool exists(const Descriptor &folder, const std::string &name);
void remove_file(const Descriptor &folder, const std::string &name);
std::vector<std::string> names_in(const Descriptor &folder);

// The number of the file that has a name, which it keeps when it is renamed; 0 for none.
uint64_t file_number(const Descriptor &folder, const std::string &name);

// Renames, within one file system; fails with EEXIST where the new name is taken.
bool rename_to_new(const Descriptor &from, const std::string &name, const Descriptor &to, const std::string &new_name);

// Replaces a file by one with these contents, so that readers find the old or the new ones.
bool replace_file(const Descriptor &folder, const std::string &name, const std::string &contents,
                  const std::string &interim_name);
std::string read_file(const Descriptor &folder, const std::string &name);

bool write_all(int file, const char *data, std::size_t size, int64_t at);

} // namespace fetch

#endif
