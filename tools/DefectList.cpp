// SPDX-License-Identifier: Proprietary
#include "DefectList.h"
#include "BadPixelLists.h"
#include "ImageFiles.h"
#include "ToolError.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace vorel {
namespace tools {
namespace {

ToolError unreadable(const std::string& path, const std::string& reason) {
    return ToolError(ExitCode::UnreadableInput, "cannot read '" + path + "': " + reason);
}

std::string trimmed(const std::string& text) {
    const size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

std::vector<std::string> fields(const std::string& line) {
    std::vector<std::string> result;
    std::stringstream stream(line);
    std::string field;
    while (std::getline(stream, field, ',')) result.push_back(trimmed(field));
    return result;
}

bool isNumber(const std::string& text) {
    char* end = nullptr;
    std::strtod(text.c_str(), &end);
    return !text.empty() && *end == '\0';
}

// A pixel coordinate: a whole number from 0, "12" or "12.000000".
bool coordinate(const std::string& text, int& value) {
    const double number = isNumber(text) ? std::strtod(text.c_str(), nullptr) : -1.0;
    if (!std::isfinite(number) || number < 0.0 || number > 1e6 || number != std::floor(number)) return false;
    value = static_cast<int>(number);
    return true;
}

std::vector<cv::Point> readCsv(std::istream& in, const std::string& path) {
    std::vector<cv::Point> pixels;
    std::string line;
    int number = 0;
    int xColumn = -1, yColumn = -1;  // unknown until the first line
    while (std::getline(in, line)) {
        ++number;
        if (trimmed(line).empty()) continue;
        const std::vector<std::string> row = fields(line);
        const auto where = [&] { return "line " + std::to_string(number) + ": "; };
        if (xColumn < 0) {
            if (std::all_of(row.begin(), row.end(), isNumber)) {
                if (row.size() != 2 && row.size() != 3)
                    throw unreadable(path, where() + "expected x,y or index,x,y, got '" + trimmed(line) + "'");
                xColumn = static_cast<int>(row.size()) - 2;
                yColumn = xColumn + 1;
            } else {
                std::vector<std::string> names = row;
                for (std::string& name : names)
                    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
                xColumn = static_cast<int>(std::find(names.begin(), names.end(), "x") - names.begin());
                yColumn = static_cast<int>(std::find(names.begin(), names.end(), "y") - names.begin());
                if (xColumn == static_cast<int>(names.size()) || yColumn == static_cast<int>(names.size()))
                    throw unreadable(path, where() + "a header must name the columns x and y, got '" + trimmed(line) + "'");
                continue;
            }
        }
        cv::Point pixel;
        if (static_cast<int>(row.size()) <= std::max(xColumn, yColumn) || !coordinate(row[xColumn], pixel.x) ||
            !coordinate(row[yColumn], pixel.y))
            throw unreadable(path, where() + "expected whole pixel coordinates from 0, got '" + trimmed(line) + "'");
        pixels.push_back(pixel);
    }
    return pixels;
}

// A list of vsr badpixels through OpenCV's FileStorage: the first two columns are x and y.
std::vector<cv::Point> readStoredList(std::istream&, const std::string& path) {
    const cv::Mat_<unsigned short> list = readBadPixelList(path);
    std::vector<cv::Point> pixels;
    for (int row = 0; row < list.rows; ++row) pixels.emplace_back(list(row, 0), list(row, 1));
    return pixels;
}

// The formats by extension; a .csv of vsr badpixels names its x and y columns in its header.
struct Format {
    const char* extension;
    std::vector<cv::Point> (*read)(std::istream&, const std::string&);
};
const Format kFormats[] = {{".csv", readCsv}, {".yml", readStoredList}, {".yaml", readStoredList},
                           {".json", readStoredList}};

}  // namespace

std::vector<cv::Point> readDefectList(const std::string& path) {
    requireReadableFile(path);
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(), [](unsigned char c) { return std::tolower(c); });
    for (const Format& format : kFormats) {
        if (extension != format.extension) continue;
        std::ifstream in(path);
        if (!in) throw unreadable(path, "cannot open it");
        return format.read(in, path);
    }
    throw unreadable(path,
                     "unsupported defect list format (a .csv file of x,y or index,x,y lines, or a list of vsr "
                     "badpixels: .csv, .yml, .yaml or .json)");
}

void requireInside(const std::vector<cv::Point>& pixels, cv::Size frame, const std::string& path) {
    for (const cv::Point& pixel : pixels)
        if (pixel.x >= frame.width || pixel.y >= frame.height)
            throw ToolError(ExitCode::UnreadableInput,
                            "cannot use '" + path + "': pixel (" + std::to_string(pixel.x) + ", " +
                                std::to_string(pixel.y) + ") lies outside the " + std::to_string(frame.width) + "x" +
                                std::to_string(frame.height) + " frames");
}

}  // namespace tools
}  // namespace vorel
