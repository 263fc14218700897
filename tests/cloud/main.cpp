// The room's tests need ports 80 and 443, so they run in a network of their own.
#include <gtest/gtest.h>

#include "support/cloud_server.h"

int main(int argc, char **argv) {
    support::EnterNetwork(argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
