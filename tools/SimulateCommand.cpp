// SPDX-License-Identifier: Proprietary
#include "BurstSimulator.h"
#include "CommandLine.h"
#include "Commands.h"
#include "CountsSensor.h"
#include "ImageFiles.h"
#include "PendingFile.h"
#include "ToolError.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>

namespace vorel {
namespace tools {
namespace {

namespace fs = std::filesystem;

const char* const kUsage = R"(Usage: vsr simulate -o FOLDER [options]

Writes a synthetic thermal burst, to try vsr without a camera: a scene moved
by a sub-pixel hand-shake shift per frame, blurred by the sensor, sampled at
half the resolution, with noise and optionally defective pixels: marked
ones that read far above any temperature (--bad-pixels), and stuck ones that
read one plausible hot value in every frame (--stuck).

Files written into FOLDER (created if missing):
  frame_00.tif ...   the frames, 32-bit float TIFF, degrees Celsius
  truth.tif          the unblurred scene at twice the size, in the geometry
                     of the frame that vsr run takes as its reference
  shifts.csv         per frame the true shift (x, y) in input pixels
  bad_pixels.csv     the defective pixels (x, y), with --bad-pixels
  stuck_pixels.csv   the stuck pixels (x, y), with --stuck

With --counts the frames are 16-bit counts of a sensor with its own gain and
offset per pixel, for vsr run --nuc:
  frame_00.png ...   the frames, 16-bit PNG of counts
  low.png, high.png  the counts of uniform scenes at 20 and 40 degrees
  calibration.txt    the --nuc arguments for them: low.png:20 high.png:40
  truth.tif          as above, in degrees Celsius
and the vsr run command line to try is printed.

)";

// The uniform scenes of the calibration with --counts, in degrees.
constexpr float kLowScene = 20.0f;
constexpr float kHighScene = 40.0f;

void writeText(const std::string& path, const std::string& text) {
    PendingFile file(path);
    {
        std::ofstream out(file.temporary());
        out << text;
        if (!out.flush()) throw ToolError(ExitCode::UnwritableOutput, cannotWrite(path, "write failed"));
    }
    file.commit();
}

std::string csv(const std::string& header, const std::vector<cv::Point2f>& points) {
    std::string text = header + "\n";
    char line[96];
    for (size_t i = 0; i < points.size(); ++i) {
        std::snprintf(line, sizeof line, "%zu,%.6f,%.6f\n", i, points[i].x, points[i].y);
        text += line;
    }
    return text;
}


std::string frameName(size_t index, bool counts) {
    char name[32];
    std::snprintf(name, sizeof name, "frame_%02zu.%s", index, counts ? "png" : "tif");
    return name;
}

// Counts as a 16-bit PNG holds them; the sensor's counts are never negative.
cv::Mat unsignedCounts(const cv::Mat_<short>& counts) {
    cv::Mat image;
    counts.convertTo(image, CV_16U);
    return image;
}

void writeBurst(const std::string& folder, const BurstSettings& settings, bool counts) {
    std::error_code error;
    fs::create_directories(folder, error);
    if (!fs::is_directory(folder))
        throw ToolError(ExitCode::UnwritableOutput, cannotWrite(folder, "cannot create the folder"));

    const Burst burst = BurstSimulator(settings).simulate();
    const CountsSensor sensor(settings.frameSize, settings.seed + 1);
    const auto path = [&](const std::string& name) { return (fs::path(folder) / name).string(); };
    for (size_t i = 0; i < burst.frames.size(); ++i)
        writeImage(path(frameName(i, counts)),
                   counts ? unsignedCounts(sensor.read(burst.frames[i])) : cv::Mat(burst.frames[i]));
    writeImage(path("truth.tif"), burst.truth);
    writeText(path("shifts.csv"), csv("frame,x,y", burst.shifts));
    const std::pair<const char*, const std::vector<cv::Point>*> lists[] = {{"bad_pixels.csv", &burst.badPixels},
                                                                            {"stuck_pixels.csv", &burst.stuckPixels}};
    for (const auto& [name, list] : lists) {
        if (list->empty()) continue;
        const std::vector<cv::Point2f> pixels(list->begin(), list->end());
        writeText(path(name), csv("index,x,y", pixels));
    }
    std::cout << "wrote " << burst.frames.size() << " frames of " << settings.frameSize.width << "x"
              << settings.frameSize.height << ", truth.tif and shifts.csv to " << folder << "\n"
              << "reference frame: " << frameName(size_t(settings.reference), counts) << "\n";
    if (!counts) return;
    writeImage(path("low.png"), unsignedCounts(sensor.readUniform(kLowScene)));
    writeImage(path("high.png"), unsignedCounts(sensor.readUniform(kHighScene)));
    char points[64];
    std::snprintf(points, sizeof points, "low.png:%g high.png:%g", kLowScene, kHighScene);
    writeText(path("calibration.txt"), std::string(points) + "\n");
    std::cout << "calibration: low.png and high.png, uniform scenes at " << kLowScene << " and " << kHighScene
              << " degrees (calibration.txt)\ntry: vsr run";
    for (size_t i = 0; i < burst.frames.size(); ++i) std::cout << " " << path(frameName(i, true));
    std::cout << " --nuc " << path("low.png") << ":" << kLowScene << " " << path("high.png") << ":" << kHighScene
              << " -o result.tif\n";
}

}  // namespace

void addSimulateCommand(CLI::App& vsr) {
    struct Options {
        std::string folder;
        BurstSettings burst;
        std::string scene = "building";
        int reference = 3;
        bool counts = false;
    };
    auto options = std::make_shared<Options>();
    BurstSettings& burst = options->burst;
    CLI::App* simulate = addSubcommand(vsr, "simulate", "write a synthetic burst with its ground truth", kUsage);
    simulate->add_option("-o", options->folder, "where to write")->required()->type_name("FOLDER");
    addSizeOption(*simulate, "--size", burst.frameSize, "frame size, at least 16x16 (default 160x120)");
    simulate->add_option("--frames", burst.frames, "number of frames (default 5)")->check(CLI::Range(1, 99))->type_name("N");
    simulate->add_option("--scene", options->scene, "building, people or star (default building)")
        ->check(CLI::IsMember({"building", "people", "star"}))
        ->type_name("NAME");
    simulate->add_option("--noise", burst.noise, "noise standard deviation in kelvin (default 0.05)")
        ->check(atLeast(0.0))
        ->type_name("K");
    simulate->add_option("--blur", burst.blur, "sensor blur sigma in output pixels (default 0.683)")
        ->check(atLeast(0.0))
        ->type_name("S");
    simulate->add_option("--max-shift", burst.maxShift, "largest shift per axis in input pixels (default 1.5)")
        ->check(CLI::Range(0.0f, 4.0f))
        ->type_name("P");
    CLI::Option* badPixels = simulate->add_option("--bad-pixels", burst.badPixels, "defective pixels, at most 1 % of the frame (default 0)")
        ->check(CLI::Range(0, 1000000))->type_name("N");
    CLI::Option* stuck = simulate
        ->add_option("--stuck", burst.stuckPixels,
                     "stuck pixels, each reading one value from 40 to 60 degrees in every frame, at most 1 % of the "
                     "frame (default 0)")
        ->check(CLI::Range(0, 1000000))
        ->type_name("N");
    simulate
        ->add_option("--reference", options->reference,
                     "reference frame counted back from the newest, as for vsr run (default 3)")
        ->check(CLI::Range(0, 98))
        ->type_name("N");
    simulate->add_option("--seed", burst.seed, "random seed (default 1)")->type_name("N");
    simulate
        ->add_flag("--counts", options->counts,
                   "write 16-bit counts of a sensor with its own gain and offset per pixel, with two calibration "
                   "frames for vsr run --nuc, instead of degrees")
        ->excludes(badPixels)
        ->excludes(stuck);

    simulate->callback([options] {
        BurstSettings settings = options->burst;
        if (settings.frameSize.width < 16 || settings.frameSize.height < 16)
            throw ToolError(ExitCode::Usage, "--size must be at least 16x16");
        for (const auto& [option, count] : {std::pair<const char*, int>{"--bad-pixels", settings.badPixels},
                                            std::pair<const char*, int>{"--stuck", settings.stuckPixels}})
            if (count > settings.frameSize.area() / 100)
                throw ToolError(ExitCode::Usage, std::string(option) + " must be at most " +
                                                     std::to_string(settings.frameSize.area() / 100) + " for this size");
        settings.scene = sceneFromName(options->scene);
        settings.reference = std::max(0, settings.frames - 1 - options->reference);
        writeBurst(options->folder, settings, options->counts);
    });
}

}  // namespace tools
}  // namespace vorel
