// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/BadPixel.h"

#include "SyntheticSensor.h"

#include <benchmark/benchmark.h>

namespace {

using vorel::vision::BadPixel;

// A sensor's whole search: value histogram, neighbour search and replacement
// pixels, on a flat field with 0.1 % defects, half stuck, half isolated values.
void BM_BadPixelNeighbourSearchAndReplacePixels(benchmark::State& state) {
    const cv::Size size(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    const int defects = size.area() / 1000;
    const vorel::tools::SyntheticSensor sensor(size, defects - defects / 2, defects / 2, 5);
    cv::Mat_<int> histogram;
    cv::Mat_<unsigned short> list;
    bool complete = false, replaced = false;
    for (auto _ : state) {
        BadPixel::buildValueHistogram(sensor.frame, histogram, 0, 16383);
        list.create(1000, 10);
        complete = BadPixel::performNeighbourSearch(sensor.frame, histogram, list, 0, 16383, 5, 16);
        replaced = BadPixel::calculateReplacePixels(list, size, 3);
        benchmark::DoNotOptimize(list.data);
        benchmark::ClobberMemory();
    }
    if (!complete || !replaced || list.rows != defects) state.SkipWithError("the planted defects were not all found");
    state.SetItemsProcessed(state.iterations() * size.area());
}
BENCHMARK(BM_BadPixelNeighbourSearchAndReplacePixels)->Args({640, 480})->Unit(benchmark::kMillisecond);

}  // namespace
