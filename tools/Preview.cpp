// SPDX-License-Identifier: Proprietary
#include "Preview.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace vorel {
namespace tools {
namespace {

// Control points of the palette, BGR, evenly spaced from low to high; their
// luminance rises from one to the next, so warmer always reads brighter.
const cv::Vec3f kPalette[] = {{0, 0, 0},     {120, 0, 60},   {150, 0, 180},  {0, 60, 230},
                              {0, 150, 255}, {60, 230, 255}, {255, 255, 255}};
constexpr int kPaletteSize = sizeof kPalette / sizeof kPalette[0];

cv::Vec3b paletteColour(float t) {
    const float position = std::clamp(t, 0.0f, 1.0f) * (kPaletteSize - 1);
    const int index = std::min(static_cast<int>(position), kPaletteSize - 2);
    const float weight = position - index;
    const cv::Vec3f colour = kPalette[index] * (1.0f - weight) + kPalette[index + 1] * weight;
    return cv::Vec3b(cv::saturate_cast<uchar>(colour[0]), cv::saturate_cast<uchar>(colour[1]),
                     cv::saturate_cast<uchar>(colour[2]));
}

float percentile(const cv::Mat_<float>& image, double fraction) {
    std::vector<float> values;
    values.reserve(image.total());
    for (float value : image)
        if (std::isfinite(value)) values.push_back(value);
    if (values.empty()) return 0.0f;
    const size_t index = std::min(values.size() - 1, static_cast<size_t>(fraction * values.size()));
    std::nth_element(values.begin(), values.begin() + index, values.end());
    return values[index];
}

}  // namespace

cv::Vec2f displayRange(const cv::Mat_<float>& image) { return {percentile(image, 0.005), percentile(image, 0.995)}; }

cv::Mat colourize(const cv::Mat_<float>& image, float low, float high) {
    const float scale = high > low ? 1.0f / (high - low) : 0.0f;
    cv::Mat_<cv::Vec3b> coloured(image.size());
    for (int row = 0; row < image.rows; ++row)
        for (int col = 0; col < image.cols; ++col) {
            const float value = image(row, col);
            coloured(row, col) = paletteColour(std::isnan(value) ? 0.0f : (value - low) * scale);
        }
    return coloured;
}

cv::Mat sideBySide(const std::vector<cv::Mat_<float>>& images, const std::vector<std::string>& labels) {
    CV_Assert(!images.empty() && images.size() == labels.size());
    const cv::Vec2f range = displayRange(images.back());
    const int gap = 8, caption = 24;
    const cv::Size tile = images.front().size();
    cv::Mat canvas(tile.height + caption, static_cast<int>(images.size()) * (tile.width + gap) - gap, CV_8UC3,
                   cv::Scalar::all(40));
    for (size_t i = 0; i < images.size(); ++i) {
        CV_Assert(images[i].size() == tile);
        const int left = static_cast<int>(i) * (tile.width + gap);
        colourize(images[i], range[0], range[1]).copyTo(canvas(cv::Rect(left, caption, tile.width, tile.height)));
        cv::putText(canvas, labels[i], cv::Point(left + 4, caption - 7), cv::FONT_HERSHEY_SIMPLEX, 0.5,
                    cv::Scalar::all(255), 1, cv::LINE_AA);
    }
    return canvas;
}

}  // namespace tools
}  // namespace vorel
