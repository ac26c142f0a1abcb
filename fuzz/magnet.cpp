// The command line's readers of magnet links and torrents, and how it makes any string safe to show.

#include "formats/magnet.h"
#include "base/text.h"
#include "formats/torrent.h"
#include "target.h"

#include <algorithm>

int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char *>(data), size);
    for (const std::string &link : {bytes, "magnet:?xt=urn:btih:" + bytes, "magnet:?dn=" + bytes}) {
        const auto [magnet, fault] = tqctl::read_magnet(link);
        KORVO_REQUIRE((fault != nullptr) == magnet.hash.empty());
        KORVO_REQUIRE(fault != nullptr || tqctl::info_hash(magnet.hash) == magnet.hash);
        KORVO_REQUIRE(magnet.name.size() <= link.size() && magnet.name.find('\0') == std::string::npos);
    }
    const auto [torrent, fault_of_torrent] = tqctl::read_torrent(bytes);
    KORVO_REQUIRE((fault_of_torrent != nullptr) == torrent.name.empty());
    const std::string hidden = tqctl::without_passwords(bytes, "");
    KORVO_REQUIRE(hidden.size() <= bytes.size() && tqctl::fitted(bytes, 7).size() >= 7);
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
