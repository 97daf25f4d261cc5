// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/api/vision_superresolution.h"

#include "BurstSimulator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <dirent.h>
#include <functional>
#include <limits>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr int width = 64;
constexpr int height = 48;
constexpr int failure = -999;

std::string lastError() {
    char text[256] = {0};
    SuperResolution_getErrorMessage(text, sizeof text - 1);
    return text;
}

// Releases the context at the end of a test, so that every test starts with free slots.
struct Context {
    explicit Context(int w = width, int h = height) : handle(SuperResolution_init(w, h)) {}
    ~Context() { SuperResolution_release(handle); }
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;
    int handle;
};

vorel::tools::BurstSimulator scene() {
    vorel::tools::BurstSettings settings;
    settings.frameSize = {width, height};
    settings.blur = 0.5f;
    settings.noise = 0.02f;
    return vorel::tools::BurstSimulator(settings);
}

// Frames of one scene, moved by sub-pixel steps.
std::vector<cv::Mat_<float>> burst(int count, float contrast = 1.0f) {
    const vorel::tools::BurstSimulator source = scene();
    cv::RNG noise(17);
    static const cv::Point2f shifts[] = {{0.0f, 0.0f},    {0.5f, 0.25f},   {-0.25f, 0.5f},  {0.75f, -0.5f},
                                         {0.25f, 0.875f}, {-0.5f, -0.25f}, {1.125f, 0.375f}};
    std::vector<cv::Mat_<float>> frames;
    for (int i = 0; i < count; ++i) {
        cv::Mat_<float> frame = source.frame(shifts[i % 7], noise);
        frames.push_back(30.0f + (frame - 30.0f) * contrast);
    }
    return frames;
}

// Noise far above the scene's detail: registration can no longer trust these pixels.
void spoil(cv::Mat_<float> area) {
    cv::Mat_<float> noise(area.size());
    cv::RNG(7).fill(noise, cv::RNG::NORMAL, 0.0, 20.0);
    area += noise;
}

bool allFinite(const std::vector<float>& values) {
    for (float v : values) {
        if (!std::isfinite(v)) return false;
    }
    return true;
}

// The query answers -5 before the fifth frame, with the output size written all the same.
void expectQueryBeforeFifthFrame(int handle, int frameWidth, int frameHeight) {
    int w = 0;
    int h = 0;
    EXPECT_EQ(SuperResolution_queryOutputImageSize(handle, &w, &h), -5);
    EXPECT_EQ(lastError(), "Not enough input images (<5)");
    EXPECT_EQ(w, 2 * frameWidth);
    EXPECT_EQ(h, 2 * frameHeight);
}

std::vector<float> nanImage() {
    return std::vector<float>(4 * width * height, std::numeric_limits<float>::quiet_NaN());
}

TEST(SuperResolutionApi, InitTakesTheLowestFreeSlot) {
    const int first = SuperResolution_init(width, height);
    const int second = SuperResolution_init(width, height);
    const int third = SuperResolution_init(width, height);
    ASSERT_GE(first, 0);
    EXPECT_EQ(second, first + 1);
    EXPECT_EQ(third, first + 2);
    EXPECT_EQ(SuperResolution_release(second), 0);
    EXPECT_EQ(SuperResolution_init(8, 6), second);  // reused, with the new size
    expectQueryBeforeFifthFrame(second, 8, 6);
    for (int handle : {first, second, third}) EXPECT_EQ(SuperResolution_release(handle), 0);
}

TEST(SuperResolutionApi, InitRejectsUnusableSizesWithoutTakingASlot) {
    const int max = std::numeric_limits<int>::max();
    const std::pair<int, int> sizes[] = {{-5, -5}, {64, -1},   {100000, 100000}, {max, 1},
                                         {0, max}, {32769, 1}, {4097, 4096}};
    for (const auto& size : sizes) {
        SCOPED_TRACE(testing::Message() << size.first << " x " << size.second);
        EXPECT_EQ(SuperResolution_init(size.first, size.second), -1);
        EXPECT_EQ(lastError(),
                  "Invalid image size " + std::to_string(size.first) + " x " + std::to_string(size.second) +
                      ": width and height must lie in 0..32768 and their product must not exceed 16777216.");
    }
    // The slot the failures tried is still free, and the largest sides are accepted.
    const int free = SuperResolution_init(0, 0);
    ASSERT_GE(free, 0);
    SuperResolution_release(free);
    for (const auto& size : {std::make_pair(32768, 1), std::make_pair(1, 32768)}) {
        Context context(size.first, size.second);
        EXPECT_EQ(context.handle, free);
    }
}

