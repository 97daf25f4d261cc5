// SPDX-License-Identifier: Proprietary
#include "PublicHeaderC99.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(PublicHeaderC99, VersionMacrosMatchTheProject) {
    EXPECT_EQ(std::string(cHostVersion()), VSR_PROJECT_VERSION);
    EXPECT_EQ(cHostVersionMajor(), VSR_PROJECT_VERSION_MAJOR);
}

TEST(PublicHeaderC99, HostWrittenInCDrivesAContext) {
    int width = 0;
    int height = 0;
    char message[64] = {0};
    EXPECT_EQ(cHostLifeCycle(20, 16, &width, &height, message, sizeof message - 1), -4);
    EXPECT_STREQ(message, "  image has not enough structure");
    EXPECT_EQ(width, 40);
    EXPECT_EQ(height, 32);
}

}  // namespace
