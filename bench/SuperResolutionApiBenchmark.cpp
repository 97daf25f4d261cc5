// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/api/vision_superresolution.h"

#include "BenchmarkBurst.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace {

// Steady state: the window is full, so every added frame is a reconstruction.
// Arguments: frame width, height and the engine's thread count.
void BM_SuperResolutionApiAddImage(benchmark::State& state) {
    const int width = static_cast<int>(state.range(0));
    const int height = static_cast<int>(state.range(1));
    const int threads = static_cast<int>(state.range(2));
    const std::vector<cv::Mat_<float>> frames = benchmarkBurst(width, height);

    QuietCout quiet;
    const int context = SuperResolution_init(width, height);
    if (SuperResolution_setThreadCount(context, threads) != 0) state.SkipWithError("no threads");
    for (int i = 0; i < 5; ++i) SuperResolution_addImage(context, frames[i][0]);
    std::size_t next = 5;
    int code = 0;
    for (auto _ : state) {
        code |= SuperResolution_addImage(context, frames[next % frames.size()][0]);
        benchmark::DoNotOptimize(code);
        ++next;
    }
    cv::Mat_<float> result(2 * height, 2 * width);
    const int fetched = SuperResolution_getSuperresolutionImage(context, result[0]);
    SuperResolution_release(context);
    if (code != 0 || fetched != 0 || !cv::checkRange(result, true, nullptr, 0.0, 60.0)) {
        state.SkipWithError("the reconstruction failed");
    }
    state.SetItemsProcessed(state.iterations());  // frames
}
BENCHMARK(BM_SuperResolutionApiAddImage)
    ->ArgNames({"width", "height", "threads"})
    ->ArgsProduct({{160}, {120}, {1, 2}})
    ->ArgsProduct({{320}, {240}, {1, 2}})
    ->ArgsProduct({{640}, {480}, {1, 2}})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