TEST(SuperResolutionApi, InvalidHandlesAnswerContextInvalid) {
    const int released = SuperResolution_init(width, height);
    ASSERT_EQ(SuperResolution_release(released), 0);
    const std::vector<float> frame(width * height, 30.0f);
    std::vector<float> out = nanImage();
    int w = 0;
    int h = 0;
    const std::vector<std::pair<const char*, std::function<int(int)>>> calls = {
        {"release", [](int c) { return SuperResolution_release(c); }},
        {"setReferenceFrame", [](int c) { return SuperResolution_setReferenceFrame(c, 1); }},
        {"setThreadCount", [](int c) { return SuperResolution_setThreadCount(c, 2); }},
        {"addImage", [&](int c) { return SuperResolution_addImage(c, frame.data()); }},
        {"addImage NULL", [](int c) { return SuperResolution_addImage(c, nullptr); }},
        {"queryOutputImageSize", [&](int c) { return SuperResolution_queryOutputImageSize(c, &w, &h); }},
        {"getSuperresolutionImage", [&](int c) { return SuperResolution_getSuperresolutionImage(c, out.data()); }},
    };
    for (int handle : {-1, released, released + 1, 100000}) {
        for (const auto& call : calls) {
            SCOPED_TRACE(std::string(call.first) + " on " + std::to_string(handle));
            EXPECT_EQ(call.second(handle), failure);
            EXPECT_EQ(lastError(), "Context invalid.");
        }
    }
    EXPECT_TRUE(std::isnan(out[0]));  // nothing was copied
}

TEST(SuperResolutionApi, AddImageChecksContextThenSizeThenPointer) {
    Context sizeless(0, height);
    ASSERT_GE(sizeless.handle, 0);
    const std::vector<float> frame(width * height, 30.0f);
    EXPECT_EQ(SuperResolution_addImage(-1, nullptr), failure);
    EXPECT_EQ(lastError(), "Context invalid.");
    EXPECT_EQ(SuperResolution_addImage(sizeless.handle, nullptr), failure);
    EXPECT_EQ(lastError(), "Size of expected Ir images unknown");
    EXPECT_EQ(SuperResolution_addImage(sizeless.handle, frame.data()), failure);
    EXPECT_EQ(lastError(), "Size of expected Ir images unknown");

    Context context;
    EXPECT_EQ(SuperResolution_addImage(context.handle, nullptr), failure);
    EXPECT_EQ(lastError(), "ir image data pointer is NULL");
}

TEST(SuperResolutionApi, ResultOnlyFromTheFifthFrame) {
    Context context;
    const auto frames = burst(6);
    std::vector<float> out = nanImage();
    for (int i = 0; i < 4; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(SuperResolution_addImage(context.handle, frames[i][0]), 0);
        EXPECT_EQ(SuperResolution_getSuperresolutionImage(context.handle, out.data()), -5);
        EXPECT_EQ(lastError(), "Not enough input images (<5)");
    }
    for (int i = 4; i < 6; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(SuperResolution_addImage(context.handle, frames[i][0]), 0);
        std::vector<float> result = nanImage();
        EXPECT_EQ(SuperResolution_getSuperresolutionImage(context.handle, result.data()), 0);
        EXPECT_TRUE(allFinite(result));
        int w = 0;
        int h = 0;
        EXPECT_EQ(SuperResolution_queryOutputImageSize(context.handle, &w, &h), 0);
        EXPECT_EQ(w, 2 * width);
        EXPECT_EQ(h, 2 * height);
    }
    // A successful call leaves the last error text alone.
    EXPECT_EQ(lastError(), "Not enough input images (<5)");
}

