// SPDX-License-Identifier: Proprietary
#include "CommandLine.h"
#include "Commands.h"
#include "ImageFiles.h"
#include "QualityMetrics.h"
#include "ToolError.h"

#include <cstdio>

namespace vorel {
namespace tools {
namespace {

const char* const kUsage = R"(Usage: vsr score RESULT TRUTH [--border N]

Scores an image against a ground truth of the same size: PSNR and SSIM after
the best global alignment (whole pixels within 3, then a quarter-pixel
refinement), as vsr demo scores its results. Use it to compare settings on
bursts from vsr simulate, or on your own references.
)";

constexpr int kMaxShift = 3;

void score(const std::string& resultPath, const std::string& truthPath, int border) {
    const cv::Mat_<float> result = readFrame(resultPath), truth = readFrame(truthPath);
    if (result.size() != truth.size())
        throw ToolError(ExitCode::UnusableBurst, "'" + resultPath + "' is " + std::to_string(result.cols) + "x" +
                                                     std::to_string(result.rows) + ", but '" + truthPath + "' is " +
                                                     std::to_string(truth.cols) + "x" + std::to_string(truth.rows));
    const int margin = std::max(border, kMaxShift + 1);
    if (result.cols <= 2 * margin || result.rows <= 2 * margin)
        throw ToolError(ExitCode::Usage, "the images are too small for a border of " + std::to_string(margin));
    const Quality quality = compareAligned(result, truth, kMaxShift, border);
    std::printf("PSNR %.2f dB  SSIM %.4f  (aligned by %+.2f, %+.2f pixels)\n", quality.psnr, quality.ssim,
                quality.shift.x, quality.shift.y);
}

}  // namespace

void addScoreCommand(CLI::App& vsr) {
    struct Options {
        std::string result, truth;
        int border = 8;
    };
    auto options = std::make_shared<Options>();
    CLI::App* command = addSubcommand(vsr, "score", "compare an image with its ground truth (PSNR, SSIM)", kUsage);
    command->add_option("RESULT", options->result, "the image to score")->required();
    command->add_option("TRUTH", options->truth, "the ground truth, of the same size")->required();
    command->add_option("--border", options->border, "pixels left out on every side (default 8)")
        ->check(CLI::Range(0, 10000))
        ->type_name("N");
    command->callback([options] { score(options->result, options->truth, options->border); });
}

}  // namespace tools
}  // namespace vorel
