// SPDX-License-Identifier: Proprietary
#pragma once

#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace vorel {
namespace bench {

constexpr int kWindow = 5;
constexpr int kReference = 2;

/// Known shifts of the window's frames; the reference's is (0, 0).
using WindowShifts = std::array<cv::Point2f, kWindow>;

/// A smooth textured scene, sampled with the scene moved by (dx, dy).
inline std::vector<float> texturedFrame(int w, int h, float dx, float dy) {
    std::vector<float> frame(static_cast<std::size_t>(w) * h);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            const float u = x - dx, v = y - dy;
            frame[y * w + x] = 30.0f + 3.0f * std::sin(0.21f * u + 0.05f * v) * std::cos(0.17f * v - 0.04f * u) +
                               1.5f * std::sin(0.37f * u - 0.29f * v) + 0.8f * std::cos(0.45f * v + 0.11f * u);
        }
    }
    return frame;
}

/// One window of frames with the engine's buffers for its registration, for
/// either registration class.
struct RegistrationWindow {
    WindowShifts truth;
    std::vector<std::vector<float>> frames, shifted;
    std::vector<std::vector<char>> masks;
    std::vector<float*> framePointers, shiftedPointers;
    std::vector<char*> maskPointers;
    std::vector<cv::Point_<float>> shifts = std::vector<cv::Point_<float>>(kWindow);

    /// frameOf(shift) gives the frame with the scene moved by `shift`.
    template <class FrameOf>
    RegistrationWindow(const WindowShifts& truth, FrameOf frameOf) : truth(truth) {
        // The targets are for one thread: keep OpenCV's own workers out of the figures.
        cv::setNumThreads(1);
        for (const auto& shift : truth) frames.push_back(frameOf(shift));
        shifted.assign(kWindow, std::vector<float>(frames[0].size()));
        masks.assign(kWindow, std::vector<char>(frames[0].size()));
        for (int k = 0; k < kWindow; ++k) {
            framePointers.push_back(frames[k].data());
            shiftedPointers.push_back(shifted[k].data());
            maskPointers.push_back(masks[k].data());
        }
    }

    template <class Registration>
    void prepare(Registration& registration) {
        for (auto& frame : frames) registration.prepareFrame(frame.data());
    }

    template <class Registration>
    int run(Registration& registration) {
        return registration.doRegistration(kWindow, kReference, framePointers.data(), shifts.data(),
                                           maskPointers.data(), shiftedPointers.data());
    }

    /// The largest error of the last registration's complete shifts.
    template <class Registration>
    double worstError(Registration& registration) const {
        std::vector<cv::Point_<float>> complete;
        registration.getCompleteShifts(complete);
        double worst = 0.0;
        for (int k = 0; k < kWindow; ++k)
            worst = std::max({worst, std::abs(static_cast<double>(complete[k].x - truth[k].x)),
                              std::abs(static_cast<double>(complete[k].y - truth[k].y))});
        return worst;
    }
};

/// Times doRegistration on a prepared window: its inputs stay unchanged, so every
/// run repeats the same work. Fails the benchmark when the shifts miss the truth.
template <class Registration>
void measureRegistration(benchmark::State& state, RegistrationWindow& window, Registration& registration) {
    window.prepare(registration);
    int result = 0;
    for (auto _ : state) {
        result = window.run(registration);
        benchmark::DoNotOptimize(result);
        benchmark::ClobberMemory();
    }
    const double worst = window.worstError(registration);
    if (result != 0 || !(worst < 0.1)) state.SkipWithError("registration missed the known shifts");
    state.counters["worst_shift_error"] = worst;
    state.SetItemsProcessed(state.iterations() * kWindow);
}

}  // namespace bench
}  // namespace vorel
