// SPDX-License-Identifier: Proprietary
#pragma once

#include "BurstSimulator.h"

#include <vector>

namespace vorel {
namespace test {

/// Noiseless frames of the simulator's building scene (blur 0.5 output pixels),
/// moved by `shifts`: what the engine tests feed their engines.
inline std::vector<cv::Mat_<float>> noiselessBurst(cv::Size size, const std::vector<cv::Point2f>& shifts) {
    tools::BurstSettings settings;
    settings.frameSize = size;
    settings.blur = 0.5f;
    settings.noise = 0.0f;
    const tools::BurstSimulator scene(settings);
    cv::RNG noise;
    std::vector<cv::Mat_<float>> frames;
    for (const cv::Point2f& shift : shifts) frames.push_back(scene.frame(shift, noise));
    return frames;
}

}  // namespace test
}  // namespace vorel
