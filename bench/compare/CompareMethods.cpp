// SPDX-License-Identifier: Proprietary
// Quality and speed of the library against plain upsampling and, when OpenCV's
// superres module is present, OpenCV's own multi-frame super-resolution, all
// on the same simulated bursts and scored against the same ground truth.
#include "BurstPreparation.h"
#include "BurstSimulator.h"
#include "ComparisonPlot.h"
#include "Reconstructor.h"
#include "QualityMetrics.h"
#include "Upsampling.h"
#include "vorel/StopWatch.h"
#ifdef VSR_HAVE_SUPERRES
#include "BtvL1.h"
#endif

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace vorel::tools;

constexpr int kFrames = 5;
constexpr int kReference = 1;       // the frame the library reconstructs: 5 frames, reference index 3
constexpr int kScoreBorder = 10;    // covers BTV-L1's dropped border plus the alignment search
constexpr int kBtvIterations = 30;  // OpenCV's default of 180 costs six times as much

struct Row {
    std::string method;
    Quality quality;
    double milliseconds;
    std::string failure;  ///< why the method gave no result, empty when it did
};

double elapsedMs(const vorel::StopWatch& watch) { return 1000.0 * watch.stop(); }

// Best of `runs`: the timing least disturbed by other work on the machine.
// `work` returns the milliseconds of the part that counts.
template <class Work>
double bestOf(int runs, Work work) {
    double best = work();
    for (int i = 1; i < runs; ++i) best = std::min(best, work());
    return best;
}

// A burst, and whether the library is told its blur. Untold, the library runs
// at its defaults and "lib+vsr" is added: the library after vsr run's
// stuck-pixel repair and blur estimate (--psf-sigma auto).
struct Condition {
    BurstSettings settings;
    bool blurTold = true;
};

std::vector<Row> compare(const Condition& condition, int btvIterations) {
    const BurstSettings& settings = condition.settings;
    const Burst burst = BurstSimulator(settings).simulate();
    std::vector<Row> rows;
    cv::Mat_<float> result;
    // Runs one method; `work` leaves its result in `result` and returns its milliseconds.
    const auto add = [&](const std::string& method, const std::function<double()>& work) {
        try {
            const double ms = work();
            rows.push_back({method, compareAligned(result, burst.truth, 3, kScoreBorder), ms, ""});
        } catch (const std::exception& error) {
            rows.push_back({method, Quality(), 0.0, error.what()});
        }
    };

    // The library in steady state, with either registration: one more frame into a full window.
    ReconstructionSettings library;
    library.psfSigma = condition.blurTold ? settings.blur : 0.0f;
    const auto runLibrary = [&](const ReconstructionSettings& reconstruction, const std::vector<cv::Mat_<float>>& frames) {
        return bestOf(3, [&] {
            const auto reconstructor = Reconstructor::create(settings.frameSize, reconstruction);
            for (int i = 0; i + 1 < kFrames; ++i) reconstructor->add(frames[i]);
            vorel::StopWatch watch;
            reconstructor->add(frames[kFrames - 1]);
            const double ms = elapsedMs(watch);
            result = reconstructor->result();
            return ms;
        });
    };
    add("library", [&] { return runLibrary(library, burst.frames); });
    ReconstructionSettings allCores = library;
    allCores.threads = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
    add("lib-all", [&] { return runLibrary(allCores, burst.frames); });
    ReconstructionSettings phase = library;
    phase.registration = RegistrationMethod::PhaseCorrelation;
    add("lib-phase", [&] { return runLibrary(phase, burst.frames); });
    if (!condition.blurTold) {
        // The preparation's time is left out: it runs once per burst, not per frame.
        PreparationSettings automatic;
        automatic.estimateBlur = true;
        BurstPreparation preparation(settings.frameSize, automatic);
        std::vector<cv::Mat_<float>> frames;
        for (const cv::Mat_<float>& frame : burst.frames) frames.push_back(frame.clone());
        preparation.examine(frames);
        ReconstructionSettings prepared = library;
        prepared.psfSigma = preparation.psfSigma();
        add("lib+vsr", [&] { return runLibrary(prepared, frames); });
    }
    for (const auto& [name, interpolation] : {std::pair<const char*, int>{"bicubic", cv::INTER_CUBIC},
                                              std::pair<const char*, int>{"lanczos4", cv::INTER_LANCZOS4}}) {
        add(name, [&, interpolation = interpolation] {
            return bestOf(5, [&] {
                vorel::StopWatch watch;
                result = upsample(burst.frames[kReference], interpolation);
                return elapsedMs(watch);
            });
        });
    }
#ifdef VSR_HAVE_SUPERRES
    // One pass over the burst gives a result per frame: the cost per output is the pass's share.
    add("BTV-L1", [&] {
        vorel::StopWatch watch;
        result = vorel::bench::BtvL1(settings.blur, btvIterations).reconstruct(burst.frames)[kReference];
        return elapsedMs(watch) / kFrames;
    });
    // For information: the peer with OpenCV's own default threading.
    add("BTV-all", [&] {
        cv::setNumThreads(-1);
        vorel::StopWatch watch;
        result = vorel::bench::BtvL1(settings.blur, btvIterations).reconstruct(burst.frames)[kReference];
        const double ms = elapsedMs(watch) / kFrames;
        cv::setNumThreads(1);
        return ms;
    });
#endif
    return rows;
}

}  // namespace

