// What the download daemon reads of servers' answers and of files beside its own: names become names that are safe to
// create, no login stays in an address, and what is known of a partial file's source is found again.

#include "../daemons/fetch/names.h"
#include "../daemons/fetch/source.h"
#include "target.h"

#include <algorithm>
#include <fstream>
#include <sys/stat.h>

namespace {

void require_safe(const std::string &name) {
    KORVO_REQUIRE(!name.empty() && name.size() <= fetch::longest_name && name != "." && name != "..");
    KORVO_REQUIRE(std::none_of(name.begin(), name.end(),
                               [](unsigned char c) { return c < ' ' || c == 127 || c == '/' || c == '%'; }));
}

void try_names(const std::string &bytes, int number) {
    const std::string plain = fetch::safe_name(bytes);
    require_safe(plain);
    require_safe(fetch::numbered(plain, number));
    KORVO_REQUIRE((fetch::numbered(plain, number) == plain) == (number == 1));
    require_safe(fetch::name_of_address(bytes));
    require_safe(fetch::name_of_address("http://h/" + bytes));
    for (const char *start : {"", "attachment; filename=", "attachment; filename*=UTF-8''"}) {
        const std::string named = fetch::name_of_disposition(start + bytes);
        if (!named.empty()) {
            require_safe(named);
        }
    }
}

void try_address(const std::string &address) {
    const std::string without = fetch::without_login(address);
    KORVO_REQUIRE(!fetch::has_login(without));
    KORVO_REQUIRE(fetch::without_login(without) == without);
    KORVO_REQUIRE(fetch::host_of(without) == fetch::host_of(address));
}

void try_source(const std::string &bytes) {
    const char *share = "/share/Download";
    mkdir(share, 0777);
    const fetch::Descriptor folder = fetch::open_folder("Download");
    KORVO_REQUIRE(folder.valid());
    std::ofstream(std::string(share) + "/x.part.info", std::ios::binary) << bytes;
    const fetch::Source read = fetch::load_source(folder, "x");
    KORVO_REQUIRE(fetch::save_source(folder, "x", read));
    const fetch::Source again = fetch::load_source(folder, "x");
    KORVO_REQUIRE(again.task == read.task && again.size == read.size && again.file_number == read.file_number);
    KORVO_REQUIRE(again.address == read.address && again.etag == read.etag && again.modified == read.modified);
    KORVO_REQUIRE(again.folder == read.folder && again.name == read.name);
    fetch::is_placed(read);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const int number = static_cast<int>(input.byte()) + 1;
    const std::string text = input.text();
    try_names(text, number);
    try_address("http://" + text);
    try_address("ftp://" + text);
    try_source(std::string(reinterpret_cast<const char *>(data), size));
    return 0;
}
