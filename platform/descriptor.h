// A file descriptor that is closed on every path.
#ifndef KORVO_PLATFORM_DESCRIPTOR_H
#define KORVO_PLATFORM_DESCRIPTOR_H

#include <cstddef>
#include <unistd.h>
#include <utility>

namespace korvo {

class Descriptor {
public:
    explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    ~Descriptor() {
        if (valid()) {
            close(descriptor_);
        }
    }

    bool valid() const { return descriptor_ >= 0; }
    int get() const { return descriptor_; }
    int release() { return std::exchange(descriptor_, -1); }
    void replace(int descriptor) { const Descriptor old(std::exchange(descriptor_, descriptor)); }

private:
    int descriptor_;
};

inline bool write_all(int descriptor, const char *text, std::size_t length) {
    while (length > 0) {
        const ssize_t written = write(descriptor, text, length);
        if (written < 0) {
            return false;
        }
        text += written;
        length -= static_cast<std::size_t>(written);
    }
    return true;
}

} // namespace korvo

#endif
