// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"

#include "vorel/Exception.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace vorel {
namespace vision {

namespace {

// Camera markers are denormal floats told apart by their bit pattern only.
constexpr std::uint32_t kMarkerMax = 129;  // repaired with the frame's maximum
constexpr std::uint32_t kMarkerMin = 130;  // repaired with the frame's minimum
constexpr std::uint32_t kMarkerDead = 132;
constexpr std::uint32_t kMarkerDead2 = 133;

std::uint32_t bitsOf(float value) {
    std::uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

float markerValue(std::uint32_t bits) {
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

bool isMarker(std::uint32_t bits) {
    return bits == kMarkerMax || bits == kMarkerMin || bits == kMarkerDead || bits == kMarkerDead2;
}

// NaN fails both limit comparisons, an infinity one of them.
bool isValid(float value, float lowerLimit, float upperLimit) {
    return !isMarker(bitsOf(value)) && value >= lowerLimit && value <= upperLimit;
}

}  // namespace

SuperResolutionBadPixelHandling::SuperResolutionBadPixelHandling(unsigned int numFrames)
    : numFrames(numFrames),
      lowerLimit(-274.0f),
      upperLimit(5000.0f),
      dataIsNUC(false),
      neighbours{cv::Point(-1, 0), cv::Point(1, 0), cv::Point(0, -1), cv::Point(0, 1)} {}

SuperResolutionBadPixelHandling::~SuperResolutionBadPixelHandling() = default;

void SuperResolutionBadPixelHandling::setDataIsNUC(bool isNUC) {
    dataIsNUC = isNUC;
    lowerLimit = isNUC ? -32768.0f : -274.0f;
    upperLimit = isNUC ? 32767.0f : 5000.0f;
}

void SuperResolutionBadPixelHandling::getMinMaxVal(const cv::Mat_<float>& image, float& minVal, float& maxVal,
                                                   cv::Point* minLoc, cv::Point* maxLoc) const {
    minVal = upperLimit;
    maxVal = lowerLimit;
    cv::Point minAt(-1, -1), maxAt(-1, -1);
    for (int y = 0; y < image.rows; ++y) {
        const float* row = image[y];
        for (int x = 0; x < image.cols; ++x) {
            const float value = row[x];
            if (!isValid(value, lowerLimit, upperLimit)) continue;
            if (value < minVal) {
                minVal = value;
                minAt = cv::Point(x, y);
            }
            if (value > maxVal) {
                maxVal = value;
                maxAt = cv::Point(x, y);
            }
        }
    }
    if (minLoc) *minLoc = minAt;
    if (maxLoc) *maxLoc = maxAt;
}

bool SuperResolutionBadPixelHandling::getReplacementValue_(const cv::Mat_<float>& image, int x, int y,
                                                           float& value) const {
    float sum = 0.0f;
    int count = 0;
    for (const cv::Point& offset : neighbours) {
        const int nx = x + offset.x;
        const int ny = y + offset.y;
        if (nx < 0 || ny < 0 || nx >= image.cols || ny >= image.rows) continue;
        const float neighbour = image(ny, nx);
        if (!isValid(neighbour, lowerLimit, upperLimit)) continue;
        sum += neighbour;
        ++count;
    }
    if (count > 0) value = sum / static_cast<float>(count);
    if (count == 4) return true;
    // Edge pixels have only three neighbours; corners (two at most) are never repaired this way.
    const bool onBorder = x == 0 || y == 0 || x == image.cols - 1 || y == image.rows - 1;
    return count == 3 && onBorder;
}

int SuperResolutionBadPixelHandling::detectAndReplaceBadPixel(cv::Mat_<float>& image) {
    cv::Mat_<unsigned char> defectMap(image.rows, image.cols, static_cast<unsigned char>(0));
    int result = 0;
    int hopeless = 0;
    float minVal, maxVal;
    getMinMaxVal(image, minVal, maxVal);

    for (int y = 0; y < image.rows; ++y) {
        float* row = image[y];
        for (int x = 0; x < image.cols; ++x) {
            const float value = row[x];
            const std::uint32_t bits = bitsOf(value);
            unsigned char code = 0;
            if (bits == kMarkerMax) code = 2;
            else if (bits == kMarkerMin) code = 1;
            else if (bits == kMarkerDead || bits == kMarkerDead2 || !std::isfinite(value)) code = 3;
            if (value > upperLimit) code = 5;
            if (lowerLimit > value) code = 4;
            if (code == 0) continue;
            defectMap(y, x) = code;

            // Repaired in place: pixels fixed earlier in the scan serve as neighbours of later ones.
            float replacement = 0.0f;
            if (getReplacementValue_(image, x, y, replacement)) {
                row[x] = replacement;
            } else if (bits == kMarkerMax) {
                row[x] = maxVal;
            } else if (bits == kMarkerMin) {
                row[x] = minVal;
            } else {
                result = -2;
                if (value > upperLimit) {
                    row[x] = maxVal;
                } else if (lowerLimit > value) {
                    row[x] = minVal;
                } else {
                    row[x] = 0.0f;
                    ++hopeless;
                }
            }
        }
    }

    if (defectMaps.size() < numFrames) {
        defectMaps.push_back(defectMap);
    } else if (!defectMaps.empty()) {
        defectMaps.erase(defectMaps.begin());
        defectMaps.push_back(defectMap);
    }
    if (hopeless > 10) throw vorel::Exception("Too many defect pixels. No processing possible.", VOREL_PLACE);
    return result;
}

void SuperResolutionBadPixelHandling::maskBadPixel(cv::Mat_<float>& estimate, const std::vector<cv::Point2f>& shifts) {
    if (shifts.size() != defectMaps.size())
        throw vorel::Exception("maskBadPixel(): number of shifts ist not equal to number of defectMaps", VOREL_PLACE);

    for (std::size_t k = 0; k < defectMaps.size(); ++k) {
        const cv::Mat_<unsigned char>& map = defectMaps[k];
        for (int y = 0; y < map.rows; ++y) {
            for (int x = 0; x < map.cols; ++x) {
                const unsigned char code = map(y, x);
                if (code == 0) continue;
                const float hx = 2.0f * (static_cast<float>(x) - shifts[k].x);
                const float hy = 2.0f * (static_cast<float>(y) - shifts[k].y);
                if (!(hy >= 0.0f && hy < static_cast<float>(estimate.rows) && hx >= 0.0f)) continue;
                const float marker = markerValue(code == 1 ? kMarkerMin : code == 2 ? kMarkerMax : kMarkerDead);
                const int cy = static_cast<int>(std::floor(hy));
                const int cx = static_cast<int>(std::floor(hx));
                for (int r = std::max(cy - 3, 0); r <= std::min(cy + 3, estimate.rows - 1); ++r)
                    for (int c = std::max(cx - 3, 0); c <= std::min(cx + 3, estimate.cols - 1); ++c)
                        estimate(r, c) = marker;
            }
        }
    }
}

void SuperResolutionBadPixelHandling::replaceMaskedPixel(cv::Mat_<float>& estimate,
                                                         const std::vector<cv::Point2f>& shifts,
                                                         const std::vector<cv::Mat_<float>>& frames) {
    if (defectMaps.empty()) throw vorel::Exception("bad pixel masks not initalized", VOREL_PLACE);

    const std::size_t count = defectMaps.size();
    const int lowRows = defectMaps[0].rows;
    const int lowCols = defectMaps[0].cols;
    for (int r = 0; r < estimate.rows; ++r) {
        float* row = estimate[r];
        for (int c = 0; c < estimate.cols; ++c) {
            const std::uint32_t bits = bitsOf(row[c]);
            if (bits != kMarkerMax && bits != kMarkerMin && bits != kMarkerDead) continue;
            float sum = 0.0f;
            int used = 0;
            for (std::size_t k = 0; k < count; ++k) {
                // Truncation, not floor: a position just left of or above the frame still
                // samples its first column or row.
                const int lx = static_cast<int>(c * 0.5 + shifts[k].x);
                const int ly = static_cast<int>(r * 0.5 + shifts[k].y);
                if (lx < 0 || ly < 0 || lx >= lowCols || ly >= lowRows || defectMaps[k](ly, lx) != 0) continue;
                sum += frames[k](ly, lx);
                ++used;
            }
            if (used > 0) row[c] = sum / static_cast<float>(used);
        }
    }
}

void SuperResolutionBadPixelHandling::colorBadPixel(const cv::Mat_<float>& image,
                                                    cv::Mat_<cv::Vec<unsigned char, 3>>& picture) const {
    for (int y = 0; y < image.rows; ++y) {
        for (int x = 0; x < image.cols; ++x) {
            const std::uint32_t bits = bitsOf(image(y, x));
            if (bits == kMarkerMax) picture(y, x) = cv::Vec<unsigned char, 3>(0, 0, 255);
            else if (bits == kMarkerMin) picture(y, x) = cv::Vec<unsigned char, 3>(255, 0, 0);
        }
    }
}

}  // namespace vision
}  // namespace vorel
