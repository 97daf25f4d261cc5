// SPDX-License-Identifier: Proprietary
#include "BadPixelTasks.h"
#include "BadPixelLists.h"
#include "ImageFiles.h"
#include "PendingFile.h"
#include "Preview.h"
#include "ToolError.h"

#include "vision/superresolution/BadPixel.h"

#include <filesystem>
#include <memory>
#include <set>

namespace vorel {
namespace tools {
namespace {

namespace fs = std::filesystem;
using vision::BadPixel;

const cv::Scalar kBoxColour(0, 255, 0);  // green: not in the thermal palette

void requireBetween(const std::string& option, int value, int min, int max) {
    if (value < min || value > max)
        throw ToolError(ExitCode::Usage, option + " must be between " + std::to_string(min) + " and " +
                                             std::to_string(max) + ", got " + std::to_string(value));
}

void requireGiven(const std::string& what, const std::string& value) {
    if (value.empty()) throw ToolError(ExitCode::Usage, what + " is required");
}

std::string sizeText(cv::Size size) { return std::to_string(size.width) + "x" + std::to_string(size.height); }

std::string pixelText(unsigned int x, unsigned int y) {
    return "(" + std::to_string(x) + ", " + std::to_string(y) + ")";
}

/// Sensor counts as the list tools take them, and the depth the file had.
struct Counts {
    cv::Mat_<short> values;
    int depth;
};

Counts readCounts(const std::string& path, cv::Size rawSize) {
    const cv::Mat image = readImage(path, rawSize);
    if (image.depth() != CV_16U && image.depth() != CV_16S)
        throw ToolError(ExitCode::UnreadableInput,
                        cannotRead(path, "it holds " + cv::typeToString(image.type()) +
                                             " values; bad pixels are found and repaired on 16-bit counts"));
    double highest = 0.0;
    cv::minMaxLoc(image, nullptr, &highest);
    if (highest > 32767.0)
        throw ToolError(ExitCode::UnreadableInput,
                        cannotRead(path, "it holds counts above 32767; the bad-pixel tools take signed 16-bit counts"));
    Counts counts{cv::Mat_<short>(), image.depth()};
    image.convertTo(counts.values, CV_16S);
    return counts;
}

// Every listed pixel, and with `replacements` every replacement, must lie in the frame.
void requireInside(const cv::Mat_<unsigned short>& list, const std::string& listPath, cv::Size size,
                   bool replacements) {
    for (int r = 0; r < list.rows; ++r) {
        for (int k = 0; k < (replacements ? 10 : 2); k += 2) {
            if (list(r, k) < size.width && list(r, k + 1) < size.height) continue;
            const std::string what = k == 0 ? "pixel " + pixelText(list(r, 0), list(r, 1))
                                            : "replacement " + pixelText(list(r, k), list(r, k + 1)) + " of pixel " +
                                                  pixelText(list(r, 0), list(r, 1));
            throw ToolError(ExitCode::UnreadableInput,
                            cannotRead(listPath, "row " + std::to_string(r + 1) + ": " + what + " lies outside the " +
                                                     sizeText(size) + " frame"));
        }
    }
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

}  // namespace

BadPixelCounts findBadPixels(const BadPixelFindOptions& options, std::ostream& report) {
    requireGiven("a frame", options.frame);
    requireGiven("option -o", options.output);
    requireBetween("--min", options.minValue, -32768, 32767);
    requireBetween("--max", options.maxValue, -32768, 32767);
    if (options.minValue >= options.maxValue)
        throw ToolError(ExitCode::Usage, "--min " + std::to_string(options.minValue) + " must be below --max " +
                                             std::to_string(options.maxValue));
    requireBetween("--threshold", options.threshold, 1, 65535);
    requireBetween("--span", options.span, 2, 65535);
    requireBetween("--capacity", options.capacity, 1, 65535);
    requireBetween("--radius", options.radius, 1, 100);
    requireListFormat(options.output);

    const cv::Mat_<short> frame = readCounts(options.frame, options.rawSize).values;
    const auto minValue = static_cast<short>(options.minValue), maxValue = static_cast<short>(options.maxValue);
    cv::Mat_<int> histogram;
    if (!BadPixel::buildValueHistogram(frame, histogram, minValue, maxValue))
        throw ToolError(ExitCode::UnreadableInput, cannotRead(options.frame, "more than 65535 rows or columns"));
    cv::Mat_<unsigned short> list(options.capacity, 10);
    if (!BadPixel::performNeighbourSearch(frame, histogram, list, minValue, maxValue,
                                          static_cast<unsigned short>(options.threshold),
                                          static_cast<unsigned short>(options.span)))
        throw ToolError(ExitCode::Reconstruction, "more than " + std::to_string(options.capacity) +
                                                      " defective pixels; raise --capacity (at most 65535)");
    BadPixel::calculateReplacePixels(list, frame.size(), static_cast<unsigned int>(options.radius));
    requireResolved(list, frame.size(), options.radius);
    writeBadPixelList(options.output, list);

    BadPixelCounts counts;
    for (int r = 0; r < list.rows; ++r) {
        const short value = frame(list(r, 1), list(r, 0));
        ++(value <= minValue || value >= maxValue ? counts.outliers : counts.isolated);
    }
    report << "found " << list.rows << " defective pixels (" << counts.outliers << " outliers, " << counts.isolated
           << " isolated values), written to " << options.output << "\n";
    return counts;
}

void mergeBadPixels(const BadPixelMergeOptions& options, std::ostream& report) {
    requireGiven("the old list", options.oldList);
    requireGiven("the new list", options.newList);
    requireGiven("option -o", options.output);
    if (options.size.empty()) throw ToolError(ExitCode::Usage, "option --size (the sensor's WxH) is required");
    requireBetween("--radius", options.radius, 1, 100);
    requireListFormat(options.output);

    cv::Mat list = readBadPixelList(options.oldList);
    const cv::Mat_<unsigned short> found = readBadPixelList(options.newList);
    requireInside(list, options.oldList, options.size, false);
    requireInside(found, options.newList, options.size, false);

    std::set<std::pair<unsigned short, unsigned short>> listed;
    const cv::Mat_<unsigned short> old = list;
    for (int r = 0; r < old.rows; ++r) listed.emplace(old(r, 0), old(r, 1));
    cv::Mat_<unsigned short> added(0, 10);
    for (int r = 0; r < found.rows; ++r)
        if (listed.emplace(found(r, 0), found(r, 1)).second) added.push_back(found.row(r));
    BadPixel::appendBadPixel(added, list, options.size, static_cast<unsigned int>(options.radius));
    requireResolved(list, options.size, options.radius);
    writeBadPixelList(options.output, list);
    report << "merged " << added.rows << " new defective pixels (" << found.rows - added.rows
           << " already listed) into " << old.rows << ": " << list.rows << " written to " << options.output << "\n";
}

void drawBadPixelList(const BadPixelDrawOptions& options, std::ostream& report) {
    requireGiven("a list", options.list);
    requireGiven("an image", options.image);
    requireGiven("option -o", options.output);
    requireBetween("--box", options.box, 1, 255);

    const cv::Mat_<unsigned short> list = readBadPixelList(options.list);
    const cv::Mat_<float> image = readFrame(options.image, options.rawSize);
    requireInside(list, options.list, image.size(), false);
    const cv::Vec2f range = displayRange(image);
    cv::Mat_<cv::Vec3b> overlay = colourize(image, range[0], range[1]);
    BadPixel::drawBadPixels(list, overlay, kBoxColour, static_cast<unsigned int>(options.box), options.randomColours);
    writeImage(options.output, overlay);
    report << "boxed " << list.rows << " defective pixels in " << options.output << "\n";
}

void repairBadPixels(const BadPixelRepairOptions& options, std::ostream& report) {
    requireGiven("a list", options.list);
    if (options.frames.empty()) throw ToolError(ExitCode::Usage, "no frames given");
    requireGiven("option -o", options.outputFolder);
    std::set<std::string> names;
    for (const std::string& frame : options.frames)
        if (!names.insert(fs::path(frame).filename().string()).second)
            throw ToolError(ExitCode::Usage, "two frames named " + fs::path(frame).filename().string() +
                                                 " would be written to the same file");

    const cv::Mat_<unsigned short> list = readBadPixelList(options.list);
    std::error_code error;
    const bool created =
        !fs::exists(options.outputFolder, error) && fs::create_directories(options.outputFolder, error);
    if (!fs::is_directory(options.outputFolder))
        throw ToolError(ExitCode::UnwritableOutput, cannotWrite(options.outputFolder, "cannot create the folder"));
    try {
        // Staged, to appear together once every frame is repaired.
        std::vector<std::unique_ptr<PendingFile>> staged;
        for (const std::string& path : options.frames) {
            Counts counts = readCounts(path, options.rawSize);
            requireInside(list, options.list, counts.values.size(), true);
            BadPixel::removeBadPixel(counts.values, list);
            cv::Mat repaired;
            counts.values.convertTo(repaired, counts.depth);
            staged.push_back(
                std::make_unique<PendingFile>((fs::path(options.outputFolder) / fs::path(path).filename()).string()));
            writeImage(*staged.back(), repaired);
        }
        for (const auto& file : staged) file->commit();
    } catch (...) {
        if (created) fs::remove(options.outputFolder, error);
        throw;
    }
    report << "repaired " << list.rows << " pixels in each of " << options.frames.size() << " frames, written to "
           << options.outputFolder << "\n";
}

}  // namespace tools
}  // namespace vorel
