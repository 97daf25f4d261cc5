// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"

#include <chrono>

namespace vorel {

/// Measures elapsed wall time on a monotonic clock. Starts running on construction.
class VRLIB_API StopWatch {
public:
    StopWatch();

    /// Restarts the measurement.
    void start();
    /// Seconds since the last start (or construction); the watch keeps running.
    double stop() const;

private:
    std::chrono::steady_clock::time_point begin_;
};

}  // namespace vorel
