// SPDX-License-Identifier: Proprietary
#include "StreamSilencer.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <mutex>

namespace vorel {
namespace tools {
namespace {

// The descriptors belong to the process, so the silencers of one share its saved copy.
struct Redirection {
    int silencers = 0;
    int saved = -1;
};
std::mutex redirecting;
Redirection redirections[3];

// Buffered text belongs on the side of the switch it was written on.
void flushAll() {
    std::cout.flush();
    std::cerr.flush();
    std::fflush(nullptr);
}

}  // namespace

StreamSilencer::StreamSilencer(int descriptor, bool enabled) : descriptor_(descriptor) {
    if (!enabled || descriptor < 1 || descriptor > 2) return;
    const std::lock_guard<std::mutex> lock(redirecting);
    active_ = true;
    Redirection& redirection = redirections[descriptor];
    if (redirection.silencers++ > 0) return;
    const int sink = open("/dev/null", O_WRONLY);
    if (sink < 0) return;
    flushAll();
    redirection.saved = dup(descriptor);
    if (redirection.saved >= 0) dup2(sink, descriptor);
    close(sink);
}

StreamSilencer::~StreamSilencer() {
    if (!active_) return;
    const std::lock_guard<std::mutex> lock(redirecting);
    Redirection& redirection = redirections[descriptor_];
    if (--redirection.silencers > 0 || redirection.saved < 0) return;
    flushAll();
    dup2(redirection.saved, descriptor_);
    close(redirection.saved);
    redirection.saved = -1;
}

}  // namespace tools
}  // namespace vorel
