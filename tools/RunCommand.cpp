// SPDX-License-Identifier: Proprietary
#include "BurstPreparation.h"
#include "CommandLine.h"
#include "Commands.h"
#include "CountsReconstructor.h"
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

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <thread>

namespace vorel {
namespace tools {
namespace {

const char* const kUsage = R"(Usage: vsr run FRAME... -o OUT.tif [options]
       vsr run --video VIDEO -o FOLDER|OUT.avi [options]

Super-resolves a burst of frames of one scene, taken with small hand or sensor
movements between them, into one image of twice the width and height.

Inputs: 8- and 16-bit PNG and TIFF, 32-bit float TIFF (radiometric values),
raw little-endian float32 or int16 files (with --size), or a video (--video).
The result belongs to the reference frame of the last window of frames.

With --engine reference, frames of 16-bit sensor counts (16-bit PNG or TIFF,
raw int16) are super-resolved as counts: the result is 16-bit (-o .tif or
.png). With --nuc they are first turned into radiometric values by a two-point
calibration per pixel, from two frames of uniform reference scenes:
  vsr run frame_*.png --nuc low.png:20 high.png:40 -o result.tif
The result is then 32-bit float in the units of the calibration values.
)";

struct RunOptions {
    std::vector<std::string> inputs;
    std::string output;
    std::string preview;
    cv::Size rawSize;
    bool video = false;
    std::string registration = "corners";
    std::string engine = "float";
    std::string stuckPixels = "auto";
    std::string psfSigma;  ///< a number, "auto" or empty
    std::vector<std::string> nuc;  ///< the two calibration points, COUNTS:VALUE
    ReconstructionSettings settings;
};

PreparationSettings preparationOf(const RunOptions& options) {
    PreparationSettings preparation;
    preparation.stuckPixels = options.stuckPixels;
    preparation.estimateBlur = options.psfSigma == "auto";
    preparation.window = options.settings.window;
    preparation.reference = options.settings.reference;
    preparation.verbose = options.settings.verbose;
    return preparation;
}

// Runs the preparation on the first frames and takes its blur; fallbacks are
// reported at once, findings returned for the summary.
std::vector<std::string> prepare(BurstPreparation& preparation, std::vector<cv::Mat_<float>>& frames,
                                 ReconstructionSettings& settings, const ProgressBar& progress) {
    preparation.examine(frames);
    for (const std::string& line : preparation.fallbacks()) progress.print(line);
    if (preparation.psfSigma() > 0.0f) settings.psfSigma = preparation.psfSigma();
    return preparation.findings();
}

constexpr int kProgressThreshold = 10;

ToolError usage(const std::string& message) { return ToolError(ExitCode::Usage, message); }

bool isTiff(const std::string& path) {
    const std::string extension = std::filesystem::path(path).extension().string();
    return extension == ".tif" || extension == ".tiff";
}

bool isPng(const std::string& path) { return std::filesystem::path(path).extension() == ".png"; }

const char* const kTiffOnly = "-o must name a .tif file (32-bit float); use --preview for a PNG";

// The engine's counts as written: unsigned when the frames were or the file is
// a PNG (which holds no signed values; negatives become 0), else signed.
cv::Mat countsResult(const cv::Mat& result, bool unsignedCounts) {
    if (!unsignedCounts) return result;
    cv::Mat counts;
    result.convertTo(counts, CV_16U);
    return counts;
}

// Warnings go to standard error as they come, naming the frame; returns whether there was one.
bool warn(const ProgressBar& progress, const Outcome& outcome, const std::string& frameName) {
    if (outcome.code == 0) return false;
    progress.print(frameName + ": " + outcome.describe());
    return true;
}

// The library keeps its output zero until a window registers; no registration at all means no result.
void requireComputed(const cv::Mat& result) {
    if (cv::countNonZero(result) == 0)
        throw ToolError(ExitCode::Reconstruction,
                        "no window of frames could be registered, so there is no result (frames too flat "
                        "or too different)");
}

void runStills(const RunOptions& options) {
    const std::vector<std::string>& paths = options.inputs;
    ReconstructionSettings settings = options.settings;
    if (static_cast<int>(paths.size()) < settings.window)
        throw ToolError(ExitCode::UnusableBurst,
                        std::to_string(settings.window) + " frames needed, got " + std::to_string(paths.size()));
    // Fail on an unwritable output before the work, not after it.
    requireWritableImage(options.output);
    if (!options.preview.empty()) requireWritableImage(options.preview);

    std::vector<cv::Mat_<float>> frames;
    bool counts = settings.referenceEngine, unsignedCounts = isPng(options.output);
    for (const std::string& path : paths) {
        const cv::Mat image = readImage(path, options.rawSize);
        counts &= holdsCounts(image);
        unsignedCounts |= image.depth() == CV_16U;
        if (!options.nuc.empty() && !holdsCounts(image))
            throw ToolError(ExitCode::UnreadableInput, cannotRead(path, "--nuc takes frames of 16-bit counts"));
        frames.emplace_back();
        image.convertTo(frames.back(), CV_32F);
        if (frames.back().size() != frames.front().size()) {
            const cv::Size a = frames.front().size(), b = frames.back().size();
            throw ToolError(ExitCode::UnusableBurst, "'" + path + "' is " + std::to_string(b.width) + "x" +
                                                         std::to_string(b.height) + ", but '" + paths.front() +
                                                         "' is " + std::to_string(a.width) + "x" +
                                                         std::to_string(a.height) + ": all frames must have one size");
        }
    }
    if (!counts && !isTiff(options.output)) throw usage(kTiffOnly);

    ProgressBar progress(static_cast<int>(frames.size()), frames.size() > kProgressThreshold);
    std::unique_ptr<RadiometricCalibration> calibration;
    if (!options.nuc.empty())
        calibration = std::make_unique<RadiometricCalibration>(
            CalibrationPoint::parse(options.nuc[0]), CalibrationPoint::parse(options.nuc[1]), frames.front().size());
    std::vector<std::string> findings;
    // The counts go to the engine's conversion as the sensor gave them.
    if (!calibration) {
        BurstPreparation preparation(frames.front().size(), preparationOf(options));
        findings = prepare(preparation, frames, settings, progress);
    }
    Outcome last;
    bool warned = false;
    const auto addAll = [&](const auto& add) {
        for (size_t i = 0; i < frames.size(); ++i) {
            last = add(i);
            warned |= warn(progress, last, paths[i]);
            progress.advance();
        }
    };
    cv::Mat result;
    if (counts) {
        CountsReconstructor reconstructor(frames.front().size(), settings);
        if (calibration) findings.push_back(reconstructor.calibrate(*calibration).describe());
        addAll([&](size_t i) { return reconstructor.add(engineCounts(frames[i], paths[i])); });
        result = reconstructor.result();
    } else {
        const auto reconstructor = Reconstructor::create(frames.front().size(), settings);
        addAll([&](size_t i) { return reconstructor->add(frames[i]); });
        result = reconstructor->result();
    }
    requireComputed(result);
    const bool shortResult = result.depth() == CV_16S;
    writeImage(options.output, shortResult ? countsResult(result, unsignedCounts) : result);

    const size_t reference = frames.size() - 1 - settings.reference;
    std::cout << "wrote " << options.output << " (" << result.cols << "x" << result.rows
              << (shortResult ? ", 16-bit counts" : ", 32-bit float") << ") from " << frames.size()
              << " frames; reference frame: " << paths[reference] << '\n';
    for (const std::string& line : findings) std::cout << line << '\n';
    const std::string meaning = last.describe();
    if (last.code == 0 && !meaning.empty()) std::cout << meaning << '\n';
    else if (!warned) std::cout << "no warning from the library\n";
    if (!options.preview.empty()) {
        writeImage(options.preview,
                   sideBySide({upsample(frames[reference], cv::INTER_CUBIC), cv::Mat_<float>(result)},
                              {"bicubic", "super-resolved"}));
        std::cout << "wrote " << options.preview << '\n';
    }
}

void runVideo(const RunOptions& options) {
    if (options.inputs.size() != 1) throw usage("--video takes exactly one video file");
    const std::string& path = options.inputs.front();
    ReconstructionSettings settings = options.settings;
    VideoReader video(path);
    SequenceWriter writer(options.output, video.fps());
    const int announced = video.announcedFrames();
    ProgressBar progress(announced, announced == 0 || announced > kProgressThreshold);

    // The first window is examined before the library sees any frame; what it
    // finds holds for the whole video.
    std::unique_ptr<BurstPreparation> preparation;
    std::vector<cv::Mat_<float>> firstWindow;
    std::vector<std::string> findings;
    std::unique_ptr<Reconstructor> reconstructor;
    int written = 0;
    const auto reconstruct = [&](const cv::Mat_<float>& frame, int number) {
        const Outcome outcome = reconstructor->add(frame);
        warn(progress, outcome, path + " frame " + std::to_string(number));
        if (outcome.computed) {
            if (written == 0) requireComputed(reconstructor->result());
            writer.write(reconstructor->result(), number);
            ++written;
        }
    };
    cv::Mat_<float> frame;
    int count = 0;
    while (video.next(frame)) {
        ++count;
        if (reconstructor) {
            preparation->repair(frame);
            reconstruct(frame, count);
        } else {
            if (!preparation) preparation = std::make_unique<BurstPreparation>(frame.size(), preparationOf(options));
            firstWindow.push_back(frame.clone());
            if (static_cast<int>(firstWindow.size()) == settings.window) {
                findings = prepare(*preparation, firstWindow, settings, progress);
                reconstructor = Reconstructor::create(frame.size(), settings);
                for (size_t i = 0; i < firstWindow.size(); ++i) reconstruct(firstWindow[i], static_cast<int>(i) + 1);
            }
        }
        progress.advance();
    }
    if (written == 0)
        throw ToolError(ExitCode::UnusableBurst, "'" + path + "' has " + std::to_string(count) + " frames; " +
                                                     std::to_string(settings.window) + " needed");
    writer.close();
    std::cout << "wrote " << written << " results to " << options.output << " (frames " << settings.window << " to "
              << count << ")\n";
    for (const std::string& line : findings) std::cout << line << '\n';
}

}  // namespace

void addRunCommand(CLI::App& vsr) {
    auto options = std::make_shared<RunOptions>();
    ReconstructionSettings& settings = options->settings;
    CLI::App* run = addSubcommand(vsr, "run", "super-resolve a burst of frames or a video", kUsage);
    run->add_option("FRAME", options->inputs, "input frames, or the video with --video")->required();
    run->add_option("-o", options->output,
                    "the result: a 32-bit float TIFF (.tif, .tiff); with --video a folder of such TIFFs, one per "
                    "frame from the window's size on, or a .avi, .mp4 or .mkv video in the thermal palette; from "
                    "16-bit counts with --engine reference, a 16-bit TIFF or PNG")
        ->required()
        ->type_name("PATH");
    CLI::Option* preview =
        run->add_option("--preview", options->preview,
                        "also write bicubic and super-resolved side by side in a thermal palette (.png)")
            ->type_name("PNG");
    CLI::Option* size = addSizeOption(*run, "--size", options->rawSize, "read the frames as raw files of W x H pixels");
    CLI::Option* video =
        run->add_flag("--video", options->video, "slide the window along a video, one result per frame");
    video->excludes(size)
        ->excludes(preview);
    CLI::Option* camera = run->add_option("--camera", settings.camera,
                                          "camera and lens, e.g. \"k425 FOV 25\": selects the blur")
                              ->type_name("TEXT");
    CLI::Option* reference =
        run->add_option("--reference", settings.reference,
                        "reference frame, counted back from the newest (default 3, or window - 1 if smaller)")
            ->check(CLI::Range(0, 31))
            ->type_name("N");
    std::vector<CLI::Option*> engineOnly = {
        run->add_option("--window", settings.window, "frames per reconstruction (default 5; others use the C++ engine)")
            ->check(CLI::Range(2, 32))
            ->type_name("N"),
        run->add_option("--tv-weight", settings.tvWeight, "total-variation weight, >= 1 (default 400; larger smooths less)")
            ->check(atLeast(1.0))
            ->type_name("W"),
        run->add_option("--iterations", settings.iterations, "conjugate-gradient iterations (default 8)")
            ->check(CLI::Range(1, 1000))
            ->type_name("N"),
        run->add_option("--psf-sigma", options->psfSigma,
                        "sensor blur in output pixels, instead of --camera; auto estimates it from the burst (its "
                        "last window, a video's first) and prints it")
            ->check(CLI::Validator(
                [positive = atLeast(0.01)](std::string& text) {
                    if (text == "auto") return std::string();
                    const std::string error = positive(text);
                    return error.rfind("expects", 0) == 0 ? "expects a number or auto, got '" + text + "'" : error;
                },
                ""))
            ->type_name("S|auto"),
    };
    CLI::Option* registration =
        run->add_option("--registration", options->registration,
                        "how frames are aligned: corners (corner tracking, as the C interface; default) or phase "
                        "(phase correlation, for scenes with little to track; needs moves of about 1.5 pixels or more)")
            ->check(CLI::IsMember({"corners", "phase"}))
            ->type_name("NAME");
    CLI::Option* engine =
        run->add_option("--engine", options->engine,
                        "reconstruction engine: float (default); vector, the four-lane vector engine, which does no "
                        "bad-pixel repair of the result, so use it only for frames without defective pixels; or "
                        "reference, the first-generation engine with its own phase-correlation registration")
            ->check(CLI::IsMember({"float", "vector", "reference"}))
            ->type_name("NAME");
    CLI::Option* nuc =
        run->add_option("--nuc", options->nuc,
                        "two-point radiometric calibration: LOW and HIGH are each COUNTS:VALUE, a frame of 16-bit "
                        "counts of a uniform reference scene and the value that scene shows, a number (radiance or "
                        "temperature) or a 32-bit float TIFF of one value per pixel, e.g. --nuc low.png:20 "
                        "high.png:40. Every frame (16-bit counts) is converted per pixel and super-resolved; the "
                        "result is in the values' units. Calibration pixels of equal counts, or at 32767 counts "
                        "and above (saturated), take their neighbours' calibration. Implies --engine reference; "
                        "not with --video, --preview, --stuck-pixels or --psf-sigma auto")
            ->expected(2)
            ->type_name("LOW HIGH")
            ->excludes(video)
            ->excludes(preview)
            ->excludes(registration);
    engineOnly.insert(engineOnly.end(), {registration, engine, nuc});
    for (CLI::Option* option : engineOnly) camera->excludes(option);
    engine->excludes(registration);  // the vector and reference engines have their own registration
    CLI::Option* stuck = run->add_option("--stuck-pixels", options->stuckPixels,
                    "stuck sensor pixels: auto finds them in the burst (a video's first window) and repairs them in "
                    "every frame, off leaves the frames alone, or a defect list to repair (.csv of x,y or index,x,y "
                    "lines, such as vsr simulate's stuck_pixels.csv, or a list of vsr badpixels) (default auto)")
        ->check(CLI::Validator(
            [](std::string& text) {
                if (text == "auto" || text == "off") return std::string();
                std::error_code error;
                return std::filesystem::is_regular_file(text, error)
                           ? std::string()
                           : "expects auto, off or a defect list file, got '" + text + "'";
            },
            ""))
        ->type_name("auto|off|LIST");
    nuc->excludes(stuck);  // the library repairs the converted frames itself
    run->add_flag("--verbose", settings.verbose, "let the library's timing lines through");
    // A program, not a library inside a host: all cores by default.
    settings.threads = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
    run->add_option("--threads", settings.threads,
                    "threads per reconstruction (default: the machine's cores, " + std::to_string(settings.threads) +
                        " here); any count gives the same result")
        ->check(CLI::Range(1, 256))
        ->type_name("N");

    run->callback([options, reference, engine] {
        ReconstructionSettings& settings = options->settings;
        if (!options->nuc.empty()) {
            if (engine->count() > 0 && options->engine != "reference")
                throw usage("--nuc needs the reference engine, the one that converts counts; leave out --engine");
            if (options->psfSigma == "auto") throw usage("--nuc cannot estimate the blur; give --psf-sigma a number");
            options->engine = "reference";
        }
        if (options->registration == "phase") settings.registration = RegistrationMethod::PhaseCorrelation;
        settings.vectorEngine = options->engine == "vector";
        if (!options->psfSigma.empty() && options->psfSigma != "auto")
            settings.psfSigma = std::strtof(options->psfSigma.c_str(), nullptr);
        settings.referenceEngine = options->engine == "reference";
        if (reference->count() == 0) settings.reference = std::min(3, settings.window - 1);
        else if (settings.reference >= settings.window)
            throw usage("--reference must be below the window of " + std::to_string(settings.window) + ", got " +
                        std::to_string(settings.reference));
        std::vector<std::string> inputs = options->inputs;
        for (const std::string& text : options->nuc) {
            const CalibrationPoint point = CalibrationPoint::parse(text);
            inputs.insert(inputs.end(), {point.counts, point.value});
        }
        requireDistinctPaths(inputs, {options->output, options->preview});
        if (options->video) return runVideo(*options);
        // A 16-bit PNG can hold counts; whether the frames are counts is known once they are read.
        if (!isTiff(options->output) && !(settings.referenceEngine && options->nuc.empty() && isPng(options->output)))
            throw usage(kTiffOnly);
        runStills(*options);
    });
}

}  // namespace tools
}  // namespace vorel