// Usage: vsr_compare [BTV_ITERATIONS] [PLOT.png]
int main(int argc, char** argv) {
    cv::setNumThreads(1);
    const int btvIterations = argc > 1 ? std::max(1, std::atoi(argv[1])) : kBtvIterations;
#ifdef VSR_HAVE_SUPERRES
    const std::string peer = "BTV-L1";
    std::printf(
        "Peer: OpenCV cv::superres Bilateral-TV-L1, %d iterations, temporal radius %d, scale 2, 8-bit output.\n",
        btvIterations, kFrames / 2);
#else
    const std::string peer = "bicubic";
    std::printf("OpenCV's superres module was not found at build time: no BTV-L1 row; ratios are against bicubic.\n");
#endif
    std::printf(
        "Bursts of %d frames; every method reconstructs frame %d (the library's reference, index 3 counted\n"
        "back from the newest): bicubic and lanczos4 enlarge it, BTV-L1 returns its result for it.\n"
        "Scores against the unblurred scene in that frame's geometry, each result aligned by its best\n"
        "global shift (+-3 output pixels, half-pixel steps), a border of %d output pixels left out.\n"
        "One thread for every method but lib-all (the library on all %u cores, the same image) and BTV-all\n"
        "(the peer with OpenCV's default threading, for information).\n"
        "library: corner-tracking registration (the C interface's); lib-phase: phase correlation.\n"
        "ms/frame: library = one more frame into a full window; BTV-L1 = its pass over the burst / %d.\n\n",
        kFrames, kReference + 1, kScoreBorder, std::max(1u, std::thread::hardware_concurrency()), kFrames);
    std::printf("%-9s %-9s %-8s %6s %6s %9s %7s %9s   vs %s: %s\n", "method", "scene", "size", "noise", "blur",
                "PSNR[dB]", "SSIM", "ms/frame", peer.c_str(), "dPSNR  SSIM-ratio  time-ratio");

    std::vector<Condition> bursts;
    const Scene scenes[] = {Scene::Building, Scene::People, Scene::Star};
    for (Scene scene : scenes)
        for (float noise : {0.05f, 0.2f})
            for (float blur : {0.683f, 1.0f}) {
                BurstSettings settings;
                settings.scene = scene;
                settings.noise = noise;
                settings.blur = blur;
                bursts.push_back({settings});
            }
    for (cv::Size size : {cv::Size(320, 240), cv::Size(640, 480)})
        for (Scene scene : scenes) {
            BurstSettings settings;
            settings.scene = scene;
            settings.frameSize = size;
            bursts.push_back({settings});
        }
    // What the library's defaults do not handle: stuck pixels, and a blur wider than its default.
    BurstSettings stuck, wide;
    stuck.stuckPixels = 20;
    wide.blur = 1.0f;
    bursts.push_back({stuck, false});
    bursts.push_back({wide, false});

    std::map<std::string, std::vector<double>> psnrs, ssims, timeRatios;
    // Per method and frame size, over every burst the method reconstructed: PSNR, SSIM, log of ms.
    std::map<std::pair<std::string, std::string>, std::vector<cv::Vec3d>> bySize;
    for (const Condition& condition : bursts) {
        const BurstSettings& settings = condition.settings;
        const std::vector<Row> rows = compare(condition, btvIterations);
        if (!condition.blurTold)
            std::printf("(%d stuck pixels; library not told the blur; lib+vsr: after vsr's repair and blur estimate)\n",
                        settings.stuckPixels);
        const auto peerRow = std::find_if(rows.begin(), rows.end(), [&](const Row& row) { return row.method == peer; });
        const bool complete = std::all_of(rows.begin(), rows.end(), [](const Row& row) { return row.failure.empty(); });
        const std::string size =
            std::to_string(settings.frameSize.width) + "x" + std::to_string(settings.frameSize.height);
        for (const Row& row : rows) {
            std::printf("%-9s %-9s %-8s %6.2f %6.3f ", row.method.c_str(), sceneName(settings.scene).c_str(),
                        size.c_str(), settings.noise, settings.blur);
            if (!row.failure.empty()) {
                std::printf("failed: %s\n", row.failure.c_str());
                continue;
            }
            std::printf("%9.2f %7.4f %9.2f", row.quality.psnr, row.quality.ssim, row.milliseconds);
            if (condition.blurTold)
                bySize[{row.method, size}].push_back({row.quality.psnr, row.quality.ssim, std::log(row.milliseconds)});
            if (!peerRow->failure.empty()) {
                std::printf("\n");
                continue;
            }
            const double timeRatio = row.milliseconds / peerRow->milliseconds;
            std::printf("   %+15.2f %11.3f %11.3g\n", row.quality.psnr - peerRow->quality.psnr,
                        row.quality.ssim / peerRow->quality.ssim, timeRatio);
            if (!complete || !condition.blurTold) continue;
            psnrs[row.method].push_back(row.quality.psnr);
            ssims[row.method].push_back(row.quality.ssim);
            timeRatios[row.method].push_back(timeRatio);
        }
        std::printf("\n");
        std::fflush(stdout);
    }

    std::printf(
        "Over the %zu bursts that every method reconstructed: mean PSNR, mean SSIM, geometric mean of the\n"
        "time ratio\n",
        psnrs.empty() ? size_t(0) : psnrs.begin()->second.size());
    for (const auto& [method, values] : psnrs) {
        double psnr = 0.0, ssim = 0.0, logRatio = 0.0;
        for (size_t i = 0; i < values.size(); ++i) {
            psnr += values[i];
            ssim += ssims[method][i];
            logRatio += std::log(timeRatios[method][i]);
        }
        const double n = static_cast<double>(values.size());
        std::printf("%-9s %9.2f %7.4f %11.3g\n", method.c_str(), psnr / n, ssim / n, std::exp(logRatio / n));
    }

    std::printf("\nPer method and frame size, over the bursts with the blur told: mean PSNR, mean SSIM, geometric\n"
                "mean of ms/frame\n");
    std::vector<vorel::bench::ComparisonPlot::Mark> marks;
    for (const auto& [key, values] : bySize) {
        const cv::Vec3d mean = std::accumulate(values.begin(), values.end(), cv::Vec3d()) / double(values.size());
        std::printf("%-9s %-8s %9.2f %7.4f %9.3g\n", key.first.c_str(), key.second.c_str(), mean[0], mean[1],
                    std::exp(mean[2]));
        marks.push_back({key.first, key.second, std::exp(mean[2]), mean[0]});
    }
    if (argc > 2 && !cv::imwrite(argv[2], vorel::bench::ComparisonPlot(marks).render())) {
        std::fprintf(stderr, "vsr_compare: cannot write %s\n", argv[2]);
        return 1;
    }
    return 0;
}