TEST(SuperResolutionApi, EarlyResultIsCopiedAllTheSame) {
    Context context;
    const auto frames = burst(3);
    for (const auto& frame : frames) ASSERT_EQ(SuperResolution_addImage(context.handle, frame[0]), 0);
    // The query reconstructs from the three frames so far.
    expectQueryBeforeFifthFrame(context.handle, width, height);
    std::vector<float> out = nanImage();
    EXPECT_EQ(SuperResolution_getSuperresolutionImage(context.handle, out.data()), -5);
    ASSERT_TRUE(allFinite(out));
    const double mean = cv::mean(cv::Mat_<float>(2 * height, 2 * width, out.data()))[0];
    EXPECT_NEAR(mean, cv::mean(frames[0])[0], 0.5);
}

TEST(SuperResolutionApi, QueryWithoutFramesReportsSizeAndMinus5) {
    Context context;
    expectQueryBeforeFifthFrame(context.handle, width, height);
}

TEST(SuperResolutionApi, NullDestinationEndsWithMemcpyText) {
    Context context;
    const auto frames = burst(5);
    for (int count = 0; count <= 5; ++count) {
        SCOPED_TRACE(count);
        if (count > 0) {
            ASSERT_EQ(SuperResolution_addImage(context.handle, frames[count - 1][0]), 0);
        }
        EXPECT_EQ(SuperResolution_getSuperresolutionImage(context.handle, nullptr), failure);
        EXPECT_EQ(lastError(), "Memcpy called on nullptr!!!!");
    }
}

TEST(SuperResolutionApi, FlatFrameWarnsButStillCounts) {
    Context context;
    const auto frames = burst(5, 0.05f);  // value range at most 1 degree, below the threshold 2
    for (int i = 0; i < 5; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(SuperResolution_addImage(context.handle, frames[i][0]), -4);
        EXPECT_EQ(lastError(), "  image has not enough structure");
    }
    std::vector<float> out = nanImage();
    EXPECT_EQ(SuperResolution_getSuperresolutionImage(context.handle, out.data()), 0);  // five counted
    EXPECT_TRUE(allFinite(out));
}

