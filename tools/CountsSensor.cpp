// SPDX-License-Identifier: Proprietary
#include "CountsSensor.h"

namespace vorel {
namespace tools {

CountsSensor::CountsSensor(cv::Size size, std::uint64_t seed) : slope_(size), intercept_(size) {
    cv::RNG rng(seed);
    rng.fill(slope_, cv::RNG::UNIFORM, 40.0, 60.0);
    rng.fill(intercept_, cv::RNG::UNIFORM, 500.0, 1500.0);
}

cv::Mat_<short> CountsSensor::read(const cv::Mat_<float>& degrees) const {
    cv::Mat_<short> counts;
    cv::Mat_<float>(degrees.mul(slope_) + intercept_).convertTo(counts, CV_16S);
    return counts;
}

cv::Mat_<short> CountsSensor::readUniform(float degrees) const { return read(cv::Mat_<float>(slope_.size(), degrees)); }

cv::Mat_<float> CountsSensor::convert(const cv::Mat_<short>& counts, const cv::Mat_<short>& low, float lowValue,
                                      const cv::Mat_<short>& high, float highValue) {
    cv::Mat_<float> values(counts.size());
    for (int y = 0; y < counts.rows; ++y) {
        for (int x = 0; x < counts.cols; ++x) {
            const float perCount = (highValue - lowValue) / static_cast<float>(high(y, x) - low(y, x));
            values(y, x) = lowValue + perCount * static_cast<float>(counts(y, x) - low(y, x));
        }
    }
    return values;
}

}  // namespace tools
}  // namespace vorel
