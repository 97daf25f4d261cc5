// SPDX-License-Identifier: Proprietary
#pragma once

#include <opencv2/core.hpp>

#include <cstdint>
#include <vector>

namespace vorel {
namespace tools {

/// A flat-field frame of 14-bit sensor counts with planted defects, for the
/// bad-pixel search. Good pixels read level ± noise, uniformly distributed, so
/// that every value of that band is common and none looks isolated. Stuck pixels
/// read 0 and 16383 in turn; isolated pixels each read a value of their own from
/// 9000 up, 20 counts apart, with no other pixel near it.
struct SyntheticSensor {
    static constexpr short level = 8000;
    static constexpr short noise = 40;
    static constexpr short stuckLow = 0;
    static constexpr short stuckHigh = 16383;

    /// Distinct random positions; at most 350 isolated pixels.
    SyntheticSensor(cv::Size size, int stuckCount, int isolatedCount, std::uint64_t seed);

    cv::Mat_<short> frame;
    std::vector<cv::Point> stuck;
    std::vector<cv::Point> isolated;  ///< in ascending order of their values
};

}  // namespace tools
}  // namespace vorel
