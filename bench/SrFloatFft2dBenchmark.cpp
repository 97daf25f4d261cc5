// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatFft2d.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#ifdef VSR_HAVE_FFTW
#include <fftw3.h>
#endif

namespace {

using vorel::vision::SrFloatFft2d;

// A thermal-like frame; the transforms' speed does not depend on the content.
std::vector<float> frame(int w, int h) {
    std::vector<float> pixels(static_cast<std::size_t>(w) * h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) pixels[y * w + x] = 30.0f + 3.0f * std::sin(0.21f * x + 0.05f * y);
    return pixels;
}

// The largest difference between the round trip, divided by w h, and the frame.
double roundTripError(const std::vector<float>& in, const std::vector<float>& out, double scale) {
    double worst = 0.0;
    for (std::size_t i = 0; i < in.size(); ++i) worst = std::max(worst, std::abs(out[i] / scale - in[i]));
    return worst;
}

void BM_SrFloatFft2dForwardBackward(benchmark::State& state) {
    const int w = static_cast<int>(state.range(0)), h = static_cast<int>(state.range(1));
    const std::vector<float> image = frame(w, h);
    std::vector<std::array<float, 2>> spectrum(static_cast<std::size_t>(w / 2 + 1) * h);
    auto* pairs = reinterpret_cast<float(*)[2]>(spectrum.data());
    std::vector<float> back(image.size());
    SrFloatFft2d fft(w, h);
    for (auto _ : state) {
        fft.forward(image.data(), pairs);
        fft.backward(pairs, back.data());
        benchmark::ClobberMemory();
    }
    if (!(roundTripError(image, back, static_cast<double>(w) * h) < 1e-3)) state.SkipWithError("round trip failed");
    state.SetItemsProcessed(state.iterations() * w * h);
}
BENCHMARK(BM_SrFloatFft2dForwardBackward)
    ->Args({160, 120})
    ->Args({320, 240})
    ->Args({640, 480})
    ->Unit(benchmark::kMillisecond);

#ifdef VSR_HAVE_FFTW
// The same round trip with FFTW's single-precision real 2-D transforms, planned
// with FFTW_ESTIMATE, one thread.
void BM_FftwForwardBackward(benchmark::State& state) {
    const int w = static_cast<int>(state.range(0)), h = static_cast<int>(state.range(1));
    const std::vector<float> image = frame(w, h);
    float* in = fftwf_alloc_real(static_cast<std::size_t>(w) * h);
    fftwf_complex* spectrum = fftwf_alloc_complex(static_cast<std::size_t>(w / 2 + 1) * h);
    float* back = fftwf_alloc_real(static_cast<std::size_t>(w) * h);
    const fftwf_plan forward = fftwf_plan_dft_r2c_2d(h, w, in, spectrum, FFTW_ESTIMATE);
    const fftwf_plan backward = fftwf_plan_dft_c2r_2d(h, w, spectrum, back, FFTW_ESTIMATE);
    std::copy(image.begin(), image.end(), in);
    for (auto _ : state) {
        fftwf_execute(forward);
        fftwf_execute(backward);  // overwrites the spectrum, which the next forward renews
        benchmark::ClobberMemory();
    }
    if (!(roundTripError(image, std::vector<float>(back, back + image.size()), static_cast<double>(w) * h) < 1e-3))
        state.SkipWithError("round trip failed");
    state.SetItemsProcessed(state.iterations() * w * h);
    fftwf_destroy_plan(forward);
    fftwf_destroy_plan(backward);
    fftwf_free(in);
    fftwf_free(spectrum);
    fftwf_free(back);
}
BENCHMARK(BM_FftwForwardBackward)->Args({160, 120})->Args({320, 240})->Args({640, 480})->Unit(benchmark::kMillisecond);
#endif

}  // namespace
