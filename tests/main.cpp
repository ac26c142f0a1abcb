// What every test program starts with.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>

int main(int argc, char **argv) {
    const char *sandbox = std::getenv("KORVO_SANDBOX");
    if (sandbox == nullptr || std::strcmp(sandbox, "1") != 0) {
        std::fprintf(stderr, "This program deletes the database. Run it as: scripts/sandbox %s\n", argv[0]);
        return 2;
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
