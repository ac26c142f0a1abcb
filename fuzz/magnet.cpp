// The command line's reader of magnet links, and how it makes any string safe to show.

#include "magnet.h"
#include "target.h"
#include "text.h"

#include <algorithm>

int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char *>(data), size);
    for (const std::string &link : {bytes, "magnet:?xt=urn:btih:" + bytes, "magnet:?dn=" + bytes}) {
        const auto [magnet, fault] = tqctl::read_magnet(link);
        KORVO_REQUIRE((fault != nullptr) == magnet.hash.empty());
        KORVO_REQUIRE(fault != nullptr || tqctl::info_hash(magnet.hash) == magnet.hash);
        KORVO_REQUIRE(magnet.name.size() <= link.size() && magnet.name.find('\0') == std::string::npos);
    }
    for (const auto charset : {tqctl::Charset::ascii, tqctl::Charset::utf8}) {
        const std::string shown = tqctl::escaped(bytes, charset);
        KORVO_REQUIRE(shown.size() >= bytes.size());
        KORVO_REQUIRE(std::none_of(shown.begin(), shown.end(), [&](char c) {
            const auto byte = static_cast<unsigned char>(c);
            return byte < 0x20 || byte == 0x7f || (charset == tqctl::Charset::ascii && byte > 0x7f);
        }));
    }
    return 0;
}
