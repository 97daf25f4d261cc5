// SPDX-License-Identifier: Proprietary
#include "BadPixelMaps.h"
#include "Preview.h"
#include "ToolError.h"

#include "vision/superresolution/BadPixel.h"

#include <set>
#include <utility>

namespace vorel {
namespace tools {
namespace {

using vision::BadPixel;

const cv::Scalar kBoxColour(0, 255, 0);  // green: not in the thermal palette

std::string sizeText(cv::Size size) { return std::to_string(size.width) + "x" + std::to_string(size.height); }

std::string pixelText(unsigned int x, unsigned int y) {
    return "(" + std::to_string(x) + ", " + std::to_string(y) + ")";
}

}  // namespace

void requireBetween(const std::string& option, int value, int min, int max) {
    if (value < min || value > max)
        throw ToolError(ExitCode::Usage, option + " must be between " + std::to_string(min) + " and " +
                                             std::to_string(max) + ", got " + std::to_string(value));
}

void requireValidSearch(const BadPixelSearch& search) {
    requireBetween("--min", search.minValue, -32768, 32767);
    requireBetween("--max", search.maxValue, -32768, 32767);
    if (search.minValue >= search.maxValue)
        throw ToolError(ExitCode::Usage, "--min " + std::to_string(search.minValue) + " must be below --max " +
                                             std::to_string(search.maxValue));
    requireBetween("--threshold", search.threshold, 1, 65535);
    requireBetween("--span", search.span, 2, 65535);
    requireBetween("--capacity", search.capacity, 1, 65535);
    requireBetween("--radius", search.radius, 1, 100);
}

cv::Mat_<unsigned short> findBadPixelList(const cv::Mat_<short>& frame, const BadPixelSearch& search,
                                          BadPixelCounts& counts) {
    const auto minValue = static_cast<short>(search.minValue), maxValue = static_cast<short>(search.maxValue);
    cv::Mat_<int> histogram;
    if (!BadPixel::buildValueHistogram(frame, histogram, minValue, maxValue))
        throw ToolError(ExitCode::UnreadableInput, "more than 65535 rows or columns");
    cv::Mat_<unsigned short> list(search.capacity, 10);
    if (!BadPixel::performNeighbourSearch(frame, histogram, list, minValue, maxValue,
                                          static_cast<unsigned short>(search.threshold),
                                          static_cast<unsigned short>(search.span)))
        throw ToolError(ExitCode::Reconstruction, "more than " + std::to_string(search.capacity) +
                                                      " defective pixels; raise --capacity (at most 65535)");
    completeBadPixelList(list, frame.size(), search.radius);
    counts = BadPixelCounts();
    for (int r = 0; r < list.rows; ++r) {
        const short value = frame(list(r, 1), list(r, 0));
        ++(value <= minValue || value >= maxValue ? counts.outliers : counts.isolated);
    }
    return list;
}

// A row whose replacements the search could not find keeps one outside the frame
// (or, after a merge, one that is itself listed).
void requireResolved(const cv::Mat_<unsigned short>& list, cv::Size size, int radius) {
    std::set<std::pair<unsigned short, unsigned short>> listed;
    for (int r = 0; r < list.rows; ++r) listed.emplace(list(r, 0), list(r, 1));
    int unresolved = 0, first = -1;
    for (int r = 0; r < list.rows; ++r) {
        bool resolved = true;
        for (int k = 2; k < 10; k += 2)
            resolved = resolved && list(r, k) < size.width && list(r, k + 1) < size.height &&
                       !listed.count({list(r, k), list(r, k + 1)});
        if (resolved) continue;
        if (first < 0) first = r;
        ++unresolved;
    }
    if (unresolved > 0)
        throw ToolError(ExitCode::Reconstruction, std::to_string(unresolved) + " defective pixels, the first at " +
                                                      pixelText(list(first, 0), list(first, 1)) +
                                                      ", have no good pixel within --radius " + std::to_string(radius) +
                                                      "; try a larger one");
}

void completeBadPixelList(cv::Mat_<unsigned short>& list, cv::Size size, int radius) {
    BadPixel::calculateReplacePixels(list, size, static_cast<unsigned int>(radius));
    requireResolved(list, size, radius);
}

cv::Mat_<short> signedCounts(const cv::Mat& image) {
    if (image.depth() != CV_16U && image.depth() != CV_16S)
        throw ToolError(ExitCode::UnreadableInput, "it holds " + cv::typeToString(image.type()) +
                                                       " values; bad pixels are found and repaired on 16-bit counts");
    double highest = 0.0;
    cv::minMaxLoc(image, nullptr, &highest);
    if (highest > 32767.0)
        throw ToolError(ExitCode::UnreadableInput,
                        "it holds counts above 32767; the bad-pixel tools take signed 16-bit counts");
    cv::Mat_<short> counts;
    image.convertTo(counts, CV_16S);
    return counts;
}

void requireListInside(const cv::Mat_<unsigned short>& list, cv::Size size, bool replacements) {
    for (int r = 0; r < list.rows; ++r) {
        for (int k = 0; k < (replacements ? 10 : 2); k += 2) {
            if (list(r, k) < size.width && list(r, k + 1) < size.height) continue;
            const std::string what = k == 0 ? "pixel " + pixelText(list(r, 0), list(r, 1))
                                            : "replacement " + pixelText(list(r, k), list(r, k + 1)) + " of pixel " +
                                                  pixelText(list(r, 0), list(r, 1));
            throw ToolError(ExitCode::UnreadableInput, "row " + std::to_string(r + 1) + ": " + what +
                                                           " lies outside the " + sizeText(size) + " frame");
        }
    }
}

cv::Mat_<cv::Vec3b> drawBadPixelOverlay(const cv::Mat_<float>& image, const cv::Mat_<unsigned short>& list, int box,
                                        bool randomColours) {
    const cv::Vec2f range = displayRange(image);
    cv::Mat_<cv::Vec3b> overlay = colourize(image, range[0], range[1]);
    BadPixel::drawBadPixels(list, overlay, kBoxColour, static_cast<unsigned int>(box), randomColours);
    return overlay;
}

void repairBadPixelsOf(cv::Mat_<short>& counts, const cv::Mat_<unsigned short>& list) {
    requireListInside(list, counts.size(), true);
    BadPixel::removeBadPixel(counts, list);
}

}  // namespace tools
}  // namespace vorel
