// SPDX-License-Identifier: Proprietary
#include "Arguments.h"
#include "Commands.h"
#include "ImageFiles.h"
#include "PendingFile.h"
#include "Preview.h"
#include "ProgressBar.h"
#include "Reconstructor.h"
#include "SequenceWriter.h"
#include "ToolError.h"
#include "Upsampling.h"
#include "VideoReader.h"

#include <opencv2/imgproc.hpp>

#include <filesystem>
#include <iostream>

namespace vorel {
namespace tools {
namespace {

const char* const kHelp = R"(Usage: vsr run FRAME... -o OUT.tif [options]
       vsr run --video VIDEO -o FOLDER|OUT.avi [options]

Super-resolves a burst of frames of one scene, taken with small hand or sensor
movements between them, into one image of twice the width and height.

Inputs: 8- and 16-bit PNG and TIFF, 32-bit float TIFF (radiometric values),
raw little-endian float32 or int16 files (with --size), or a video (--video).
The result belongs to the reference frame of the last window of frames.

Options:
  -o PATH            the result: a 32-bit float TIFF (.tif, .tiff); with
                     --video a folder of such TIFFs, one per frame from the
                     window's size on, or a .avi, .mp4 or .mkv video in the
                     thermal palette
  --preview PNG      also write bicubic and super-resolved side by side in a
                     thermal palette
  --size WxH         read the frames as raw files of W x H pixels
  --video            slide the window along a video, one result per frame
  --camera "TEXT"    camera and lens, e.g. "k425 FOV 25": selects the blur
  --reference N      reference frame, counted back from the newest (default 3)
  --window N         frames per reconstruction (default 5; others use the C++ engine)
  --tv-weight W      total-variation weight, >= 1 (default 400; larger smooths less)
  --iterations N     conjugate-gradient iterations (default 8)
  --psf-sigma S      sensor blur in output pixels, instead of --camera
  --verbose          let the library's timing lines through
  -h, --help         this text
)";

constexpr int kProgressThreshold = 10;

ToolError usage(const std::string& message) { return ToolError(ExitCode::Usage, message); }

bool isTiff(const std::string& path) {
    const std::string extension = std::filesystem::path(path).extension().string();
    return extension == ".tif" || extension == ".tiff";
}

ReconstructionSettings settingsFrom(const Arguments& args) {
    ReconstructionSettings settings;
    settings.camera = args.text("--camera", "");
    settings.window = args.integer("--window", 5, 2, 32);
    settings.reference = args.integer("--reference", 3, 0, settings.window - 1);
    settings.tvWeight = args.real("--tv-weight", 0.0f, 1.0f);
    settings.iterations = args.integer("--iterations", 0, 1, 1000);
    settings.psfSigma = args.real("--psf-sigma", 0.0f, 0.01f);
    settings.verbose = args.has("--verbose");
    return settings;
}

// Warnings go to standard error as they come, naming the frame; returns whether there was one.
bool warn(const ProgressBar& progress, const Outcome& outcome, const std::string& frameName) {
    if (outcome.code == 0) return false;
    progress.print(frameName + ": " + outcome.describe());
    return true;
}

int runStills(const Arguments& args, const ReconstructionSettings& settings) {
    const std::vector<std::string>& paths = args.positionals();
    const cv::Size rawSize = args.size("--size");
    const std::string output = args.required("-o");
    if (!isTiff(output)) throw usage("-o must name a .tif file (32-bit float); use --preview for a PNG");
    if (static_cast<int>(paths.size()) < settings.window)
        throw ToolError(ExitCode::UnusableBurst,
                        std::to_string(settings.window) + " frames needed, got " + std::to_string(paths.size()));
    // Fail on an unwritable output before the work, not after it.
    requireWritable(output);
    const std::string preview = args.text("--preview", "");
    if (!preview.empty()) requireWritable(preview);

    std::vector<cv::Mat_<float>> frames;
    for (const std::string& path : paths) {
        frames.push_back(readFrame(path, rawSize));
        if (frames.back().size() != frames.front().size()) {
            const cv::Size a = frames.front().size(), b = frames.back().size();
            throw ToolError(ExitCode::UnusableBurst, "'" + path + "' is " + std::to_string(b.width) + "x" +
                                                         std::to_string(b.height) + ", but '" + paths.front() +
                                                         "' is " + std::to_string(a.width) + "x" +
                                                         std::to_string(a.height) + ": all frames must have one size");
        }
    }

    const auto reconstructor = Reconstructor::create(frames.front().size(), settings);
    ProgressBar progress(static_cast<int>(frames.size()), frames.size() > kProgressThreshold);
    Outcome last;
    bool warned = false;
    for (size_t i = 0; i < frames.size(); ++i) {
        last = reconstructor->add(frames[i]);
        warned |= warn(progress, last, paths[i]);
        progress.advance();
    }
    const cv::Mat_<float> result = reconstructor->result();
    writeImage(output, result);

    const size_t reference = frames.size() - 1 - settings.reference;
    std::cout << "wrote " << output << " (" << result.cols << "x" << result.rows << ", 32-bit float) from "
              << frames.size() << " frames; reference frame: " << paths[reference] << '\n';
    const std::string meaning = last.describe();
    if (last.code == 0 && !meaning.empty()) std::cout << meaning << '\n';
    else if (!warned) std::cout << "no warning from the library\n";
    if (!preview.empty()) {
        writeImage(preview,
                   sideBySide({upsample(frames[reference], cv::INTER_CUBIC), result}, {"bicubic", "super-resolved"}));
        std::cout << "wrote " << preview << '\n';
    }
    return 0;
}

int runVideo(const Arguments& args, const ReconstructionSettings& settings) {
    if (args.positionals().size() != 1) throw usage("--video takes exactly one video file");
    if (args.has("--size") || args.has("--preview")) throw usage("--video cannot be combined with --size or --preview");
    const std::string& path = args.positionals().front();
    const std::string output = args.required("-o");
    VideoReader video(path);
    SequenceWriter writer(output, video.fps());
    const int announced = video.announcedFrames();
    ProgressBar progress(announced, announced == 0 || announced > kProgressThreshold);

    std::unique_ptr<Reconstructor> reconstructor;
    cv::Mat_<float> frame;
    int count = 0, written = 0;
    while (video.next(frame)) {
        ++count;
        if (!reconstructor) reconstructor = Reconstructor::create(frame.size(), settings);
        const Outcome outcome = reconstructor->add(frame);
        warn(progress, outcome, path + " frame " + std::to_string(count));
        if (outcome.computed) {
            writer.write(reconstructor->result(), count);
            ++written;
        }
        progress.advance();
    }
    if (written == 0)
        throw ToolError(ExitCode::UnusableBurst, "'" + path + "' has " + std::to_string(count) + " frames; " +
                                                     std::to_string(settings.window) + " needed");
    writer.close();
    std::cout << "wrote " << written << " results to " << output << " (frames " << settings.window << " to " << count
              << ")\n";
    return 0;
}

}  // namespace

int runCommand(const std::vector<std::string>& argv) {
    const Arguments args(argv,
                         {"-o", "--preview", "--size", "--camera", "--reference", "--window", "--tv-weight",
                          "--iterations", "--psf-sigma"},
                         {"--video", "--verbose", "-h", "--help"});
    if (args.has("-h") || args.has("--help")) {
        std::cout << kHelp;
        return 0;
    }
    if (args.positionals().empty()) throw usage("no input frames given");
    const ReconstructionSettings settings = settingsFrom(args);
    return args.has("--video") ? runVideo(args, settings) : runStills(args, settings);
}

}  // namespace tools
}  // namespace vorel
