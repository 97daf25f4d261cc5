// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatRegistration2.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

using vorel::vision::SrFloatRegistration2;

constexpr int kWindow = 5;
constexpr int kReference = 2;

// Fixed shifts over whole and fractional pixels; the reference stays put.
const float kShifts[kWindow][2] = {{-2.3f, 1.6f}, {0.5f, -0.5f}, {0.0f, 0.0f}, {3.75f, -2.45f}, {-1.1f, 3.3f}};

// A thermal-like textured scene, sampled with the scene moved by (dx, dy).
std::vector<float> texturedFrame(int w, int h, float dx, float dy) {
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

// One window of frames with the engine's buffers for its registration.
struct Window {
    std::vector<std::vector<float>> frames, shifted;
    std::vector<std::vector<char>> masks;
    std::vector<float*> framePointers, shiftedPointers;
    std::vector<char*> maskPointers;
    std::vector<cv::Point_<float>> shifts = std::vector<cv::Point_<float>>(kWindow);

    Window(int w, int h) {
        // The targets are for one thread: keep OpenCV's own workers out of the figures.
        cv::setNumThreads(1);
        for (const auto& shift : kShifts) frames.push_back(texturedFrame(w, h, shift[0], shift[1]));
        shifted.assign(kWindow, std::vector<float>(frames[0].size()));
        masks.assign(kWindow, std::vector<char>(frames[0].size()));
        for (int k = 0; k < kWindow; ++k) {
            framePointers.push_back(frames[k].data());
            shiftedPointers.push_back(shifted[k].data());
            maskPointers.push_back(masks[k].data());
        }
    }

    void prepare(SrFloatRegistration2& registration) {
        for (auto& frame : frames) registration.prepareFrame(frame.data());
    }

    int run(SrFloatRegistration2& registration) {
        return registration.doRegistration(kWindow, kReference, framePointers.data(), shifts.data(),
                                           maskPointers.data(), shiftedPointers.data());
    }

    // The largest error of the last registration's complete shifts.
    static double worstError(SrFloatRegistration2& registration) {
        std::vector<cv::Point_<float>> complete;
        registration.getCompleteShifts(complete);
        double worst = 0.0;
        for (int k = 0; k < kWindow; ++k)
            worst = std::max({worst, std::abs(static_cast<double>(complete[k].x - kShifts[k][0])),
                              std::abs(static_cast<double>(complete[k].y - kShifts[k][1]))});
        return worst;
    }
};

void BM_SrFloatRegistration2PrepareFrame(benchmark::State& state) {
    Window window(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    SrFloatRegistration2 registration(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)), kWindow);
    int next = 0;
    for (auto _ : state) {
        registration.prepareFrame(window.frames[next].data());
        next = (next + 1) % kWindow;
        benchmark::ClobberMemory();
    }
    // After all those rotations the slots must still serve a registration.
    window.prepare(registration);
    if (window.run(registration) != 0 || !(Window::worstError(registration) < 0.1))
        state.SkipWithError("prepared frames no longer register");
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SrFloatRegistration2PrepareFrame)
    ->Args({160, 120})
    ->Args({320, 240})
    ->Args({640, 480})
    ->Unit(benchmark::kMillisecond);

// Registration of a prepared window: its inputs stay unchanged, so every run repeats the same work.
void BM_SrFloatRegistration2DoRegistration(benchmark::State& state) {
    Window window(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    SrFloatRegistration2 registration(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)), kWindow);
    window.prepare(registration);
    int result = 0;
    for (auto _ : state) {
        result = window.run(registration);
        benchmark::DoNotOptimize(result);
        benchmark::ClobberMemory();
    }
    const double worst = Window::worstError(registration);
    if (result != 0 || !(worst < 0.1)) state.SkipWithError("registration missed the known shifts");
    state.counters["worst_shift_error"] = worst;
    state.SetItemsProcessed(state.iterations() * kWindow);
}
BENCHMARK(BM_SrFloatRegistration2DoRegistration)
    ->Args({160, 120})
    ->Args({320, 240})
    ->Args({640, 480})
    ->Unit(benchmark::kMillisecond);

}  // namespace
