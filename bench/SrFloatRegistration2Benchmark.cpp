// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatRegistration2.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace {

using vorel::vision::SrFloatRegistration2;

constexpr int kWindow = 5;
constexpr int kReference = 2;

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

// Fixed shifts over whole and fractional pixels; the reference stays put.
const float kShifts[kWindow][2] = {{-2.3f, 1.6f}, {0.5f, -0.5f}, {0.0f, 0.0f}, {3.75f, -2.45f}, {-1.1f, 3.3f}};

// The targets are for one thread: keep OpenCV's own workers out of the figures.
std::vector<std::vector<float>> window(int w, int h) {
    cv::setNumThreads(1);
    std::vector<std::vector<float>> frames;
    for (const auto& shift : kShifts) frames.push_back(texturedFrame(w, h, shift[0], shift[1]));
    return frames;
}

void BM_SrFloatRegistration2PrepareFrame(benchmark::State& state) {
    const int w = static_cast<int>(state.range(0));
    const int h = static_cast<int>(state.range(1));
    std::vector<std::vector<float>> frames = window(w, h);
    SrFloatRegistration2 registration(w, h, kWindow);
    int next = 0;
    for (auto _ : state) {
        registration.prepareFrame(frames[next].data());
        next = (next + 1) % kWindow;
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SrFloatRegistration2PrepareFrame)
    ->Args({160, 120})
    ->Args({320, 240})
    ->Args({640, 480})
    ->Unit(benchmark::kMillisecond);

// Registration of a prepared window: its inputs are not changed, so every run repeats the same work.
void BM_SrFloatRegistration2DoRegistration(benchmark::State& state) {
    const int w = static_cast<int>(state.range(0));
    const int h = static_cast<int>(state.range(1));
    std::vector<std::vector<float>> frames = window(w, h);
    std::vector<std::vector<float>> shifted(kWindow, std::vector<float>(frames[0].size()));
    std::vector<std::vector<char>> masks(kWindow, std::vector<char>(frames[0].size()));
    std::vector<float*> framePointers, shiftedPointers;
    std::vector<char*> maskPointers;
    SrFloatRegistration2 registration(w, h, kWindow);
    for (int k = 0; k < kWindow; ++k) {
        registration.prepareFrame(frames[k].data());
        framePointers.push_back(frames[k].data());
        shiftedPointers.push_back(shifted[k].data());
        maskPointers.push_back(masks[k].data());
    }
    std::vector<cv::Point_<float>> shifts(kWindow);
    int result = 0;
    for (auto _ : state) {
        result = registration.doRegistration(kWindow, kReference, framePointers.data(), shifts.data(),
                                             maskPointers.data(), shiftedPointers.data());
        benchmark::DoNotOptimize(result);
        benchmark::ClobberMemory();
    }
    std::vector<cv::Point_<float>> complete;
    registration.getCompleteShifts(complete);
    double worst = 0.0;
    for (int k = 0; k < kWindow; ++k)
        worst = std::max({worst, std::abs(static_cast<double>(complete[k].x - kShifts[k][0])),
                          std::abs(static_cast<double>(complete[k].y - kShifts[k][1]))});
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
