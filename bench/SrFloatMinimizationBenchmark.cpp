// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatMinimization.h"
#include "vision/superresolution/SrFloatNeonMinimization.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

namespace {

using vorel::vision::SrFloatMinimization;
using vorel::vision::SrFloatNeonMinimization;

// A full window of textured frames with sub-pixel shifts; minimize() normalises
// the frames in place, so every run starts again from the raw copies. The
// scalar and the vector minimiser (byte and float masks) run the same data.
template <class Minimization, typename Mask>
void minimizeBenchmark(benchmark::State& state) {
    const int w = static_cast<int>(state.range(0));
    const int h = static_cast<int>(state.range(1));
    const int n = 5;
    std::mt19937 rng(1);  // fixed seed: only the data's size and texture matter
    std::normal_distribution<float> noise(0.0f, 0.02f);
    std::uniform_real_distribution<float> shift(-0.5f, 0.5f);
    // A smooth thermal-like scene with sharp edges, sampled at each frame's shift.
    auto scene = [](float x, float y) {
        const float smooth = 25.0f + 3.0f * std::sin(0.11f * x) * std::cos(0.07f * y);
        const float block = (static_cast<int>(std::floor(x / 9.0f)) + static_cast<int>(std::floor(y / 7.0f))) % 3 == 0;
        return smooth + 6.0f * block;
    };
    std::vector<std::vector<float>> raw(n, std::vector<float>(w * h));
    std::vector<std::vector<Mask>> masks(n, std::vector<Mask>(w * h, 1));
    std::vector<cv::Point2f> shifts;
    for (int k = 0; k < n; ++k) {
        shifts.emplace_back(k == 0 ? 0.0f : shift(rng), k == 0 ? 0.0f : shift(rng));
        for (int p = 0; p < w * h; ++p) raw[k][p] = scene(p % w - shifts[k].x, p / w - shifts[k].y) + noise(rng);
    }
    std::vector<std::vector<float>> frames = raw;
    std::vector<float*> framePointers;
    std::vector<Mask*> maskPointers;
    for (int k = 0; k < n; ++k) {
        framePointers.push_back(frames[k].data());
        maskPointers.push_back(masks[k].data());
    }
    Minimization minimization(w, h, n, 2.0f);
    std::vector<float> out(4 * w * h);
    int iterations = 0;
    for (auto _ : state) {
        state.PauseTiming();
        for (int k = 0; k < n; ++k) frames[k] = raw[k];
        state.ResumeTiming();
        iterations = minimization.minimize(n, 0, framePointers.data(), shifts.data(), maskPointers.data(), out.data());
        benchmark::DoNotOptimize(out.data());
    }
    if (iterations < 1 || !std::isfinite(out[out.size() / 2])) state.SkipWithError("reconstruction failed");
    state.counters["cg_iterations"] = iterations;
    state.SetItemsProcessed(state.iterations());
}
void BM_SrFloatMinimizationMinimize(benchmark::State& state) { minimizeBenchmark<SrFloatMinimization, char>(state); }
BENCHMARK(BM_SrFloatMinimizationMinimize)
    ->Args({160, 120})
    ->Args({320, 240})
    ->Args({640, 480})
    ->Unit(benchmark::kMillisecond);

void BM_SrFloatNeonMinimizationMinimize(benchmark::State& state) {
    minimizeBenchmark<SrFloatNeonMinimization, float>(state);
}
BENCHMARK(BM_SrFloatNeonMinimizationMinimize)->Args({160, 120})->Args({320, 240})->Unit(benchmark::kMillisecond);

}  // namespace