TEST(SuperResolutionApi, EngineStatusMapsToResultCodes) {
    struct Row {
        const char* name;
        std::function<void(std::vector<cv::Mat_<float>>&)> change;
        int fifthResult;
    };
    const Row rows[] = {
        {"plain burst", [](std::vector<cv::Mat_<float>>&) {}, 0},
        // The newest frame is spoilt by strong noise in its right 60 %: half masked, result -3.
        {"half masked", [](std::vector<cv::Mat_<float>>& f) { spoil(f[4](cv::Rect(26, 0, 38, height))); }, -3},
        // A frame moved by more than height / 10 rows: the engine's -6 passes as success.
        {"large displacement",
         [](std::vector<cv::Mat_<float>>& f) {
             cv::RNG noise(3);
             f[3] = scene().frame({0.0f, 6.0f}, noise);
         },
         0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        auto frames = burst(5);
        row.change(frames);
        Context context;
        for (int i = 0; i < 4; ++i) ASSERT_EQ(SuperResolution_addImage(context.handle, frames[i][0]), 0);
        EXPECT_EQ(SuperResolution_addImage(context.handle, frames[4][0]), row.fifthResult);
        std::vector<float> out = nanImage();
        EXPECT_EQ(SuperResolution_getSuperresolutionImage(context.handle, out.data()), 0);
        EXPECT_TRUE(allFinite(out));  // written in every case
    }
}

TEST(SuperResolutionApi, RegistrationFailuresKeepThePreviousImage) {
    // A ramp along x: no corners, and no vertical gradient to solve a shift with.
    cv::Mat_<float> ramp(height, width);
    for (int x = 0; x < width; ++x) ramp.col(x) = 25.0f + 0.2f * x;
    const auto frames = burst(7);
    Context context;
    for (int i = 0; i < 5; ++i) ASSERT_EQ(SuperResolution_addImage(context.handle, frames[i][0]), 0);
    std::vector<float> before = nanImage();
    ASSERT_EQ(SuperResolution_getSuperresolutionImage(context.handle, before.data()), 0);

    // Registered as the newest frame, the ramp's singular shift ends in an exception.
    EXPECT_EQ(SuperResolution_addImage(context.handle, ramp[0]), failure);
    EXPECT_EQ(lastError(), "Too large displacement");
    std::vector<float> after = nanImage();
    EXPECT_EQ(SuperResolution_getSuperresolutionImage(context.handle, after.data()), 0);
    EXPECT_EQ(after, before);

    // As the reference (4th newest) it has no corners: registration fails, which still answers 0.
    for (int i = 5; i < 7; ++i) SuperResolution_addImage(context.handle, frames[i][0]);
    ASSERT_EQ(SuperResolution_getSuperresolutionImage(context.handle, before.data()), 0);
    SuperResolution_release(-1);
    EXPECT_EQ(SuperResolution_addImage(context.handle, frames[0][0]), 0);
    EXPECT_EQ(lastError(), "Context invalid.");
    EXPECT_EQ(SuperResolution_getSuperresolutionImage(context.handle, after.data()), 0);
    EXPECT_EQ(after, before);
}

TEST(SuperResolutionApi, WindowThatNeverRegisteredGivesZeros) {
    struct Row {
        int w, h;
        float contrast;  // 0: flat frames
    };
    const Row rows[] = {{width, height, 0.0f}, {2, 2, 10.0f}, {5, 5, 10.0f}, {7, 3, 10.0f}, {1, 100, 10.0f}};
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.w << " x " << row.h);
        Context context(row.w, row.h);
        cv::Mat_<float> frame(row.h, row.w);
        for (int i = 0; i < 5; ++i) {
            cv::RNG(i).fill(frame, cv::RNG::UNIFORM, 30.0f, 30.0f + row.contrast);
            SuperResolution_addImage(context.handle, frame[0]);
        }
        std::vector<float> out(4 * row.w * row.h, 1.0f);
        EXPECT_EQ(SuperResolution_getSuperresolutionImage(context.handle, out.data()), 0);
        EXPECT_EQ(out, std::vector<float>(out.size(), 0.0f));
    }
}

TEST(SuperResolutionApi, UnrepairableDefectAnswersMinus2) {
    Context context;
    auto frames = burst(1);
    frames[0](0, 0) = std::numeric_limits<float>::quiet_NaN();  // a corner has too few neighbours
    EXPECT_EQ(SuperResolution_addImage(context.handle, frames[0][0]), -2);
}

TEST(SuperResolutionApi, EngineExceptionAnswersMinus999AndFrameIsNotCounted) {
    Context context;
    auto frames = burst(6);
    cv::Mat_<float> broken = frames[0].clone();
    broken(cv::Rect(10, 10, 4, 4)) = std::numeric_limits<float>::quiet_NaN();  // 15 hopeless pixels
    EXPECT_EQ(SuperResolution_addImage(context.handle, broken[0]), failure);
    EXPECT_EQ(lastError(), "Too many defect pixels. No processing possible.");
    // The rejected frame is the engine's only one: nothing to register, and no crash.
    expectQueryBeforeFifthFrame(context.handle, width, height);

    std::vector<float> out = nanImage();
    for (int i = 1; i < 5; ++i) ASSERT_EQ(SuperResolution_addImage(context.handle, frames[i][0]), 0);
    EXPECT_EQ(SuperResolution_getSuperresolutionImage(context.handle, out.data()), -5);  // 4 counted
    ASSERT_EQ(SuperResolution_addImage(context.handle, frames[5][0]), 0);
    EXPECT_EQ(SuperResolution_getSuperresolutionImage(context.handle, out.data()), 0);
}

