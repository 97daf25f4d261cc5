// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/reference/SuperResolution.h"

#include "BenchmarkBurst.h"
#include "vision/superresolution/SrFloat.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace {

// One frame added and one reconstruction, window full, for the reference engine
// and, in the same run, the float engine of the C interface.
template <class Engine>
void BM_SuperResolutionFrame(benchmark::State& state) {
    const int width = static_cast<int>(state.range(0));
    const int height = static_cast<int>(state.range(1));
    const std::vector<cv::Mat_<float>> frames = benchmarkBurst(width, height);
    QuietCout quiet;
    Engine engine(width, height, 5, 2.0f);
    engine.setReferenceIndex(3);
    for (int i = 0; i < 5; ++i) engine.addFrame(frames[i][0]);
    cv::Mat_<float> result(2 * height, 2 * width);
    std::size_t next = 5;
    float status = 0.0f;
    bool failed = false;
    for (auto _ : state) {
        engine.addFrame(frames[next % frames.size()][0]);
        status = engine.computeSR(result[0]);
        failed |= status < 1.0f;
        benchmark::DoNotOptimize(status);
        ++next;
    }
    if (failed || !cv::checkRange(result, true, nullptr, 0.0, 60.0)) state.SkipWithError("the reconstruction failed");
    state.SetItemsProcessed(state.iterations());  // frames
}

void sizes(benchmark::internal::Benchmark* b) {
    b->Args({160, 120})->Args({320, 240})->Args({640, 480})->Unit(benchmark::kMillisecond);
}

BENCHMARK_TEMPLATE(BM_SuperResolutionFrame, vorel::vision::SuperResolution)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_SuperResolutionFrame, vorel::vision::SrFloat<vorel::vision::SrFloatRegistration2>)->Apply(sizes);

}  // namespace
