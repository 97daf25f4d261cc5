// SPDX-License-Identifier: Proprietary
#include "StreamSilencer.h"
#include "TempFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>

namespace vorel {
namespace tools {
namespace {

// Engines on several threads silence stdout with overlapping lifetimes; it must
// come back only when the last silencer ends, whatever the order.
TEST(StreamSilencer, OverlappingSilencersRestoreStdoutAfterTheLast) {
    TempFolder folder;
    const std::string path = folder / "stdout.txt";
    std::fflush(stdout);
    const int original = dup(STDOUT_FILENO);
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ASSERT_GE(file, 0);
    dup2(file, STDOUT_FILENO);
    close(file);

    auto first = std::make_unique<StreamSilencer>(STDOUT_FILENO, true);
    auto second = std::make_unique<StreamSilencer>(STDOUT_FILENO, true);
    std::printf("a");
    first.reset();
    std::printf("b");
    second.reset();
    const StreamSilencer disabled(STDOUT_FILENO, false);
    std::printf("c");
    std::fflush(stdout);

    dup2(original, STDOUT_FILENO);
    close(original);
    std::ostringstream written;
    written << std::ifstream(path).rdbuf();
    EXPECT_EQ(written.str(), "c");
}

}  // namespace
}  // namespace tools
}  // namespace vorel
