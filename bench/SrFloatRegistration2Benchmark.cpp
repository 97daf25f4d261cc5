// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatRegistration2.h"

#include "RegistrationWindow.h"

#include <benchmark/benchmark.h>

namespace {

using vorel::bench::kWindow;
using vorel::bench::RegistrationWindow;
using vorel::vision::SrFloatRegistration2;

// Fixed shifts over whole and fractional pixels; the reference stays put.
const vorel::bench::WindowShifts kShifts = {
    {{-2.3f, 1.6f}, {0.5f, -0.5f}, {0.0f, 0.0f}, {3.75f, -2.45f}, {-1.1f, 3.3f}}};

void BM_SrFloatRegistration2PrepareFrame(benchmark::State& state) {
    const int w = static_cast<int>(state.range(0)), h = static_cast<int>(state.range(1));
    RegistrationWindow window(kShifts, [&](cv::Point2f s) { return vorel::bench::texturedFrame(w, h, s.x, s.y); });
    SrFloatRegistration2 registration(w, h, kWindow);
    int next = 0;
    for (auto _ : state) {
        registration.prepareFrame(window.frames[next].data());
        next = (next + 1) % kWindow;
        benchmark::ClobberMemory();
    }
    // After all those rotations the slots must still serve a registration.
    window.prepare(registration);
    if (window.run(registration) != 0 || !(window.worstError(registration) < 0.1))
        state.SkipWithError("prepared frames no longer register");
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SrFloatRegistration2PrepareFrame)
    ->Args({160, 120})
    ->Args({320, 240})
    ->Args({640, 480})
    ->Unit(benchmark::kMillisecond);

void BM_SrFloatRegistration2DoRegistration(benchmark::State& state) {
    const int w = static_cast<int>(state.range(0)), h = static_cast<int>(state.range(1));
    RegistrationWindow window(kShifts, [&](cv::Point2f s) { return vorel::bench::texturedFrame(w, h, s.x, s.y); });
    SrFloatRegistration2 registration(w, h, kWindow);
    vorel::bench::measureRegistration(state, window, registration);
}
BENCHMARK(BM_SrFloatRegistration2DoRegistration)
    ->Args({160, 120})
    ->Args({320, 240})
    ->Args({640, 480})
    ->Unit(benchmark::kMillisecond);

}  // namespace
