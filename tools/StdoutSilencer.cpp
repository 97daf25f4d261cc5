// SPDX-License-Identifier: Proprietary
#include "StdoutSilencer.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>

namespace vorel {
namespace tools {
namespace {

void flushAll() {
    std::cout.flush();
    std::fflush(stdout);
}

}  // namespace

StdoutSilencer::StdoutSilencer(bool enabled) {
    if (!enabled) return;
    const int sink = open("/dev/null", O_WRONLY);
    if (sink < 0) return;
    flushAll();
    saved_ = dup(STDOUT_FILENO);
    if (saved_ >= 0) dup2(sink, STDOUT_FILENO);
    close(sink);
}

StdoutSilencer::~StdoutSilencer() {
    if (saved_ < 0) return;
    flushAll();
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
}

}  // namespace tools
}  // namespace vorel
