#include <gmock/gmock.h>

#include <vector>

#include "PrivateNetwork.h"

int main(int argc, char* argv[]) {
    const std::vector<char*> arguments(argv, argv + argc + 1);  // GoogleTest takes its own away
    testing::InitGoogleMock(&argc, argv);
    if (!GTEST_FLAG_GET(list_tests)) {
        EnterPrivateNetwork(arguments.data());
    }
    return RUN_ALL_TESTS();
}
