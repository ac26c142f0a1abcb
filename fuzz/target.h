// What the fuzz targets share. A target takes any bytes and ends the process when something does not hold.
#ifndef KORVO_FUZZ_TARGET_H
#define KORVO_FUZZ_TARGET_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size);

namespace fuzz {

inline void require(bool holds, const char *what) {
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", what);
        std::abort();
    }
}
#define KORVO_REQUIRE(...) fuzz::require((__VA_ARGS__), #__VA_ARGS__)

// The bytes as they are consumed.
class Input {
public:
    Input(const uint8_t *data, std::size_t size) : rest_(reinterpret_cast<const char *>(data), size) {}
    unsigned byte() {
        const unsigned value = rest_.empty() ? 0 : static_cast<unsigned char>(rest_[0]);
        rest_.remove_prefix(rest_.empty() ? 0 : 1);
        return value;
    }
    // Up to the next NUL, at most so long.
    std::string text(std::size_t longest = SIZE_MAX) {
        std::string text(rest_.substr(0, rest_.find('\0')));
        rest_.remove_prefix(text.size() < rest_.size() ? text.size() + 1 : text.size());
        text.resize(text.size() < longest ? text.size() : longest);
        return text;
    }
    bool empty() const { return rest_.empty(); }

private:
    std::string_view rest_;
};

} // namespace fuzz

#endif
