// The configuration file: any bytes in it can be read, and what could be stored is found again.

#include "platform.h"
#include "target.h"

#include <fstream>

namespace {

std::string read_back(const char *key) {
    char buffer[4096];
    std::memset(buffer, 0x5a, sizeof buffer);
    const int length = Get_Profile_String("BTDownload", key, "a default", buffer, sizeof buffer);
    KORVO_REQUIRE(length >= 0 && std::strlen(buffer) == static_cast<std::size_t>(length));
    return buffer;
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::string value = input.text(1000);
    std::ofstream("/mnt/HDA_ROOT/korvo.conf", std::ios::binary)
        << std::string(reinterpret_cast<const char *>(data), size).substr(value.size());
    read_back("Schedule Time");
    const int flag = Get_Profile_Boolean("BTDownload", "Schedule Time Enable", 7);
    KORVO_REQUIRE(flag == 0 || flag == 1 || flag == 7);
    char small[4] = "???";
    KORVO_REQUIRE(Get_Profile_String("BTDownload", "Schedule Time", "default", small, sizeof small) < 4);
    if (Set_Profile_String("BTDownload", "Schedule Time", value.c_str()) == 0) {
        KORVO_REQUIRE(read_back("Schedule Time") == value);
    }
    if (Set_Profile_Boolean("BTDownload", "Schedule Time Enable", 1) == 0) {
        KORVO_REQUIRE(Get_Profile_Boolean("BTDownload", "Schedule Time Enable", 0) == 1);
    }
    if (Set_Profile_String("BTDownload", value.c_str(), "kept") == 0) { // as a name
        KORVO_REQUIRE(read_back(value.c_str()) == "kept");
    }
    return 0;
}
