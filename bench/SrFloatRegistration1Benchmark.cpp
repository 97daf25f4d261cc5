// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatRegistration1.h"

#include "RegistrationWindow.h"
#include "BurstSimulator.h"

#include <benchmark/benchmark.h>

namespace {

using vorel::bench::kWindow;
using vorel::bench::RegistrationWindow;
using vorel::vision::SrFloatRegistration1;

// Whole parts of 2 pixels or more, which phase correlation without a window finds;
// multiples of the scene's 1/4-pixel grid.
const vorel::bench::WindowShifts kShifts = {
    {{-2.25f, 2.5f}, {2.5f, -2.5f}, {0.0f, 0.0f}, {3.75f, -2.5f}, {-2.0f, 3.25f}}};

void BM_SrFloatRegistration1DoRegistration(benchmark::State& state) {
    const int w = static_cast<int>(state.range(0)), h = static_cast<int>(state.range(1));
    // A thermal scene: the smooth texture alone leaves the correlation to the
    // frame border, which does not move.
    vorel::tools::BurstSettings settings;
    settings.frameSize = {w, h};
    settings.blur = 0.6f;
    settings.noise = 0.02f;
    const vorel::tools::BurstSimulator scene(settings);
    cv::RNG noise(5);
    RegistrationWindow window(kShifts, [&](cv::Point2f s) {
        const cv::Mat_<float> frame = scene.frame(s, noise);
        return std::vector<float>(frame.begin(), frame.end());
    });
    SrFloatRegistration1 registration(w, h, kWindow);
    vorel::bench::measureRegistration(state, window, registration);
}
BENCHMARK(BM_SrFloatRegistration1DoRegistration)
    ->Args({160, 120})
    ->Args({320, 240})
    ->Args({640, 480})
    ->Unit(benchmark::kMillisecond);

}  // namespace
