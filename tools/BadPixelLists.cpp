// SPDX-License-Identifier: Proprietary
#include "BadPixelLists.h"
#include "ImageFiles.h"
#include "PendingFile.h"
#include "ToolError.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

namespace vorel {
namespace tools {
namespace {

namespace fs = std::filesystem;

constexpr int kColumns = 10;
const char* const kNode = "badPixels";
const char* const kHeader = "x,y,x1,y1,x2,y2,x3,y3,x4,y4";
const char* const kFormats = "unsupported list format (.csv, .yml, .yaml or .json)";

enum class Format { Csv, Storage, Unknown };

Format formatOf(const std::string& path) {
    const std::string extension = fs::path(path).extension().string();
    if (extension == ".csv") return Format::Csv;
    if (extension == ".yml" || extension == ".yaml" || extension == ".json") return Format::Storage;
    return Format::Unknown;
}

ToolError unreadable(const std::string& path, const std::string& reason) {
    return ToolError(ExitCode::UnreadableInput, cannotRead(path, reason));
}

std::string trimmed(const std::string& text) {
    const size_t begin = text.find_first_not_of(" \t\r");
    if (begin == std::string::npos) return "";
    return text.substr(begin, text.find_last_not_of(" \t\r") - begin + 1);
}

cv::Mat_<unsigned short> readCsv(const std::string& path) {
    std::ifstream in(path);
    std::string line;
    if (!std::getline(in, line) || trimmed(line).empty() || std::isdigit(static_cast<unsigned char>(trimmed(line)[0])))
        throw unreadable(path, std::string("line 1 is no header; a list starts with the line ") + kHeader);
    std::vector<unsigned short> values;
    for (int number = 2; std::getline(in, line); ++number) {
        if (trimmed(line).empty()) continue;
        std::stringstream fields(line);
        std::string field;
        int count = 0;
        while (std::getline(fields, field, ',')) {
            const std::string text = trimmed(field);
            size_t used = 0;
            unsigned long value = 0;
            try {
                value = std::stoul(text, &used);
            } catch (const std::exception&) {
                used = 0;
            }
            if (text.empty() || used != text.size() || !std::isdigit(static_cast<unsigned char>(text[0])) ||
                value > 65535)
                throw unreadable(
                    path, "line " + std::to_string(number) + ": '" + text + "' is no whole number from 0 to 65535");
            values.push_back(static_cast<unsigned short>(value));
            ++count;
        }
        if (count != kColumns)
            throw unreadable(path, "line " + std::to_string(number) + " has " + std::to_string(count) +
                                       " values; a bad pixel takes 10 (x, y and four replacement pairs)");
    }
    cv::Mat_<unsigned short> list(static_cast<int>(values.size() / kColumns), kColumns);
    std::copy(values.begin(), values.end(), list.begin());
    return list;
}

cv::Mat_<unsigned short> readStorage(const std::string& path) {
    cv::Mat list;
    try {
        cv::FileStorage storage(path, cv::FileStorage::READ);
        if (!storage.isOpened()) throw unreadable(path, "not a FileStorage file");
        const cv::FileNode node = storage[kNode];
        if (node.empty() || !node.isMap()) throw unreadable(path, std::string("it holds no '") + kNode + "' matrix");
        node >> list;
    } catch (const cv::Exception& error) {
        throw unreadable(path, "damaged: " + error.err);
    }
    if (list.empty()) return cv::Mat_<unsigned short>(0, kColumns);
    if (list.type() != CV_16UC1 || list.cols != kColumns)
        throw unreadable(path, std::string("'") + kNode + "' is a " + std::to_string(list.rows) + " x " +
                                   std::to_string(list.cols) + " " + cv::typeToString(list.type()) +
                                   " matrix; a bad-pixel list is N x 10 of CV_16UC1");
    return list;
}

}  // namespace

void requireListFormat(const std::string& path) {
    if (formatOf(path) == Format::Unknown) throw ToolError(ExitCode::UnwritableOutput, cannotWrite(path, kFormats));
}

cv::Mat_<unsigned short> readBadPixelList(const std::string& path) {
    const Format format = formatOf(path);
    if (format == Format::Unknown) throw unreadable(path, kFormats);
    requireReadableFile(path);
    return format == Format::Csv ? readCsv(path) : readStorage(path);
}

void writeBadPixelList(const std::string& path, const cv::Mat_<unsigned short>& list) {
    requireListFormat(path);
    CV_Assert(list.empty() || list.cols == kColumns);
    PendingFile file(path);
    if (formatOf(path) == Format::Csv) {
        std::ofstream out(file.temporary());
        out << kHeader << '\n';
        for (int r = 0; r < list.rows; ++r)
            for (int c = 0; c < kColumns; ++c) out << list(r, c) << (c + 1 < kColumns ? ',' : '\n');
        if (!out.flush()) throw ToolError(ExitCode::UnwritableOutput, cannotWrite(path, "write failed"));
    } else {
        try {
            cv::FileStorage storage(file.temporary(), cv::FileStorage::WRITE);
            storage << kNode << (list.empty() ? cv::Mat_<unsigned short>(0, kColumns) : list);
        } catch (const cv::Exception& error) {
            throw ToolError(ExitCode::UnwritableOutput, cannotWrite(path, error.err));
        }
    }
    file.commit();
}

}  // namespace tools
}  // namespace vorel
