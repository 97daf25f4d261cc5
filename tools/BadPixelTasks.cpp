// SPDX-License-Identifier: Proprietary
#include "BadPixelTasks.h"
#include "BadPixelLists.h"
#include "ImageFiles.h"
#include "PendingFile.h"
#include "ToolError.h"

#include "vision/superresolution/BadPixel.h"

#include <filesystem>
#include <memory>
#include <set>
#include <utility>

namespace vorel {
namespace tools {
namespace {

namespace fs = std::filesystem;

void requireGiven(const std::string& what, const std::string& value) {
    if (value.empty()) throw ToolError(ExitCode::Usage, what + " is required");
}

/// Runs `work` on the input at `path`: an input it cannot use is named in the message.
template <class Work>
auto about(const std::string& path, Work work) -> decltype(work()) {
    try {
        return work();
    } catch (const ToolError& error) {
        if (error.code() != ExitCode::UnreadableInput) throw;
        throw ToolError(error.code(), cannotRead(path, error.what()));
    }
}

cv::Mat_<unsigned short> readListFitting(const std::string& path, cv::Size size) {
    const cv::Mat_<unsigned short> list = readBadPixelList(path);
    about(path, [&] { requireListInside(list, size, false); });
    return list;
}

}  // namespace

BadPixelCounts findBadPixels(const BadPixelFindOptions& options, std::ostream& report) {
    requireGiven("a frame", options.frame);
    requireGiven("option -o", options.output);
    requireValidSearch(options.search);
    requireListFormat(options.output);

    const cv::Mat image = readImage(options.frame, options.rawSize);
    BadPixelCounts counts;
    const cv::Mat_<unsigned short> list =
        about(options.frame, [&] { return findBadPixelList(signedCounts(image), options.search, counts); });
    writeBadPixelList(options.output, list);
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

    cv::Mat list = readListFitting(options.oldList, options.size);
    const cv::Mat_<unsigned short> found = readListFitting(options.newList, options.size);

    std::set<std::pair<unsigned short, unsigned short>> listed;
    const cv::Mat_<unsigned short> old = list;
    for (int r = 0; r < old.rows; ++r) listed.emplace(old(r, 0), old(r, 1));
    cv::Mat_<unsigned short> added(0, 10);
    for (int r = 0; r < found.rows; ++r)
        if (listed.emplace(found(r, 0), found(r, 1)).second) added.push_back(found.row(r));
    vision::BadPixel::appendBadPixel(added, list, options.size, static_cast<unsigned int>(options.radius));
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

    const cv::Mat_<float> image = readFrame(options.image, options.rawSize);
    const cv::Mat_<unsigned short> list = readListFitting(options.list, image.size());
    writeImage(options.output, drawBadPixelOverlay(image, list, options.box, options.randomColours));
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
            const cv::Mat image = readImage(path, options.rawSize);
            cv::Mat_<short> counts = about(path, [&] { return signedCounts(image); });
            about(options.list, [&] { repairBadPixelsOf(counts, list); });
            cv::Mat repaired;
            counts.convertTo(repaired, image.depth());
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
