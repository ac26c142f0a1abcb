// The list of modules that are to be logged.

#include "korvo_bt.h"
#include "target.h"

#include <algorithm>
#include <vector>

int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    constexpr int32_t nowhere = 3;
    err_setdest(nullptr, nowhere);
    const std::string list = fuzz::Input(data, size).text();
    std::vector<char> writable(list.c_str(), list.c_str() + list.size() + 1); // so that a step too far shows
    const int32_t result = err_setdebugmask(writable.data());
    KORVO_REQUIRE(result == 0 || result == 1);
    for (std::size_t at = 0; at < list.size(); ++at) {
        KORVO_REQUIRE(writable[at] == list[at] || (list[at] == ',' && writable[at] == '\0'));
    }
    return 0;
}