TEST(SuperResolutionApi, InvalidReferenceIndexEscapesAsCString) {
    Context context;
    EXPECT_EQ(SuperResolution_setReferenceFrame(context.handle, 0), 0);
    EXPECT_EQ(SuperResolution_setReferenceFrame(context.handle, 4), 0);
    for (int index : {-1, 5}) {
        SCOPED_TRACE(index);
        try {
            SuperResolution_setReferenceFrame(context.handle, index);
            ADD_FAILURE() << "no exception";
        } catch (const char* text) {
            EXPECT_STREQ(text, "Invalid reference index specified.");
        }
    }
}

TEST(SuperResolutionApi, ThreadCountBelowOneIsRefusedAndThreadsKeepTheImage) {
    const auto frames = burst(6);
    std::vector<std::vector<float>> images;
    for (int threads : {0, -3, 1, 3}) {
        SCOPED_TRACE(threads);
        Context context;
        if (threads < 1) {
            EXPECT_EQ(SuperResolution_setThreadCount(context.handle, threads), failure);
            EXPECT_EQ(lastError(), "Invalid number of threads specified.");
            continue;
        }
        EXPECT_EQ(SuperResolution_setThreadCount(context.handle, threads), 0);
        for (const auto& frame : frames) EXPECT_EQ(SuperResolution_addImage(context.handle, frame[0]), 0);
        images.push_back(nanImage());
        EXPECT_EQ(SuperResolution_getSuperresolutionImage(context.handle, images.back().data()), 0);
    }
    ASSERT_EQ(images.size(), 2u);
    EXPECT_TRUE(allFinite(images[0]));
    EXPECT_EQ(images[0], images[1]);
}

TEST(SuperResolutionApi, ErrorMessageCopiesLikeStrncpy) {
    SuperResolution_release(-1);  // "Context invalid."
    char text[20];
    std::fill(std::begin(text), std::end(text), 'X');
    EXPECT_EQ(SuperResolution_getErrorMessage(text, 5), 0);
    EXPECT_EQ(std::string(text, 6), "ConteX");  // five bytes, no terminator

    std::fill(std::begin(text), std::end(text), 'X');
    EXPECT_EQ(SuperResolution_getErrorMessage(text, sizeof text), 0);
    EXPECT_STREQ(text, "Context invalid.");
    EXPECT_EQ(text[19], '\0');  // strncpy pads the rest
}

TEST(SuperResolutionApi, LogFileSettingOpensNoDump) {
    char pattern[] = "/tmp/vsr_log_XXXXXX";
    const std::string folder = mkdtemp(pattern);
    setenv("VRLIB_LOG_FILE", folder.c_str(), 1);
    {
        Context context;
        unsetenv("VRLIB_LOG_FILE");
        ASSERT_GE(context.handle, 0);
        for (const auto& frame : burst(2)) EXPECT_EQ(SuperResolution_addImage(context.handle, frame[0]), 0);
    }
    DIR* dir = opendir(folder.c_str());
    ASSERT_NE(dir, nullptr);
    int entries = 0;
    while (readdir(dir)) ++entries;
    closedir(dir);
    EXPECT_EQ(entries, 2);  // only . and ..
    rmdir(folder.c_str());
}

TEST(SuperResolutionApi, CameraAndLensChangeTheResult) {
    const auto frames = burst(5);
    std::vector<std::vector<float>> results;
    for (const char* camera : {"unknown", "k430 FOV 10", "k430", static_cast<const char*>(nullptr)}) {
        SCOPED_TRACE(camera);
        Context context;
        EXPECT_EQ(SuperResolution_setCameraAndLensType(context.handle, camera), 0);
        for (const auto& frame : frames) ASSERT_EQ(SuperResolution_addImage(context.handle, frame[0]), 0);
        results.push_back(nanImage());
        ASSERT_EQ(SuperResolution_getSuperresolutionImage(context.handle, results.back().data()), 0);
    }
    EXPECT_NE(results[0], results[1]);  // sigma 0.34 instead of 0.683
    EXPECT_EQ(results[0], results[2]);  // no lens: the default sigma
    EXPECT_EQ(results[0], results[3]);  // NULL: likewise
}

}  // namespace
