// SPDX-License-Identifier: Proprietary
#pragma once

#include "BurstSimulator.h"

#include <iostream>
#include <streambuf>
#include <vector>

// Swallows the library's timing lines for the life of the object.
class QuietCout {
public:
    QuietCout() : previous(std::cout.rdbuf(&sink)) {}
    ~QuietCout() { std::cout.rdbuf(previous); }

private:
    struct NullBuffer : std::streambuf {
        int overflow(int c) override { return traits_type::not_eof(c); }
    } sink;
    std::streambuf* previous;
};

// Six frames of one scene on a cycle of sub-pixel moves, from a fixed seed: the
// work, not the scene, is measured.
inline std::vector<cv::Mat_<float>> benchmarkBurst(int width, int height) {
    vorel::tools::BurstSettings settings;
    settings.frameSize = {width, height};
    settings.blur = 0.6f;
    const vorel::tools::BurstSimulator scene(settings);
    cv::RNG noise(1);
    const cv::Point2f shifts[] = {{0.0f, 0.0f},   {0.5f, 0.25f},  {-0.25f, 0.5f},
                                  {0.75f, -0.5f}, {0.25f, 0.75f}, {-0.5f, -0.25f}};
    std::vector<cv::Mat_<float>> frames;
    for (const cv::Point2f& shift : shifts) frames.push_back(scene.frame(shift, noise));
    return frames;
}
