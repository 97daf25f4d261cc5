// SPDX-License-Identifier: Proprietary
#include "StreamSilencer.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>

namespace vorel {
namespace tools {
namespace {

// Buffered text belongs on the side of the switch it was written on.
void flushAll() {
    std::cout.flush();
    std::cerr.flush();
    std::fflush(nullptr);
}

}  // namespace

StreamSilencer::StreamSilencer(int descriptor, bool enabled) : descriptor_(descriptor) {
    if (!enabled) return;
    const int sink = open("/dev/null", O_WRONLY);
    if (sink < 0) return;
    flushAll();
    saved_ = dup(descriptor_);
    if (saved_ >= 0) dup2(sink, descriptor_);
    close(sink);
}

StreamSilencer::~StreamSilencer() {
    if (saved_ < 0) return;
    flushAll();
    dup2(saved_, descriptor_);
    close(saved_);
}

}  // namespace tools
}  // namespace vorel
