// SPDX-License-Identifier: Proprietary
#include "SyntheticSensor.h"

namespace vorel {
namespace tools {

SyntheticSensor::SyntheticSensor(cv::Size size, int stuckCount, int isolatedCount, std::uint64_t seed) : frame(size) {
    CV_Assert(isolatedCount <= 350 && stuckCount + isolatedCount <= size.area());
    cv::RNG rng(seed);
    rng.fill(frame, cv::RNG::UNIFORM, level - noise, level + noise + 1);
    cv::Mat_<unsigned char> taken(size, 0);
    const auto plant = [&](std::vector<cv::Point>& positions, short value) {
        cv::Point at;
        do at = cv::Point(rng.uniform(0, size.width), rng.uniform(0, size.height));
        while (taken(at));
        taken(at) = 1;
        frame(at) = value;
        positions.push_back(at);
    };
    for (int k = 0; k < stuckCount; ++k) plant(stuck, k % 2 ? stuckHigh : stuckLow);
    for (int k = 0; k < isolatedCount; ++k) plant(isolated, static_cast<short>(9000 + 20 * k));
}

}  // namespace tools
}  // namespace vorel
