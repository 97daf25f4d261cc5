// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/DSP_Convolution.h"

#include "vision/superresolution/SrFloatConvolution.h"
#include "vision/superresolution/SrFloatNeonConvolution.h"

#include <benchmark/benchmark.h>

#include <iostream>
#include <random>
#include <sstream>
#include <vector>

namespace {

using vorel::vision::DSP_Convolution;
using vorel::vision::SrFloatConvolution;
using vorel::vision::SrFloatNeonConvolution;

// The fixed-point operators beside the float ones, on one frame of w x h
// (factor 2, 6 taps): the same random samples, masks of ones, kernels in Q15.
struct Operands {
    int w, h, fullWidth, fullHeight;
    std::vector<float> low, full, kernel;
    std::vector<char> byteMask;
    std::vector<float> floatMask;

    explicit Operands(const benchmark::State& state)
        : w(static_cast<int>(state.range(0))),
          h(static_cast<int>(state.range(1))),
          fullWidth(2 * w + 5),
          fullHeight(2 * h + 5),
          low(w * h),
          full(fullWidth * fullHeight),
          kernel{0.0f, 0.07f, 0.43f, 0.43f, 0.07f, 0.0f},
          byteMask(w * h, 1),
          floatMask(w * h, 1.0f) {
        std::mt19937 rng(1);  // fixed seed: only the sizes matter
        std::uniform_real_distribution<float> value(-1.0f, 1.0f);
        for (float& v : low) v = value(rng);
        for (float& v : full) v = value(rng);
    }

    template <typename T>
    static std::vector<T> q15(const std::vector<float>& values, float scale) {
        std::vector<T> fixed;
        for (float v : values) fixed.push_back(static_cast<T>(v * scale));
        return fixed;
    }
};

// fullConvFromSparse reports its coefficients on every call; the report goes to a sink.
class QuietCout {
public:
    QuietCout() : previous(std::cout.rdbuf(sink.rdbuf())) {}
    ~QuietCout() { std::cout.rdbuf(previous); }
    void clear() { sink.str(std::string()); }

private:
    std::ostringstream sink;
    std::streambuf* previous;
};

// Times `run` on the operands, one call per iteration; `output` is what it writes.
template <typename Run>
void timeOperator(benchmark::State& state, const Operands& o, const void* output, Run run) {
    for (auto _ : state) {
        run();
        benchmark::DoNotOptimize(output);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(4 * o.w * o.h));  // output pixels
}

// The scalar and the vector float operators, with byte and float masks.
template <class Convolution, typename Mask>
void floatBackProjection(benchmark::State& state, std::vector<Mask> Operands::*mask) {
    Operands o(state);
    Convolution conv(2 * o.w, 2 * o.h, 6, 6, 2.0f);
    float* k = o.kernel.data();
    timeOperator(state, o, o.full.data(),
                 [&] { conv.fullConvFromSparse(o.low.data(), k, k, (o.*mask).data(), o.full.data()); });
}

template <class Convolution>
void floatCorrelation(benchmark::State& state) {
    Operands o(state);
    Convolution conv(2 * o.w, 2 * o.h, 6, 6, 2.0f);
    float* k = o.kernel.data();
    timeOperator(state, o, o.low.data(), [&] { conv.validCorrToSparse(o.full.data(), k, k, o.low.data()); });
}

void BM_SrFloatConvolutionFullConvFromSparse(benchmark::State& state) {
    floatBackProjection<SrFloatConvolution>(state, &Operands::byteMask);
}

void BM_SrFloatNeonConvolutionFullConvFromSparse(benchmark::State& state) {
    floatBackProjection<SrFloatNeonConvolution>(state, &Operands::floatMask);
}

template <typename T>
void BM_DSP_ConvolutionFullConvFromSparse(benchmark::State& state) {
    Operands o(state);
    DSP_Convolution<T> conv(static_cast<T>(2 * o.w), static_cast<T>(2 * o.h), 6, 6, 2.0f);
    std::vector<T> in = Operands::q15<T>(o.low, 1000.0f), kernel = Operands::q15<T>(o.kernel, 32767.0f);
    std::vector<T> out(o.full.size());
    QuietCout quiet;
    timeOperator(state, o, out.data(), [&] {
        conv.fullConvFromSparse(in.data(), kernel.data(), kernel.data(), o.byteMask.data(), out.data());
        quiet.clear();
    });
}

void BM_SrFloatConvolutionValidCorrToSparse(benchmark::State& state) { floatCorrelation<SrFloatConvolution>(state); }

void BM_SrFloatNeonConvolutionValidCorrToSparse(benchmark::State& state) {
    floatCorrelation<SrFloatNeonConvolution>(state);
}

template <typename T>
void BM_DSP_ConvolutionValidCorrToSparse(benchmark::State& state) {
    Operands o(state);
    DSP_Convolution<T> conv(static_cast<T>(2 * o.w), static_cast<T>(2 * o.h), 6, 6, 2.0f);
    std::vector<T> in = Operands::q15<T>(o.full, 1000.0f), kernel = Operands::q15<T>(o.kernel, 32767.0f);
    std::vector<T> out(o.low.size());
    conv.setFilterScale(32767);
    timeOperator(state, o, out.data(),
                 [&] { conv.validCorrToSparse(in.data(), kernel.data(), kernel.data(), out.data()); });
}

BENCHMARK(BM_SrFloatConvolutionFullConvFromSparse)->Args({320, 240});
BENCHMARK(BM_SrFloatNeonConvolutionFullConvFromSparse)->Args({320, 240});
BENCHMARK_TEMPLATE(BM_DSP_ConvolutionFullConvFromSparse, short)->Args({320, 240});
BENCHMARK_TEMPLATE(BM_DSP_ConvolutionFullConvFromSparse, int)->Args({320, 240});
BENCHMARK(BM_SrFloatConvolutionValidCorrToSparse)->Args({320, 240});
BENCHMARK(BM_SrFloatNeonConvolutionValidCorrToSparse)->Args({320, 240});
BENCHMARK_TEMPLATE(BM_DSP_ConvolutionValidCorrToSparse, short)->Args({320, 240});
BENCHMARK_TEMPLATE(BM_DSP_ConvolutionValidCorrToSparse, int)->Args({320, 240});

}  // namespace
