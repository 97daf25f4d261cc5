// SPDX-License-Identifier: Proprietary
#include "BurstSimulator.h"
#include "CommandLine.h"
#include "Commands.h"
#include "ImageFiles.h"
#include "PendingFile.h"
#include "Preview.h"
#include "QualityMetrics.h"
#include "Reconstructor.h"
#include "ToolError.h"
#include "Upsampling.h"

#include <opencv2/imgproc.hpp>

#include <cstdio>
#include <filesystem>
#include <iostream>

namespace vorel {
namespace tools {
namespace {

namespace fs = std::filesystem;

const char* const kUsage = R"(Usage: vsr demo [-o FOLDER] [--verbose]

Simulates a burst of 5 thermal frames in memory, super-resolves it through the
library's C interface and compares the result and bicubic enlargement of the
reference frame with the ground truth (PSNR and SSIM, after aligning each by
its best whole-pixel shift).

Writes into FOLDER (default: vsr-demo beside the vsr program, created if missing):
  truth.tif, bicubic.tif, result.tif   32-bit float TIFF, degrees Celsius
  preview.png                          the three side by side, thermal palette

)";

std::string defaultFolder() {
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    return ((error ? fs::current_path() : program.parent_path()) / "vsr-demo").string();
}

void printRow(const char* name, const Quality& quality) {
    std::printf("  %-16s %9.2f %8.4f\n", name, quality.psnr, quality.ssim);
}

void runDemo(const std::string& folder, bool verbose) {
    std::error_code error;
    fs::create_directories(folder, error);
    if (!fs::is_directory(folder))
        throw ToolError(ExitCode::UnwritableOutput, cannotWrite(folder, "cannot create the folder"));

    BurstSettings burstSettings;  // the C interface's window: 5 frames, reference slot 1
    const Burst burst = BurstSimulator(burstSettings).simulate();
    ReconstructionSettings settings;
    settings.verbose = verbose;
    const auto reconstructor = Reconstructor::create(burstSettings.frameSize, settings);
    Outcome outcome;
    for (const cv::Mat_<float>& frame : burst.frames) outcome = reconstructor->add(frame);
    const cv::Mat_<float> result = reconstructor->result();
    const cv::Mat_<float> bicubic = upsample(burst.frames[burstSettings.reference], cv::INTER_CUBIC);

    std::printf("vsr demo: %d frames of %dx%d (scene %s, noise %.2f K, blur %.3f px) through the C interface\n",
                burstSettings.frames, burstSettings.frameSize.width, burstSettings.frameSize.height,
                sceneName(burstSettings.scene).c_str(), burstSettings.noise, burstSettings.blur);
    const std::string note = outcome.describe();
    if (!note.empty()) std::printf("%s\n", note.c_str());
    std::printf("  %-16s %9s %8s\n", "against truth", "PSNR [dB]", "SSIM");
    printRow("super-resolved", compareAligned(result, burst.truth));
    printRow("bicubic", compareAligned(bicubic, burst.truth));

    const auto path = [&](const char* name) { return (fs::path(folder) / name).string(); };
    writeImage(path("truth.tif"), burst.truth);
    writeImage(path("bicubic.tif"), bicubic);
    writeImage(path("result.tif"), result);
    writeImage(path("preview.png"),
               sideBySide({burst.truth, bicubic, result}, {"ground truth", "bicubic", "super-resolved"}));
    std::printf("wrote truth.tif, bicubic.tif, result.tif and preview.png to %s\n", folder.c_str());
    std::fflush(stdout);
}

}  // namespace

void addDemoCommand(CLI::App& vsr) {
    struct Options {
        std::string folder = defaultFolder();
        bool verbose = false;
    };
    auto options = std::make_shared<Options>();
    CLI::App* demo = addSubcommand(vsr, "demo", "simulate, super-resolve and score a burst in one go", kUsage);
    demo->add_option("-o", options->folder, "where to write")->type_name("FOLDER");
    demo->add_flag("--verbose", options->verbose, "let the library's timing lines through");
    demo->callback([options] { runDemo(options->folder, options->verbose); });
}

}  // namespace tools
}  // namespace vorel
