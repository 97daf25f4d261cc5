// SPDX-License-Identifier: Proprietary
#include "StdoutSilencer.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <mutex>

namespace vorel {
namespace tools {
namespace {

// File descriptor 1 belongs to the process, so the silencers share one saved copy.
std::mutex redirection;
int silencers = 0;
int saved = -1;

void flushAll() {
    std::cout.flush();
    std::fflush(stdout);
}

}  // namespace

StdoutSilencer::StdoutSilencer(bool enabled) {
    if (!enabled) return;
    const std::lock_guard<std::mutex> lock(redirection);
    active_ = true;
    if (silencers++ > 0) return;
    const int sink = open("/dev/null", O_WRONLY);
    if (sink < 0) return;
    flushAll();
    saved = dup(STDOUT_FILENO);
    if (saved >= 0) dup2(sink, STDOUT_FILENO);
    close(sink);
}

StdoutSilencer::~StdoutSilencer() {
    if (!active_) return;
    const std::lock_guard<std::mutex> lock(redirection);
    if (--silencers > 0 || saved < 0) return;
    flushAll();
    dup2(saved, STDOUT_FILENO);
    close(saved);
    saved = -1;
}

}  // namespace tools
}  // namespace vorel
