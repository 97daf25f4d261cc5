// SPDX-License-Identifier: Proprietary
#include "vorel/StopWatch.h"

namespace vorel {

StopWatch::StopWatch() : begin_(std::chrono::steady_clock::now()) {}

void StopWatch::start() { begin_ = std::chrono::steady_clock::now(); }

double StopWatch::stop() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin_).count();
}

}  // namespace vorel
