// Feeds a fuzz target with saved inputs, where no fuzzer is linked to it: each file of the named
// directories, and variations of it.
//
//     replay VARIATIONS DIRECTORY...

#include "target.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <set>

namespace {

void feed(const std::string &bytes) {
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
}

void vary(std::string &bytes, std::minstd_rand &random) {
    const std::size_t at = bytes.empty() ? 0 : random() % bytes.size();
    switch (bytes.empty() ? 0 : random() % 5) {
    case 0:
        bytes.insert(at, 1, static_cast<char>(random()));
        break;
    case 1:
        bytes[at] = static_cast<char>(random());
        break;
    case 2:
        bytes[at] = static_cast<char>(bytes[at] ^ (1 << random() % 8));
        break;
    case 3:
        bytes.erase(at, 1 + random() % 4);
        break;
    default:
        bytes.insert(at, bytes.substr(random() % bytes.size(), random() % 64));
    }
}

} // namespace

int main(int argc, char **argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s VARIATIONS DIRECTORY...\n", argv[0]);
        return 2;
    }
    std::minstd_rand random(1);
    std::set<std::filesystem::path> files;
    for (int i = 2; i < argc; ++i) {
        for (const auto &entry : std::filesystem::directory_iterator(argv[i])) {
            files.insert(entry.path());
        }
    }
    const int variations = std::atoi(argv[1]);
    for (const auto &file : files) {
        std::ifstream in(file, std::ios::binary);
        const std::string seed(std::istreambuf_iterator<char>(in), {});
        feed(seed);
        for (int i = 0; i < variations; ++i) {
            std::string bytes = seed;
            for (auto count = 1 + random() % 5; count > 0; --count) {
                vary(bytes, random);
            }
            feed(bytes);
        }
    }
    std::printf("%zu inputs, each with %d variations\n", files.size(), variations);
    return files.empty() ? 1 : 0;
}
