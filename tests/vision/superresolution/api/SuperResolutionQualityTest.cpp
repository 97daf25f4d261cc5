// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/api/vision_superresolution.h"

#include "BurstSimulator.h"
#include "QualityMetrics.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <cstdio>

namespace {

constexpr int width = 96;
constexpr int height = 72;
// Frames near the borders see scene parts the reference does not; compare inside.
constexpr int border = 8;

// A burst as a host would shoot it: sub-pixel moves, blur, area sampling, noise,
// through the C interface. The reference is the second of five frames (the 4th
// newest), so that frame is unshifted and the ground truth is in its geometry.
struct Reconstruction {
    cv::Mat_<float> truth;
    cv::Mat_<float> reference;
    cv::Mat_<float> result;
};

Reconstruction reconstruct(vorel::tools::Scene sceneKind, std::uint64_t seed) {
    vorel::tools::BurstSettings settings;
    settings.frameSize = {width, height};
    settings.blur = 0.6f;
    settings.scene = sceneKind;
    const vorel::tools::BurstSimulator scene(settings);
    cv::RNG noise(seed);
    const cv::Point2f shifts[] = {{0.5f, 0.25f}, {0.0f, 0.0f}, {-0.375f, 0.5f}, {0.625f, -0.5f}, {0.25f, 0.875f}};
    Reconstruction r;
    r.truth = scene.render({});
    r.result.create(2 * height, 2 * width);
    const int context = SuperResolution_init(width, height);
    EXPECT_GE(context, 0);
    for (const cv::Point2f& shift : shifts) {
        const cv::Mat_<float> frame = scene.frame(shift, noise);
        if (shift == cv::Point2f(0.0f, 0.0f)) r.reference = frame;
        EXPECT_EQ(SuperResolution_addImage(context, frame[0]), 0);
    }
    EXPECT_EQ(SuperResolution_getSuperresolutionImage(context, r.result[0]), 0);
    SuperResolution_release(context);
    return r;
}

TEST(SuperResolutionQuality, BeatsBicubicOnSyntheticScenes) {
    using vorel::tools::Scene;
    for (Scene scene : {Scene::Building, Scene::People}) {
        SCOPED_TRACE(vorel::tools::sceneName(scene));
        const Reconstruction r = reconstruct(scene, 3);
        ASSERT_TRUE(cv::checkRange(r.result));
        cv::Mat_<float> bicubic;
        cv::resize(r.reference, bicubic, r.truth.size(), 0.0, 0.0, cv::INTER_CUBIC);
        const double resultPsnr = vorel::tools::psnrInside(r.result, r.truth, border);
        const double bicubicPsnr = vorel::tools::psnrInside(bicubic, r.truth, border);
        std::printf("%s: PSNR result %.2f dB, bicubic %.2f dB, gain %.2f dB\n", vorel::tools::sceneName(scene).c_str(),
                    resultPsnr, bicubicPsnr, resultPsnr - bicubicPsnr);
        // A working reconstruction gains several dB on such scenes; less than 3 means a fault.
        EXPECT_GE(resultPsnr - bicubicPsnr, 3.0);
    }
}

TEST(SuperResolutionQuality, ResultNeedsNoShiftAgainstTruth) {
    const Reconstruction r = reconstruct(vorel::tools::Scene::Building, 5);
    const cv::Rect inside(border, border, r.truth.cols - 2 * border, r.truth.rows - 2 * border);
    cv::Mat_<double> window;
    cv::createHanningWindow(window, inside.size(), CV_64F);
    cv::Mat_<double> truth;
    cv::Mat_<double> result;
    r.truth(inside).convertTo(truth, CV_64F);
    r.result(inside).convertTo(result, CV_64F);
    const cv::Point2d offset = cv::phaseCorrelate(truth, result, window);
    std::printf("offset of the result against the truth: (%.3f, %.3f) output pixels\n", offset.x, offset.y);
    // A half-pixel grid error would show as 0.5.
    EXPECT_LT(std::abs(offset.x), 0.15);
    EXPECT_LT(std::abs(offset.y), 0.15);
}

}  // namespace
