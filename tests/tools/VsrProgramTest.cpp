// SPDX-License-Identifier: Proprietary
// Runs the vsr program as a user would and checks exit codes, messages and results.
#include "CountsSensor.h"
#include "ImageFiles.h"
#include "QualityMetrics.h"
#include "StreamSilencer.h"
#include "TempFolder.h"
#include "Upsampling.h"

#include "vision/superresolution/api/vision_superresolution_version.h"
#include "vision/superresolution/reference/SuperResolution.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace vorel {
namespace tools {
namespace {

namespace fs = std::filesystem;

struct ProgramRun {
    int exitCode = -1;
    std::string out, err;
};

std::string quoted(const std::string& text) {
    std::string result = "'";
    for (char c : text) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return result + "'";
}

std::string slurp(const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

ProgramRun vsr(const std::vector<std::string>& args) {
    const TempFolder capture;
    std::string command = quoted(VSR_PROGRAM);
    for (const std::string& arg : args) command += " " + quoted(arg);
    command += " >" + quoted(capture / "out") + " 2>" + quoted(capture / "err") + " </dev/null";
    const int status = std::system(command.c_str());
    ProgramRun run;
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    run.out = slurp(capture / "out");
    run.err = slurp(capture / "err");
    return run;
}

void writeFrames(const TempFolder& folder, const std::vector<cv::Size>& sizes) {
    for (size_t i = 0; i < sizes.size(); ++i) {
        cv::Mat_<float> frame(sizes[i]);
        cv::RNG(int(i)).fill(frame, cv::RNG::UNIFORM, 20.0f, 30.0f);
        writeImage(folder / ("f" + std::to_string(i) + ".tif"), frame);
    }
}

std::vector<std::string> framePaths(const TempFolder& folder, int count) {
    std::vector<std::string> paths;
    for (int i = 0; i < count; ++i) paths.push_back(folder / ("f" + std::to_string(i) + ".tif"));
    return paths;
}

TEST(VsrProgram, HelpListsCommandsAndExitCodes) {
    const ProgramRun top = vsr({"--help"});
    EXPECT_EQ(top.exitCode, 0);
    EXPECT_NE(top.out.find("Exit codes:"), std::string::npos);
    EXPECT_NE(top.out.find("  4  the frames cannot form a burst"), std::string::npos);
    for (const char* command : {"run", "simulate", "score", "badpixels", "demo"}) {
        SCOPED_TRACE(command);
        EXPECT_NE(top.out.find(std::string("\n  ") + command + " "), std::string::npos);
        const ProgramRun help = vsr({command, "--help"});
        EXPECT_EQ(help.exitCode, 0);
        EXPECT_EQ(help.out.rfind(std::string("Usage: vsr ") + command, 0), 0u);
        EXPECT_EQ(help.err, "");
    }
    const ProgramRun version = vsr({"--version"});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_EQ(version.out, "vsr " VISION_SUPERRESOLUTION_VERSION_STRING "\n");
}

TEST(VsrProgram, BadCommandLinesExitWithUsageCode) {
    struct Case {
        std::vector<std::string> args;
        std::string message;
    };
    const Case cases[] = {
        {{}, "vsr: no command given (see 'vsr --help')\n"},
        {{"enhance"}, "vsr: unknown command 'enhance' (see 'vsr --help')\n"},
        {{"run", "a.tif", "-o", "out.tif", "--colour", "x"},
         "vsr run: The following argument was not expected: --colour (see 'vsr run --help')\n"},
        {{"run", "a.tif"}, "vsr run: -o is required (see 'vsr run --help')\n"},
        {{"run", "-o", "out.tif"}, "vsr run: FRAME is required (see 'vsr run --help')\n"},
        {{"run", "a.tif", "-o", "out.png"},
         "vsr run: -o must name a .tif file (32-bit float); use --preview for a PNG (see 'vsr run --help')\n"},
        {{"run", "a.tif", "-o", "out.tif", "--reference", "5"},
         "vsr run: --reference must be below the window of 5, got 5 (see 'vsr run --help')\n"},
        {{"run", "a.tif", "-o", "out.tif", "--window", "40"},
         "vsr run: --window: Value 40 not in range 2 to 32 (see 'vsr run --help')\n"},
        {{"run", "a.tif", "-o", "out.tif", "--tv-weight", "0.5"},
         "vsr run: --tv-weight: must be at least 1, got 0.5 (see 'vsr run --help')\n"},
        {{"run", "a.tif", "-o", "out.tif", "--size", "12by3"},
         "vsr run: --size: expects WIDTHxHEIGHT, e.g. 160x120, got '12by3' (see 'vsr run --help')\n"},
        {{"run", "a.tif", "-o", "out.tif", "--size", "99999999999x1"},
         "vsr run: --size: sides must be between 1 and 1000000, got '99999999999x1' (see 'vsr run --help')\n"},
        {{"run", "a.tif", "-o", "out.tif", "--engine", "vector", "--registration", "phase"},
         "vsr run: --registration excludes --engine (see 'vsr run --help')\n"},
        {{"run", "a.tif", "-o", "out.tif", "--threads", "0"},
         "vsr run: --threads: Value 0 not in range 1 to 256 (see 'vsr run --help')\n"},
        {{"run", "a.tif", "-o", "out.tif", "--registration", "edges"},
         "vsr run: --registration: edges not in {corners,phase} (see 'vsr run --help')\n"},
        {{"run", "a.tif", "-o", "out.tif", "--camera", "k410 FOV 24", "--window", "7"},
         "vsr run: --camera excludes --window (see 'vsr run --help')\n"},
        {{"run", "a.tif", "-o", "a.tif"}, "vsr run: 'a.tif' is an input; refusing to overwrite it (see 'vsr run --help')\n"},
        {{"run", "a.tif", "-o", "out.tif", "--preview", "./out.tif"},
         "vsr run: './out.tif' is named for two outputs (see 'vsr run --help')\n"},
        {{"run", "a.tif", "-o", "out.tif", "--psf-sigma", "wide"},
         "vsr run: --psf-sigma: expects a number or auto, got 'wide' (see 'vsr run --help')\n"},
        {{"run", "a.tif", "-o", "out.tif", "--stuck-pixels", "none.csv"},
         "vsr run: --stuck-pixels: expects auto, off or a defect list file, got 'none.csv' (see 'vsr run --help')\n"},
        {{"simulate", "-o", "x", "--size", "16x16", "--stuck", "3"},
         "vsr simulate: --stuck must be at most 2 for this size (see 'vsr simulate --help')\n"},
        {{"simulate", "-o", "x", "--scene", "moon"},
         "vsr simulate: --scene: moon not in {building,people,star} (see 'vsr simulate --help')\n"},
        {{"badpixels", "find", "flat.png"}, "vsr badpixels find: -o is required (see 'vsr badpixels find --help')\n"},
        {{"demo", "extra"}, "vsr demo: The following argument was not expected: extra (see 'vsr demo --help')\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message);
        const ProgramRun run = vsr(c.args);
        EXPECT_EQ(run.exitCode, 2);
        EXPECT_EQ(run.err, c.message);
        EXPECT_EQ(run.out, "");
    }
}

TEST(VsrProgram, BadInputsExitWithTheirCodesAndOneLine) {
    TempFolder folder;
    writeFrames(folder, {{32, 24}, {32, 24}, {32, 24}, {32, 24}, {32, 24}});
    cv::Mat_<float> odd(20, 32, 25.0f);
    writeImage(folder / "odd.tif", odd);
    std::ofstream(folder / "notes.tif") << "not an image";
    std::ofstream(folder / "short.raw") << "12345";
    std::ofstream(folder / "good.raw") << std::string(64, '\0');
    writeImage(folder / "whole.png", cv::Mat_<uint16_t>(24, 32, uint16_t(3000)));
    fs::resize_file(folder / "whole.png", fs::file_size(folder / "whole.png") / 2);
    std::vector<std::string> five = framePaths(folder, 5);
    const std::string out = folder / "out.tif";

    struct Case {
        std::vector<std::string> inputs;
        std::vector<std::string> options;
        int exitCode;
        std::string message;
    };
    std::vector<std::string> withMissing = five, withOdd = five, withNotes = five, withTruncated = five;
    withMissing[2] = folder / "missing.tif";
    withOdd[3] = folder / "odd.tif";
    withNotes[1] = folder / "notes.tif";
    // Ramps have contrast but no corner to track: no window registers.
    std::vector<std::string> ramps;
    for (int i = 0; i < 5; ++i) {
        cv::Mat_<float> ramp(24, 32);
        for (int x = 0; x < ramp.cols; ++x) ramp.col(x) = 20.0f + 0.5f * x + 0.01f * i;
        ramps.push_back(folder / ("ramp" + std::to_string(i) + ".tif"));
        writeImage(ramps.back(), ramp);
    }
    withTruncated[2] = folder / "whole.png";
    const std::string raw = folder / "good.raw";
    const Case cases[] = {
        {withMissing, {}, 3, "vsr run: cannot read '" + (folder / "missing.tif") + "': no such file\n"},
        {withNotes,
         {},
         3,
         "vsr run: cannot read '" + (folder / "notes.tif") +
             "': unsupported format (PNG and TIFF images, raw files with --size, videos with --video)\n"},
        {withOdd,
         {},
         4,
         "vsr run: '" + (folder / "odd.tif") + "' is 32x20, but '" + five[0] +
             "' is 32x24: all frames must have one size\n"},
        {{five[0], five[1], five[2]}, {}, 4, "vsr run: 5 frames needed, got 3\n"},
        {{five[0], five[1], five[2], five[3], five[4], five[0]},
         {"--window", "7"},
         4,
         "vsr run: 7 frames needed, got 6\n"},
        // The decoder's own complaint stays off the screen.
        {withTruncated,
         {},
         3,
         "vsr run: cannot read '" + (folder / "whole.png") +
             "': the image data is damaged or of an unsupported kind\n"},
        {{raw, raw, folder / "short.raw", raw, raw},
         {"--size", "4x4"},
         3,
         "vsr run: cannot read '" + (folder / "short.raw") +
             "': it has 5 bytes, but --size 4x4 needs 64 (float32) or 32 (int16)\n"},
        {{raw, "/dev/zero", raw, raw, raw},
         {"--size", "4x4"},
         3,
         "vsr run: cannot read '/dev/zero': it has more than 64 bytes, but --size 4x4 needs 64 (float32) or 32 "
         "(int16)\n"},
        // Checked against the file's length before 40 GB are asked for.
        {{raw, raw, raw, raw, raw},
         {"--size", "100000x100000"},
         3,
         "vsr run: cannot read '" + raw +
             "': it has 64 bytes, but --size 100000x100000 needs 40000000000 (float32) or 20000000000 (int16)\n"},
        {five,
         {"-o", folder / "no/such/out.tif"},
         5,
         "vsr run: cannot write '" + (folder / "no/such/out.tif") + "': folder '" + (folder / "no/such") +
             "' does not exist\n"},
        {ramps,
         {},
         6,
         "vsr run: no window of frames could be registered, so there is no result (frames too flat or too "
         "different)\n"},
        {five,
         {"--preview", folder / "preview.xyz"},
         5,
         "vsr run: cannot write '" + (folder / "preview.xyz") + "': unsupported image format\n"},
        {{folder / "notes.tif"},
         {"--video"},
         3,
         "vsr run: cannot read '" + (folder / "notes.tif") +
             "': unsupported format (not a video that OpenCV can decode)\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message);
        std::vector<std::string> args{"run"};
        args.insert(args.end(), c.inputs.begin(), c.inputs.end());
        args.insert(args.end(), c.options.begin(), c.options.end());
        if (std::find(c.options.begin(), c.options.end(), "-o") == c.options.end()) {
            args.push_back("-o");
            args.push_back(out);
        }
        const ProgramRun run = vsr(args);
        EXPECT_EQ(run.exitCode, c.exitCode);
        EXPECT_EQ(run.err, c.message);
        EXPECT_FALSE(fs::exists(out));
    }
    // Nothing half-written is left behind.
    for (const auto& entry : fs::directory_iterator(folder.path()))
        EXPECT_EQ(entry.path().filename().string().find(".part"), std::string::npos) << entry.path();
}

TEST(VsrProgram, SimulateThenRunBeatsBicubicAgainstTheWrittenTruth) {
    TempFolder folder;
    const ProgramRun simulate = vsr({"simulate", "-o", folder / "burst", "--size", "96x72", "--seed", "5"});
    ASSERT_EQ(simulate.exitCode, 0) << simulate.err;
    EXPECT_EQ(simulate.out, "wrote 5 frames of 96x72, truth.tif and shifts.csv to " + (folder / "burst") +
                                "\nreference frame: frame_01.tif\n");
    std::vector<std::string> args{"run"};
    for (int i = 0; i < 5; ++i) args.push_back(folder / ("burst/frame_0" + std::to_string(i) + ".tif"));
    args.insert(args.end(), {"-o", folder / "result.tif", "--preview", folder / "preview.png"});
    const ProgramRun run = vsr(args);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(
        run.out.rfind("wrote " + (folder / "result.tif") + " (192x144, 32-bit float) from 5 frames; reference frame: " +
                          (folder / "burst/frame_01.tif") + "\n",
                      0),
        0u)
        << run.out;
    EXPECT_NE(run.out.find("\nno warning from the library\n"), std::string::npos) << run.out;
    EXPECT_EQ(run.out.find("SrFloat"), std::string::npos) << "library timing lines leaked";

    const cv::Mat_<float> truth = readFrame(folder / "burst/truth.tif");
    const cv::Mat_<float> result = readFrame(folder / "result.tif");
    const cv::Mat_<float> bicubic = upsample(readFrame(folder / "burst/frame_01.tif"), cv::INTER_CUBIC);
    ASSERT_EQ(result.size(), truth.size());
    const Quality ours = compareAligned(result, truth), theirs = compareAligned(bicubic, truth);
    EXPECT_GT(ours.psnr, theirs.psnr + 0.5) << "super-resolved " << ours.psnr << " dB, bicubic " << theirs.psnr;
    EXPECT_GT(ours.ssim, theirs.ssim);
    const cv::Mat preview = cv::imread(folder / "preview.png");
    EXPECT_EQ(preview.size(), cv::Size(2 * 192 + 8, 144 + 24));
}

TEST(VsrProgram, EngineOptionsReportTheQualityFigure) {
    TempFolder folder;
    ASSERT_EQ(vsr({"simulate", "-o", folder.path(), "--size", "64x48", "--frames", "7"}).exitCode, 0);
    std::vector<std::string> args{"run"};
    for (int i = 0; i < 7; ++i) args.push_back(folder / ("frame_0" + std::to_string(i) + ".tif"));
    args.insert(args.end(),
                {"-o", folder / "result.tif", "--window", "7", "--psf-sigma", "0.683", "--iterations", "10"});
    const ProgramRun run = vsr(args);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    // The frames overlap almost everywhere: close to the top figure of 2.
    float figure = 0.0f;
    const size_t at = run.out.find("quality figure ");
    ASSERT_NE(at, std::string::npos) << run.out;
    ASSERT_EQ(std::sscanf(run.out.c_str() + at, "quality figure %f", &figure), 1);
    EXPECT_GT(figure, 1.8f);
    EXPECT_LE(figure, 2.0f);
    EXPECT_EQ(cv::imread(folder / "result.tif", cv::IMREAD_UNCHANGED).size(), cv::Size(128, 96));

    // Short windows take the oldest frame as reference unless told otherwise.
    const ProgramRun three = vsr({"run", args[1], args[2], args[3], "-o", folder / "three.tif", "--window", "3"});
    EXPECT_EQ(three.exitCode, 0) << three.err;
    const ProgramRun vector = vsr({"run", args[1], args[2], args[3], args[4], args[5], "-o", folder / "vector.tif",
                                   "--engine", "vector", "--stuck-pixels", "off"});
    EXPECT_EQ(vector.exitCode, 0) << vector.err;

    // Phase correlation, on moves it can find.
    ASSERT_EQ(vsr({"simulate", "-o", folder / "moved", "--size", "64x48", "--scene", "star", "--max-shift", "3"})
                  .exitCode,
              0);
    std::vector<std::string> phase{"run", "-o", folder / "phase.tif", "--registration", "phase"};
    for (int i = 0; i < 5; ++i) phase.push_back(folder / ("moved/frame_0" + std::to_string(i) + ".tif"));
    const ProgramRun byPhase = vsr(phase);
    EXPECT_EQ(byPhase.exitCode, 0) << byPhase.err;
    EXPECT_NE(byPhase.out.find("quality figure "), std::string::npos) << byPhase.out;

    // The first-generation engine on the same frames, its log kept off stdout.
    phase[2] = folder / "reference.tif";
    phase[3] = "--engine";
    phase[4] = "reference";
    const ProgramRun byReference = vsr(phase);
    EXPECT_EQ(byReference.exitCode, 0) << byReference.err;
    EXPECT_EQ(byReference.out.find("+++"), std::string::npos) << byReference.out;
    EXPECT_NE(byReference.out.find("quality figure "), std::string::npos) << byReference.out;
}

cv::Mat_<short> readCounts(const std::string& path) {
    cv::Mat_<short> counts;
    readImage(path).convertTo(counts, CV_16S);
    return counts;
}

// The burst of counts, run with the command line vsr simulate prints.
TEST(VsrProgram, SimulatedCountsThroughNucBeatBicubicOfTheConvertedReference) {
    TempFolder folder;
    const ProgramRun simulate = vsr({"simulate", "-o", folder.path(), "--counts", "--size", "96x72", "--seed", "5"});
    ASSERT_EQ(simulate.exitCode, 0) << simulate.err;
    const size_t at = simulate.out.find("\ntry: vsr run ");
    ASSERT_NE(at, std::string::npos) << simulate.out;
    std::istringstream line(simulate.out.substr(at + 9));
    std::vector<std::string> args;
    for (std::string word; line >> word;) args.push_back(word == "result.tif" ? folder / "result.tif" : word);
    const ProgramRun run = vsr(args);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_NE(run.out.find("\ncalibration: every pixel usable\n"), std::string::npos) << run.out;

    const cv::Mat_<float> truth = readFrame(folder / "truth.tif");
    const cv::Mat_<float> converted = CountsSensor::convert(readCounts(folder / "frame_01.png"),
                                                            readCounts(folder / "low.png"), 20.0f,
                                                            readCounts(folder / "high.png"), 40.0f);
    const Quality ours = compareAligned(readFrame(folder / "result.tif"), truth);
    const Quality bicubic = compareAligned(upsample(converted, cv::INTER_CUBIC), truth);
    RecordProperty("psnr_db", std::to_string(ours.psnr));
    RecordProperty("bicubic_psnr_db", std::to_string(bicubic.psnr));
    EXPECT_GT(ours.psnr, bicubic.psnr + 2.0) << "super-resolved " << ours.psnr << " dB, bicubic " << bicubic.psnr;
}

// The short path gives what the engine writes for the same counts, as 16 bits.
TEST(VsrProgram, CountsThroughTheReferenceEngineGiveItsCountsResult) {
    TempFolder folder;
    ASSERT_EQ(vsr({"simulate", "-o", folder.path(), "--counts", "--size", "64x48"}).exitCode, 0);
    std::vector<std::string> args{"run", "--engine", "reference", "--stuck-pixels", "off"};
    for (int i = 0; i < 5; ++i) args.push_back(folder / ("frame_0" + std::to_string(i) + ".png"));
    cv::Mat_<short> expected(96, 128);
    {
        StreamSilencer quiet(STDOUT_FILENO, true);
        vision::SuperResolution engine(64, 48, 5, 2.0f);
        engine.setReferenceIndex(3);
        engine.setWeightTV(400.0f);
        engine.setRegError(0.0001f);
        engine.setRelativeResidue(0.007f);
        for (size_t i = args.size() - 5; i < args.size(); ++i) engine.addFrame(readCounts(args[i])[0]);
        engine.computeSR(expected[0]);
    }
    for (const char* name : {"counts.png", "counts.tif"}) {
        SCOPED_TRACE(name);
        std::vector<std::string> all = args;
        all.insert(all.end(), {"-o", folder / name});
        const ProgramRun run = vsr(all);
        ASSERT_EQ(run.exitCode, 0) << run.err;
        EXPECT_NE(run.out.find(" (128x96, 16-bit counts) "), std::string::npos) << run.out;
        const cv::Mat written = cv::imread(folder / name, cv::IMREAD_UNCHANGED);
        ASSERT_EQ(written.type(), CV_16UC1);
        EXPECT_EQ(cv::norm(readCounts(folder / name), cv::max(expected, 0), cv::NORM_INF), 0.0);
    }
}

TEST(VsrProgram, BadCalibrationsGetOneLine) {
    TempFolder folder;
    ASSERT_EQ(vsr({"simulate", "-o", folder.path(), "--counts", "--size", "32x24"}).exitCode, 0);
    cv::Mat low = cv::imread(folder / "low.png", cv::IMREAD_UNCHANGED), saturated = low.clone();
    saturated(cv::Rect(0, 0, 3, 3)).setTo(65535);  // four corner pixels keep no usable neighbour
    saturated.at<uint16_t>(10, 10) = 40000;
    writeImage(folder / "saturated.png", saturated);
    writeImage(folder / "small.png", low(cv::Rect(0, 0, 32, 20)));
    writeImage(folder / "hot.png", cv::Mat(low.size(), CV_16U, cv::Scalar(40000)));
    std::vector<std::string> frames;
    for (int i = 0; i < 5; ++i) frames.push_back(folder / ("frame_0" + std::to_string(i) + ".png"));
    const std::string high = folder / "high.png:40", low20 = folder / "low.png:20";
    const struct {
        std::vector<std::string> options;
        int exitCode;
        std::string message;  // on stderr, or a line on stdout for exit code 0
    } rows[] = {
        {{"--nuc", low20, folder / "high.png:"}, 2,
         "vsr run: --nuc: '" + folder / "high.png:" + "' needs COUNTS:VALUE, a frame of counts and the value its "
         "scene shows, e.g. low.png:20 (see 'vsr run --help')\n"},
        {{"--nuc", low20, folder / "high.png:20"}, 2,
         "vsr run: --nuc: both points have the same value at every pixel; the two reference scenes must show "
         "different values (see 'vsr run --help')\n"},
        {{"--nuc", low20, folder / "low.png:40"}, 4,
         "vsr run: --nuc: '" + folder / "low.png" + "' and '" + folder / "low.png" +
             "' differ at no pixel below 32767 counts; the two reference scenes must give different counts\n"},
        {{"--nuc", folder / "small.png:20", high}, 4,
         "vsr run: '" + folder / "small.png" + "' is 32x20, but the frames are 32x24: calibration files must have "
         "their size\n"},
        {{"--nuc", folder / "none.png:20", high}, 3,
         "vsr run: cannot read '" + folder / "none.png" + "': no such file\n"},
        {{"--nuc", low20, high, "--engine", "vector"}, 2,
         "vsr run: --nuc needs the reference engine, the one that converts counts; leave out --engine (see 'vsr run "
         "--help')\n"},
        {{folder / "hot.png", "--engine", "reference"}, 3,
         "vsr run: cannot read '" + folder / "hot.png" + "': counts above 32767 do not fit the engine's signed "
         "16-bit counts\n"},
        {{"--nuc", folder / "saturated.png:20", high}, 0,
         "calibration: 10 pixels unusable (equal or saturated counts, or beyond +-1000 per count): 6 repaired "
         "from their neighbours, 4 left NaN, which every converted frame then has repaired as defective pixels\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.message);
        std::vector<std::string> args{"run", frames[0], frames[1], frames[2], frames[3]};
        args.insert(args.end(), row.options.begin(), row.options.end());
        if (args[5] != folder / "hot.png") args.insert(args.begin() + 5, frames[4]);
        args.insert(args.end(), {"-o", folder / "out.tif"});
        const ProgramRun run = vsr(args);
        EXPECT_EQ(run.exitCode, row.exitCode);
        EXPECT_NE((row.exitCode == 0 ? run.out : run.err).find(row.message), std::string::npos) << run.out << run.err;
        EXPECT_EQ(fs::exists(folder / "out.tif"), row.exitCode == 0);
    }
}

TEST(VsrProgram, StuckPixelsAndTheBlurAreHandledAndReported) {
    TempFolder folder;
    ASSERT_EQ(vsr({"simulate", "-o", folder.path(), "--size", "96x72", "--stuck", "8"}).exitCode, 0);
    std::vector<std::string> args{"run"};
    for (int i = 0; i < 5; ++i) args.push_back(folder / ("frame_0" + std::to_string(i) + ".tif"));
    const auto run = [&](const std::vector<std::string>& options) {
        std::vector<std::string> all = args;
        all.insert(all.end(), options.begin(), options.end());
        return vsr(all);
    };
    const ProgramRun found = run({"-o", folder / "found.tif"});
    ASSERT_EQ(found.exitCode, 0) << found.err;
    EXPECT_NE(found.out.find("\nstuck pixels: 8 found and repaired in every frame\n"), std::string::npos) << found.out;
    const ProgramRun listed =
        run({"-o", folder / "listed.tif", "--stuck-pixels", folder / "stuck_pixels.csv", "--psf-sigma", "auto"});
    ASSERT_EQ(listed.exitCode, 0) << listed.err;
    EXPECT_NE(listed.out.find("\nstuck pixels: 8 from " + (folder / "stuck_pixels.csv") + " repaired in every frame\n"),
              std::string::npos)
        << listed.out;
    EXPECT_NE(listed.out.find("\nblur: sigma 0."), std::string::npos) << listed.out;
    const ProgramRun ignored = run({"-o", folder / "ignored.tif", "--stuck-pixels", "off"});
    ASSERT_EQ(ignored.exitCode, 0) << ignored.err;
    const cv::Mat_<float> truth = readFrame(folder / "truth.tif");
    for (const char* name : {"found.tif", "listed.tif"})
        EXPECT_GT(compareAligned(readFrame(folder / name), truth).psnr,
                  compareAligned(readFrame(folder / "ignored.tif"), truth).psnr + 5.0)
            << name;

    // Too short a burst for either: one line each, and the defaults.
    const ProgramRun three =
        vsr({"run", args[1], args[2], args[3], "-o", folder / "three.tif", "--window", "3", "--psf-sigma", "auto"});
    EXPECT_EQ(three.exitCode, 0);
    EXPECT_EQ(three.err,
              "stuck pixels: not looked for: 4 frames needed, got 3\n"
              "blur: not estimated: 4 frames needed, got 3; using the default 0.683\n");
}

TEST(VsrProgram, ShiftsFileHoldsTheTrueShifts) {
    TempFolder folder;
    ASSERT_EQ(vsr({"simulate", "-o", folder.path(), "--size", "32x24", "--frames", "3", "--reference", "0",
                   "--max-shift", "0.5", "--bad-pixels", "2"})
                  .exitCode,
              0);
    std::ifstream shifts(folder / "shifts.csv");
    std::string line;
    std::getline(shifts, line);
    EXPECT_EQ(line, "frame,x,y");
    int rows = 0;
    while (std::getline(shifts, line)) {
        int frame = -1;
        float x = 9.0f, y = 9.0f;
        ASSERT_EQ(std::sscanf(line.c_str(), "%d,%f,%f", &frame, &x, &y), 3) << line;
        EXPECT_EQ(frame, rows++);
        EXPECT_LE(std::abs(x), 0.5f);
        EXPECT_LE(std::abs(y), 0.5f);
        if (frame == 2) {
            EXPECT_EQ(line, "2,0.000000,0.000000");  // the newest frame is the reference
        }
    }
    EXPECT_EQ(rows, 3);
    EXPECT_TRUE(fs::exists(folder / "bad_pixels.csv"));
    EXPECT_TRUE(fs::exists(folder / "truth.tif"));
}

TEST(VsrProgram, VideoModeWritesOneResultPerFrameFromTheFifth) {
    TempFolder folder;
    const ProgramRun simulate =
        vsr({"simulate", "-o", folder.path(), "--size", "64x48", "--frames", "7", "--noise", "0"});
    ASSERT_EQ(simulate.exitCode, 0) << simulate.err;
    cv::VideoWriter video(folder / "burst.avi", cv::VideoWriter::fourcc('M', 'J', 'P', 'G'), 10.0, {64, 48}, false);
    ASSERT_TRUE(video.isOpened());
    for (int i = 0; i < 7; ++i) {
        cv::Mat grey;
        readFrame(folder / ("frame_0" + std::to_string(i) + ".tif")).convertTo(grey, CV_8U, 8.0, -60.0);
        video.write(grey);
    }
    video.release();
    const ProgramRun run = vsr({"run", "--video", folder / "burst.avi", "-o", folder / "results"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out, "wrote 3 results to " + (folder / "results") + " (frames 5 to 7)\n");
    for (int frame = 5; frame <= 7; ++frame) {
        const cv::Mat_<float> result = readFrame(folder / ("results/frame_00000" + std::to_string(frame) + ".tif"));
        EXPECT_EQ(result.size(), cv::Size(128, 96));
    }
    EXPECT_FALSE(fs::exists(folder / "results/frame_000004.tif"));
    // The blur estimated on the first window serves the whole video.
    const ProgramRun estimated =
        vsr({"run", "--video", folder / "burst.avi", "-o", folder / "estimated", "--psf-sigma", "auto"});
    ASSERT_EQ(estimated.exitCode, 0) << estimated.err;
    EXPECT_EQ(estimated.out.rfind("wrote 3 results to " + (folder / "estimated") + " (frames 5 to 7)\nblur: sigma ", 0),
              0u)
        << estimated.out;

    const ProgramRun toVideo = vsr({"run", "--video", folder / "burst.avi", "-o", folder / "results.avi"});
    ASSERT_EQ(toVideo.exitCode, 0) << toVideo.err;
    cv::VideoCapture written(folder / "results.avi");
    cv::Mat frame;
    int frames = 0;
    while (written.read(frame)) {
        EXPECT_EQ(frame.size(), cv::Size(128, 96));
        ++frames;
    }
    EXPECT_EQ(frames, 3);
}

TEST(VsrProgram, DemoFinishesAndScoresBothMethods) {
    TempFolder folder;
    const ProgramRun demo = vsr({"demo", "-o", folder.path()});
    ASSERT_EQ(demo.exitCode, 0) << demo.err;
    EXPECT_NE(demo.out.find("super-resolved"), std::string::npos);
    EXPECT_NE(demo.out.find("bicubic"), std::string::npos);
    for (const char* name : {"truth.tif", "bicubic.tif", "result.tif", "preview.png"})
        EXPECT_TRUE(fs::exists(folder / name)) << name;
}

}  // namespace
}  // namespace tools
}  // namespace vorel
