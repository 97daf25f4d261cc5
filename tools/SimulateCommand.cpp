// SPDX-License-Identifier: Proprietary
#include "Arguments.h"
#include "BurstSimulator.h"
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

const char* const kHelp = R"(Usage: vsr simulate -o FOLDER [options]

Writes a synthetic thermal burst, to try vsr without a camera: a scene moved
by a sub-pixel hand-shake shift per frame, blurred by the sensor, sampled at
half the resolution, with noise and optionally defective pixels.

Files written into FOLDER (created if missing):
  frame_00.tif ...   the frames, 32-bit float TIFF, degrees Celsius
  truth.tif          the unblurred scene at twice the size, in the geometry
                     of the frame that vsr run takes as its reference
  shifts.csv         per frame the true shift (x, y) in input pixels
  bad_pixels.csv     the defective pixels (x, y), with --bad-pixels

Options:
  -o FOLDER          where to write
  --size WxH         frame size (default 160x120)
  --frames N         number of frames (default 5)
  --scene NAME       building, people or star (default building)
  --noise K          noise standard deviation in kelvin (default 0.05)
  --blur S           sensor blur sigma in output pixels (default 0.683)
  --max-shift P      largest shift per axis in input pixels (default 1.5)
  --bad-pixels N     defective pixels (default 0)
  --reference N      reference frame counted back from the newest, as for
                     vsr run (default 3)
  --seed N           random seed (default 1)
  -h, --help         this text
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

}  // namespace

int simulateCommand(const std::vector<std::string>& argv) {
    const Arguments args(argv,
                         {"-o", "--size", "--frames", "--scene", "--noise", "--blur", "--max-shift", "--bad-pixels",
                          "--reference", "--seed"},
                         {"-h", "--help"});
    if (args.has("-h") || args.has("--help")) {
        std::cout << kHelp;
        return 0;
    }
    if (!args.positionals().empty())
        throw ToolError(ExitCode::Usage, "unexpected argument '" + args.positionals()[0] + "'");
    const std::string folder = args.required("-o");
    BurstSettings settings;
    if (args.has("--size")) settings.frameSize = args.size("--size");
    if (settings.frameSize.width < 16 || settings.frameSize.height < 16)
        throw ToolError(ExitCode::Usage, "--size must be at least 16x16");
    settings.frames = args.integer("--frames", 5, 1, 99);
    settings.scene = sceneFromName(args.text("--scene", "building"));
    settings.noise = args.real("--noise", settings.noise, 0.0f);
    settings.blur = args.real("--blur", settings.blur, 0.0f);
    settings.maxShift = args.real("--max-shift", settings.maxShift, 0.0f);
    settings.badPixels = args.integer("--bad-pixels", 0, 0, settings.frameSize.area() / 100);
    settings.reference = std::max(0, settings.frames - 1 - args.integer("--reference", 3, 0, 98));
    settings.seed = static_cast<uint64_t>(args.integer("--seed", 1, 0, 2147483647));

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
    if (!burst.badPixels.empty()) {
        const std::vector<cv::Point2f> pixels(burst.badPixels.begin(), burst.badPixels.end());
        writeText((fs::path(folder) / "bad_pixels.csv").string(), csv("index,x,y", pixels));
    }
    std::cout << "wrote " << burst.frames.size() << " frames of " << settings.frameSize.width << "x"
              << settings.frameSize.height << ", truth.tif and shifts.csv to " << folder << "\n"
              << "reference frame: frame_" << (settings.reference < 10 ? "0" : "") << settings.reference << ".tif\n";
    return 0;
}

}  // namespace tools
}  // namespace vorel
