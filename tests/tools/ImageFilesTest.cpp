// SPDX-License-Identifier: Proprietary
#include "ImageFiles.h"
#include "PendingFile.h"
#include "TempFolder.h"
#include "ToolFailure.h"
#include "ToolError.h"

#include <opencv2/imgcodecs.hpp>

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>

namespace vorel {
namespace tools {
namespace {

namespace fs = std::filesystem;

cv::Mat_<float> randomFloats(cv::Size size, float low, float high) {
    cv::Mat_<float> image(size);
    cv::RNG(7).fill(image, cv::RNG::UNIFORM, low, high);
    return image;
}

void writeBytes(const std::string& path, const std::vector<unsigned char>& bytes) {
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

TEST(ImageFiles, FloatTiffRoundTripIsBitExact) {
    TempFolder folder;
    cv::Mat_<float> image = randomFloats({37, 23}, -20.0f, 300.0f);
    image(0, 0) = 1e-30f;  // tiny values survive too
    writeImage(folder / "frame.tif", image);
    const cv::Mat_<float> back = readFrame(folder / "frame.tif");
    ASSERT_EQ(back.size(), image.size());
    EXPECT_EQ(cv::norm(back, image, cv::NORM_INF), 0.0);
}

TEST(ImageFiles, SixteenAndEightBitPngRoundTripKeepsCounts) {
    TempFolder folder;
    cv::Mat_<uint16_t> counts(19, 31);
    cv::RNG(3).fill(counts, cv::RNG::UNIFORM, 0, 65536);
    counts(0, 0) = 65535;
    writeImage(folder / "counts.png", counts);
    cv::Mat_<float> back = readFrame(folder / "counts.png");
    cv::Mat_<float> expected;
    counts.convertTo(expected, CV_32F);
    EXPECT_EQ(cv::norm(back, expected, cv::NORM_INF), 0.0);

    cv::Mat_<uint8_t> grey(5, 6);
    cv::RNG(4).fill(grey, cv::RNG::UNIFORM, 0, 256);
    writeImage(folder / "grey.png", grey);
    back = readFrame(folder / "grey.png");
    grey.convertTo(expected, CV_32F);
    EXPECT_EQ(cv::norm(back, expected, cv::NORM_INF), 0.0);
}

TEST(ImageFiles, RawFilesAreLittleEndianFloat32OrInt16ByLength) {
    TempFolder folder;
    // 3x1 float32: 1.5, -2.0, 1000.25 (IEEE 754 little-endian bytes)
    writeBytes(folder / "f.raw", {0x00, 0x00, 0xC0, 0x3F, 0x00, 0x00, 0x00, 0xC0, 0x00, 0x10, 0x7A, 0x44});
    const cv::Mat_<float> floats = readFrame(folder / "f.raw", {3, 1});
    EXPECT_EQ(floats(0, 0), 1.5f);
    EXPECT_EQ(floats(0, 1), -2.0f);
    EXPECT_EQ(floats(0, 2), 1000.25f);
    // 2x3 int16: 1, -1, 256, 32767, -32768, 0
    writeBytes(folder / "i.raw", {0x01, 0x00, 0xFF, 0xFF, 0x00, 0x01, 0xFF, 0x7F, 0x00, 0x80, 0x00, 0x00});
    const cv::Mat_<float> counts = readFrame(folder / "i.raw", {2, 3});
    const float expected[] = {1, -1, 256, 32767, -32768, 0};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(counts(i / 2, i % 2), expected[i]) << i;

    // Written back alike: same bytes, and the counts keep their depth.
    for (const char* name : {"f.raw", "i.raw"}) {
        SCOPED_TRACE(name);
        const cv::Size size = name[0] == 'f' ? cv::Size(3, 1) : cv::Size(2, 3);
        const cv::Mat image = readImage(folder / name, size);
        EXPECT_EQ(image.type(), name[0] == 'f' ? CV_32F : CV_16S);
        writeImage(folder / "copy.raw", image);
        EXPECT_EQ(fs::file_size(folder / "copy.raw"), fs::file_size(folder / name));
        EXPECT_EQ(cv::norm(readImage(folder / "copy.raw", size), image, cv::NORM_INF), 0.0);
    }
}

TEST(ImageFiles, ReportsUnreadableInputInOneLine) {
    TempFolder folder;
    writeBytes(folder / "short.raw", std::vector<unsigned char>(10));
    writeBytes(folder / "notes.png", {'h', 'e', 'l', 'l', 'o'});
    std::ofstream(folder / "huge.pgm") << "P5\n60000 60000\n255\n";  // beyond the decoders' pixel limit
    writeImage(folder / "colour.png", cv::Mat(4, 4, CV_8UC3, cv::Scalar(1, 2, 3)));
    fs::create_directory(folder / "sub");
    struct Case {
        std::string path;
        cv::Size rawSize;
        std::string message;
    };
    const Case cases[] = {
        {folder / "missing.png", {}, "cannot read '" + (folder / "missing.png") + "': no such file"},
        {folder / "sub", {}, "cannot read '" + (folder / "sub") + "': it is a folder"},
        {folder / "short.raw",
         {2, 2},
         "cannot read '" + (folder / "short.raw") +
             "': it has 10 bytes, but --size 2x2 needs 16 (float32) or 8 (int16)"},
        {folder / "notes.png",
         {},
         "cannot read '" + (folder / "notes.png") +
             "': unsupported format (PNG and TIFF images, raw files with --size, videos with --video)"},
        {folder / "huge.pgm",
         {},
         "cannot read '" + (folder / "huge.pgm") + "': the image data is damaged or of an unsupported kind"},
        {folder / "colour.png",
         {},
         "cannot read '" + (folder / "colour.png") + "': unsupported format: 3 channels, a thermal frame has one"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.path);
        const ToolError error = failureOf([&] { readFrame(c.path, c.rawSize); });
        EXPECT_EQ(error.code(), ExitCode::UnreadableInput);
        EXPECT_EQ(std::string(error.what()), c.message);
    }
}

TEST(ImageFiles, FailedWriteLeavesNoFileBehind) {
    TempFolder folder;
    const ToolError missingFolder =
        failureOf([&] { writeImage(folder / "no/such/out.tif", cv::Mat_<float>(2, 2, 1.0f)); });
    EXPECT_EQ(missingFolder.code(), ExitCode::UnwritableOutput);
    EXPECT_EQ(std::string(missingFolder.what()), "cannot write '" + (folder / "no/such/out.tif") + "': folder '" +
                                                     (folder / "no/such") + "' does not exist");

    // PNG has no two-channel kind: the encoder refuses.
    const ToolError encoder =
        failureOf([&] { writeImage(folder / "out.png", cv::Mat(2, 2, CV_8UC2, cv::Scalar::all(1))); });
    EXPECT_EQ(encoder.code(), ExitCode::UnwritableOutput);
    EXPECT_TRUE(fs::is_empty(folder.path()));

    const ToolError format = failureOf([&] { writeImage(folder / "out.xyz", cv::Mat_<float>(2, 2, 1.0f)); });
    EXPECT_EQ(std::string(format.what()), "cannot write '" + (folder / "out.xyz") + "': unsupported image format");
}

TEST(PendingFile, AppearsUnderItsNameOnlyOnCommit) {
    TempFolder folder;
    {
        PendingFile file(folder / "result.txt");
        EXPECT_EQ(fs::path(file.temporary()).parent_path(), fs::path(folder.path()));
        EXPECT_EQ(fs::path(file.temporary()).extension(), ".txt");
        std::ofstream(file.temporary()) << "abandoned";
    }
    EXPECT_TRUE(fs::is_empty(folder.path()));
    {
        PendingFile file(folder / "result.txt");
        std::ofstream(file.temporary()) << "kept";
        file.commit();
    }
    std::ifstream in(folder / "result.txt");
    std::string text;
    in >> text;
    EXPECT_EQ(text, "kept");
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()), 1);
    // What an interrupted run's signal handler calls: every live temporary goes.
    PendingFile first(folder / "a.tif"), second(folder / "b.tif");
    std::ofstream(first.temporary()) << "partial";
    std::ofstream(second.temporary()) << "partial";
    PendingFile::removeAllPending();
    EXPECT_FALSE(fs::exists(first.temporary()));
    EXPECT_FALSE(fs::exists(second.temporary()));
}

}  // namespace
}  // namespace tools
}  // namespace vorel
