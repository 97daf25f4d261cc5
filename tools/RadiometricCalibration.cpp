// SPDX-License-Identifier: Proprietary
#include "RadiometricCalibration.h"
#include "CountsReconstructor.h"
#include "EngineCalls.h"
#include "ImageFiles.h"
#include "ToolError.h"

#include "vision/superresolution/reference/SuperResolution.h"

#include <cmath>
#include <cstdlib>

namespace vorel {
namespace tools {
namespace {

constexpr short kSaturated = 32767;

std::string sizeText(cv::Size size) { return std::to_string(size.width) + "x" + std::to_string(size.height); }

void requireSize(const std::string& path, const cv::Mat& image, cv::Size frameSize) {
    if (image.size() != frameSize)
        throw ToolError(ExitCode::UnusableBurst, "'" + path + "' is " + sizeText(image.size()) +
                                                     ", but the frames are " + sizeText(frameSize) +
                                                     ": calibration files must have their size");
}

// Counts above the signed range end at 32767, where saturated pixels already are.
cv::Mat_<short> readCounts(const std::string& path, cv::Size frameSize) {
    const cv::Mat image = readImage(path);
    if (!holdsCounts(image))
        throw ToolError(ExitCode::UnreadableInput,
                        cannotRead(path, "a calibration frame holds 16-bit counts, this image does not"));
    requireSize(path, image, frameSize);
    cv::Mat_<short> counts;
    image.convertTo(counts, CV_16S);
    return counts;
}

cv::Mat_<float> readValues(const std::string& text, cv::Size frameSize) {
    char* end = nullptr;
    const float number = std::strtof(text.c_str(), &end);
    if (*end == '\0' && std::isfinite(number)) return cv::Mat_<float>(frameSize, number);
    const cv::Mat image = readImage(text);
    if (image.depth() != CV_32F)
        throw ToolError(ExitCode::UnreadableInput,
                        cannotRead(text, "calibration values are a number or a 32-bit float TIFF, this image is not"));
    requireSize(text, image, frameSize);
    return image;
}

}  // namespace

CalibrationPoint CalibrationPoint::parse(const std::string& text) {
    const size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0 || colon + 1 == text.size())
        throw ToolError(ExitCode::Usage, "--nuc: '" + text +
                                             "' needs COUNTS:VALUE, a frame of counts and the value its scene shows, "
                                             "e.g. low.png:20");
    return {text.substr(0, colon), text.substr(colon + 1)};
}

std::string CalibrationReport::describe() const {
    if (repaired == 0 && leftNaN == 0) return "calibration: every pixel usable";
    return "calibration: " + std::to_string(repaired + leftNaN) +
           " pixels unusable (equal or saturated counts, or beyond +-1000 per count): " + std::to_string(repaired) +
           " repaired from their neighbours, " + std::to_string(leftNaN) +
           " left NaN, which every converted frame then has repaired as defective pixels";
}

RadiometricCalibration::RadiometricCalibration(const CalibrationPoint& low, const CalibrationPoint& high,
                                               cv::Size frameSize) {
    const CalibrationPoint* points[2] = {&low, &high};
    for (int i = 0; i < 2; ++i) {
        counts_[i] = readCounts(points[i]->counts, frameSize);
        values_[i] = readValues(points[i]->value, frameSize);
    }
    if (cv::countNonZero(values_[0] != values_[1]) == 0)
        throw ToolError(ExitCode::Usage,
                        "--nuc: both points have the same value at every pixel; the two reference "
                        "scenes must show different values");
    // A saturated pixel reads the same in both points, which marks it unusable for the engine.
    const cv::Mat saturated = (counts_[0] == kSaturated) | (counts_[1] == kSaturated);
    counts_[0].setTo(kSaturated, saturated);
    counts_[1].setTo(kSaturated, saturated);
    if (cv::countNonZero(counts_[0] != counts_[1]) == 0)
        throw ToolError(ExitCode::UnusableBurst, "--nuc: '" + low.counts + "' and '" + high.counts +
                                                     "' differ at no pixel below 32767 counts; the two reference "
                                                     "scenes must give different counts");
}

CalibrationReport RadiometricCalibration::applyTo(vision::SuperResolution& engine) const {
    cv::Mat_<float> gain, offset;
    guarded(ExitCode::Reconstruction, [&] {
        engine.setNucToRad(counts_[0], values_[0], counts_[1], values_[1]);
        engine.getNucToRad(gain, offset);
    });
    // A pixel the engine could use maps its own two points onto their values; a
    // repaired one took its neighbours' line, which cannot do that.
    CalibrationReport report;
    for (int y = 0; y < gain.rows; ++y) {
        for (int x = 0; x < gain.cols; ++x) {
            const float g = gain(y, x), o = offset(y, x);
            if (std::isnan(g) || std::isnan(o)) {
                ++report.leftNaN;
                continue;
            }
            const float v0 = values_[0](y, x), v1 = values_[1](y, x);
            const float tolerance = 1e-3f * std::abs(v1 - v0) + 1e-5f * (std::abs(v0) + std::abs(v1));
            if (std::abs(g * counts_[0](y, x) + o - v0) > tolerance ||
                std::abs(g * counts_[1](y, x) + o - v1) > tolerance)
                ++report.repaired;
        }
    }
    return report;
}

}  // namespace tools
}  // namespace vorel
