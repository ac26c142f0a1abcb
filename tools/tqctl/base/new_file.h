// A file that comes into being whole or not at all: written through one descriptor without a name and named when it is
// complete, readable by its owner alone, never over another file. Where the file system has no files without a name, it
// is made under its name and removed again unless it was kept, also by Ctrl-C.
#ifndef KORVO_TQCTL_BASE_NEW_FILE_H
#define KORVO_TQCTL_BASE_NEW_FILE_H

#include <csignal>
#include <string>
#include <string_view>

namespace tqctl {

class NewFile {
public:
    explicit NewFile(std::string path);
    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;
    ~NewFile();

    void write(std::string_view bytes);

    // Gives it its name once all of it is on the disk. False when another file has the name.
    bool keep(unsigned mode = 0600);

private:
    std::string path_;
    sigset_t signals_before_{};
    int descriptor_ = -1;
    bool named_ = false;
    bool kept_ = false;
};

} // namespace tqctl

#endif
