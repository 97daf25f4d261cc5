// SPDX-License-Identifier: Proprietary
#include "BurstSimulator.h"
#include "CommandLine.h"
#include "Commands.h"
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

)";

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


void writeBurst(const std::string& folder, const BurstSettings& settings) {
    std::error_code error;
    fs::create_directories(folder, error);
    if (!fs::is_directory(folder))
        throw ToolError(ExitCode::UnwritableOutput, cannotWrite(folder, "cannot create the folder"));

    const Burst burst = BurstSimulator(settings).simulate();
    for (size_t i = 0; i < burst.frames.size(); ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "frame_%02zu.tif", i);
        writeImage((fs::path(folder) / name).string(), burst.frames[i]);
    }
    writeImage((fs::path(folder) / "truth.tif").string(), burst.truth);
    writeText((fs::path(folder) / "shifts.csv").string(), csv("frame,x,y", burst.shifts));
    const std::pair<const char*, const std::vector<cv::Point>*> lists[] = {{"bad_pixels.csv", &burst.badPixels},
                                                                            {"stuck_pixels.csv", &burst.stuckPixels}};
    for (const auto& [name, list] : lists) {
        if (list->empty()) continue;
        const std::vector<cv::Point2f> pixels(list->begin(), list->end());
        writeText((fs::path(folder) / name).string(), csv("index,x,y", pixels));
    }
    std::cout << "wrote " << burst.frames.size() << " frames of " << settings.frameSize.width << "x"
              << settings.frameSize.height << ", truth.tif and shifts.csv to " << folder << "\n"
              << "reference frame: frame_" << (settings.reference < 10 ? "0" : "") << settings.reference << ".tif\n";
}

}  // namespace

void addSimulateCommand(CLI::App& vsr) {
    struct Options {
        std::string folder;
        BurstSettings burst;
        std::string scene = "building";
        int reference = 3;
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
    simulate->add_option("--bad-pixels", burst.badPixels, "defective pixels, at most 1 % of the frame (default 0)")
        ->check(CLI::Range(0, 1000000))->type_name("N");
    simulate
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
        writeBurst(options->folder, settings);
    });
}

}  // namespace tools
}  // namespace vorel
