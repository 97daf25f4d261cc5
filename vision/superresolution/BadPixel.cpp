// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/BadPixel.h"

#include "vorel/Exception.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <string>

namespace vorel {
namespace vision {

namespace {

constexpr int kColumns = 10;  // x, y, then four replacement pairs

bool isList(const cv::Mat& list) { return list.cols == kColumns && list.type() == CV_16U; }

unsigned int linearIndex(unsigned int x, unsigned int y, cv::Size size) {
    return x + y * static_cast<unsigned int>(size.width);
}

bool inside(unsigned int x, unsigned int y, cv::Size size) {
    return x < static_cast<unsigned int>(size.width) && y < static_cast<unsigned int>(size.height);
}

bool replacementsInside(const unsigned short* row, cv::Size size) {
    for (int k = 2; k < kColumns; k += 2)
        if (!inside(row[k], row[k + 1], size)) return false;
    return true;
}

std::set<unsigned int> linearIndices(const cv::Mat_<unsigned short>& list, cv::Size size, int begin, int end) {
    std::set<unsigned int> indices;
    for (int r = begin; r < end; ++r) indices.insert(linearIndex(list(r, 0), list(r, 1), size));
    return indices;
}

// Up, right, down, left: the nearest pixels first, then the diagonals.
const cv::Point kSimpleNhood[4][7] = {
    {{0, -1}, {0, -2}, {-1, -1}, {1, -1}, {-1, -2}, {1, -2}, {0, -3}},
    {{1, 0}, {2, 0}, {1, -1}, {1, 1}, {2, -1}, {2, 1}, {3, 0}},
    {{0, 1}, {0, 2}, {1, 1}, {-1, 1}, {1, 2}, {-1, 2}, {0, 3}},
    {{-1, 0}, {-2, 0}, {-1, 1}, {-1, -1}, {-2, 1}, {-2, -1}, {-3, 0}},
};

// Drops `leaving` from a running sum; false (the sum kept) where that would turn it
// negative, which only a histogram with negative counts can cause.
bool drop(std::int64_t& sum, std::int64_t leaving) {
    if (sum < leaving) return false;
    sum -= leaving;
    return true;
}

// Bins whose count is above 0 while the counts within span below, span / 2 around and
// span above are each below threshold. Clears `complete` when a bin could not be examined.
std::vector<int> isolatedBins(const int* bins, int count, unsigned short threshold, unsigned short span,
                              bool& complete) {
    const int half = span / 2;
    std::int64_t below = bins[0], around = 0, above = 0;
    for (int b = 0; b <= std::min(half, count - 1); ++b) around += bins[b];
    for (int b = 0; b <= std::min<int>(span, count - 1); ++b) above += bins[b];
    std::vector<int> marked;
    for (int b = 0; b < count; ++b) {
        bool examined = true;
        if (b > 0) {
            if (b - span - 1 >= 0) examined = drop(below, bins[b - span - 1]) && examined;
            below += bins[b];
            if (b - half - 1 >= 0) examined = drop(around, bins[b - half - 1]) && examined;
            if (b + half < count) around += bins[b + half];
            examined = drop(above, bins[b - 1]) && examined;
            if (b + span < count) above += bins[b + span];
        }
        if (!examined) {
            complete = false;
            continue;
        }
        if (bins[b] > 0 && below < threshold && around < threshold && above < threshold) marked.push_back(b);
    }
    return marked;
}

}  // namespace

// ---- The record

BadPixel::BadPixel() : column(0), row(0) {}

BadPixel::BadPixel(unsigned int a, unsigned int b, const std::vector<Point>& replacements,
                   const std::vector<unsigned short>& reasons)
    : replacementPixels(replacements), column(b), row(a), defectReasons(reasons) {}

BadPixel::BadPixel(const BadPixel&) = default;
BadPixel& BadPixel::operator=(const BadPixel&) = default;
BadPixel::~BadPixel() = default;

void BadPixel::set(unsigned int a, unsigned int b) {
    row = a;
    column = b;
}

void BadPixel::set(const Point& p) {
    row = p.x;
    column = p.y;
}

void BadPixel::pos(unsigned int& a, unsigned int& b) const {
    a = row;
    b = column;
}

void BadPixel::addReplacementPixel(const Point& p) { replacementPixels.push_back(p); }

void BadPixel::addReplacementPixel(unsigned int a, unsigned int b) { replacementPixels.emplace_back(b, a); }

void BadPixel::clearReplacements() { replacementPixels.clear(); }

std::vector<BadPixel::Point> BadPixel::getReplacementPixels() const { return replacementPixels; }

std::size_t BadPixel::getNumberOfReplacementPixels() const { return replacementPixels.size(); }

void BadPixel::addDefectReasons(const std::vector<unsigned short>& reasons) {
    for (const unsigned short reason : reasons)
        if (std::find(defectReasons.begin(), defectReasons.end(), reason) == defectReasons.end())
            defectReasons.push_back(reason);
}

std::vector<unsigned short> BadPixel::retrieveDefectReasons() const { return defectReasons; }

// ---- Replacement pixels

BadPixel::ReplacePixelQuery BadPixel::computeReplacePixelQuery(unsigned int radius) {
    ReplacePixelQuery query(4);
    // Unsigned on purpose: radius 0 reaches as far as radius 1.
    const float reach = static_cast<float>(radius - 1);
    for (unsigned int i = 0; i <= radius; ++i) {
        for (unsigned int j = 0; j <= radius; ++j) {
            // Measured from row i although the offset lies on row i + 1: the adjacent pixel is at 0.
            const float distance = std::sqrt(static_cast<float>(j * j + i * i));
            if (reach < distance) continue;
            const int dx = static_cast<int>(j), dy = static_cast<int>(i) + 1;
            query[0].emplace(distance, cv::Point(dx, dy));
            if (j != 0) query[0].emplace(distance, cv::Point(-dx, dy));
        }
    }
    for (const auto& entry : query[0]) {
        const cv::Point p = entry.second;
        query[1].emplace(entry.first, cv::Point(-p.y, p.x));
        query[2].emplace(entry.first, cv::Point(-p.x, -p.y));
        query[3].emplace(entry.first, cv::Point(p.y, -p.x));
    }
    return query;
}

bool BadPixel::calculateSingleReplacePixel(cv::Mat_<unsigned short>& list, unsigned short index, cv::Size size,
                                           const ReplacePixelQuery& query, std::set<unsigned int>& badIndices) {
    if (index >= list.rows || list.cols != kColumns) return false;
    if (badIndices.empty()) badIndices = linearIndices(list, size, 0, list.rows);
    const int x0 = list(index, 0), y0 = list(index, 1);

    struct Candidate {
        float distance;
        cv::Point pixel;
    };
    std::array<Candidate, 4> found;
    int count = 0;
    // Every pass starts each direction afresh, so a direction finds its pixel again:
    // the four replacements may repeat one pixel.
    while (count < 4) {
        const int before = count;
        for (const auto& direction : query) {
            if (count == 4) break;
            for (const auto& entry : direction) {
                const int x = x0 + entry.second.x, y = y0 + entry.second.y;
                const auto ux = static_cast<unsigned int>(x), uy = static_cast<unsigned int>(y);
                if (!inside(ux, uy, size) || badIndices.count(linearIndex(ux, uy, size))) continue;
                found[count++] = {entry.first, cv::Point(x, y)};
                break;
            }
        }
        if (count == before) return false;
    }
    std::stable_sort(found.begin(), found.end(),
                     [](const Candidate& a, const Candidate& b) { return a.distance < b.distance; });
    for (int k = 0; k < 4; ++k) {
        list(index, 2 + 2 * k) = static_cast<unsigned short>(found[k].pixel.x);
        list(index, 3 + 2 * k) = static_cast<unsigned short>(found[k].pixel.y);
    }
    return true;
}

bool BadPixel::calculateSingleReplacePixel(cv::Mat_<unsigned short>& list, unsigned short index, cv::Size size,
                                           const ReplacePixelQuery& query) {
    std::set<unsigned int> badIndices;
    return calculateSingleReplacePixel(list, index, size, query, badIndices);
}

bool BadPixel::calculateSingleReplacePixel(cv::Mat_<unsigned short>& list, unsigned short index, cv::Size size,
                                           int radius) {
    if (radius < 0) return false;
    if (radius == 3) return calculateSingleReplacePixelSimpleNhood(list, index, size);
    return calculateSingleReplacePixel(list, index, size, computeReplacePixelQuery(static_cast<unsigned int>(radius)));
}

bool BadPixel::calculateSingleReplacePixelSimpleNhood(cv::Mat_<unsigned short>& list, unsigned short index,
                                                      cv::Size size) {
    if (list.empty() || index >= list.rows || list.cols != kColumns) return false;
    const unsigned short x0 = list(index, 0), y0 = list(index, 1);
    const auto listed = [&](unsigned short x, unsigned short y) {
        for (int r = 0; r < list.rows; ++r)
            if (list(r, 0) == x && list(r, 1) == y) return true;
        return false;
    };
    int written = 0;
    for (int pass = 0; pass < 4; ++pass) {
        bool taken = false;
        for (int k = 0; k < 4 && !taken; ++k) {
            for (const cv::Point& offset : kSimpleNhood[(pass + k) % 4]) {
                // 16-bit wrap-around puts negative coordinates far outside.
                const auto x = static_cast<unsigned short>(x0 + offset.x);
                const auto y = static_cast<unsigned short>(y0 + offset.y);
                if (!inside(x, y, size) || listed(x, y)) continue;
                list(index, 2 + 2 * written) = x;
                list(index, 3 + 2 * written) = y;
                ++written;
                taken = true;
                break;
            }
        }
    }
    return written == 4;
}

bool BadPixel::calculateReplacePixels(cv::Mat_<unsigned short>& list, cv::Size size, unsigned int radius) {
    std::set<unsigned int> badIndices = linearIndices(list, size, 0, list.rows);
    const ReplacePixelQuery query = computeReplacePixelQuery(radius);
    const auto rows = static_cast<short>(list.rows);
    bool all = true;
    for (short r = 0; r < rows; ++r) all = calculateSingleReplacePixel(list, r, size, query, badIndices) && all;
    return all;
}

bool BadPixel::appendBadPixel(const cv::Mat& newList, cv::Mat& list, cv::Size size, unsigned int radius) {
    if (list.empty()) list = cv::Mat(0, newList.cols, newList.type());
    if (newList.rows == 0) return true;
    if (!isList(newList) || !isList(list)) return false;

    const int old = list.rows;
    cv::Mat_<unsigned short> combined(old + newList.rows, kColumns);
    if (old > 0) list.copyTo(combined.rowRange(0, old));
    newList.copyTo(combined.rowRange(old, combined.rows));

    const std::set<unsigned int> oldPixels = linearIndices(combined, size, 0, old);
    const std::set<unsigned int> newPixels = linearIndices(combined, size, old, combined.rows);
    std::vector<int> recompute;
    for (int r = 0; r < combined.rows; ++r) {
        const unsigned short* row = combined[r];
        const unsigned int self = linearIndex(row[0], row[1], size);
        bool again = r >= old && !replacementsInside(row, size);
        for (int k = 2; k < kColumns && !again; k += 2) {
            const unsigned int named = linearIndex(row[k], row[k + 1], size);
            again = r < old ? newPixels.count(named) > 0 : oldPixels.count(named) > 0 || named == self;
        }
        if (again) recompute.push_back(r);
    }
    if (!recompute.empty()) {
        const ReplacePixelQuery query = computeReplacePixelQuery(radius);
        std::set<unsigned int> badIndices;  // filled from the combined list on first use
        for (const int r : recompute)
            calculateSingleReplacePixel(combined, static_cast<unsigned short>(r), size, query, badIndices);
    }
    list = combined;
    return true;
}

// ---- Histogram, search and repair

bool BadPixel::buildValueHistogram(const cv::Mat_<short>& image, cv::Mat_<int>& histogram, short minValue,
                                   short maxValue) {
    // Rows and columns are counted in 16 bits.
    if (image.empty() || minValue >= maxValue || image.rows > 65535 || image.cols > 65535) return false;
    const int last = maxValue - minValue;
    histogram.create(1, last + 1);
    histogram.setTo(0);
    int* bins = histogram[0];
    for (int r = 0; r < image.rows; ++r) {
        const short* row = image[r];
        for (int c = 0; c < image.cols; ++c) bins[std::clamp(row[c] - minValue, 0, last)]++;
    }
    return true;
}

bool BadPixel::performNeighbourSearch(const cv::Mat_<short>& image, cv::Mat_<int>& histogram,
                                      cv::Mat_<unsigned short>& list, short minValue, short maxValue,
                                      unsigned short threshold, unsigned short span) {
    if (histogram.empty() || !histogram.isContinuous() || threshold == 0 || span < 2 || list.cols != kColumns ||
        image.empty())
        return false;
    const auto capacity = static_cast<unsigned short>(list.rows);
    list.setTo(0);
    int* bins = histogram.ptr<int>();
    const int binCount = static_cast<int>(histogram.total());
    int found = 0;
    bool complete = false;
    const auto setPixel = [&list](int r, int x, int y) {
        list(r, 0) = static_cast<unsigned short>(x);
        list(r, 1) = static_cast<unsigned short>(y);
    };

    // Outliers: all of them or none.
    if (std::int64_t(bins[0]) + bins[binCount - 1] <= capacity) {
        if (bins[0] != 0 || bins[binCount - 1] != 0) {
            for (int y = 0; y < image.rows && found < capacity; ++y) {
                const short* row = image[y];
                for (int x = 0; x < image.cols && found < capacity; ++x)
                    if (row[x] <= minValue || row[x] >= maxValue) setPixel(found++, x, y);
            }
            bins[0] = 0;
            bins[binCount - 1] = 0;
        }

        // Isolated values. Rather than one image scan per marked bin, one pass counts
        // the pixels of every marked bin and a second writes them straight to their
        // rows: by bin, then in row-major order, as consecutive scans would.
        complete = true;
        const std::vector<int> marked = isolatedBins(bins, binCount, threshold, span, complete);
        if (!marked.empty()) {
            std::vector<int> slot(binCount, -1);
            for (std::size_t k = 0; k < marked.size(); ++k) slot[marked[k]] = static_cast<int>(k);
            const auto slotOf = [&](short value) {
                const int b = value - minValue;
                return b >= 0 && b < binCount ? slot[b] : -1;
            };
            std::vector<int> next(marked.size(), 0);
            for (int y = 0; y < image.rows; ++y) {
                const short* row = image[y];
                for (int x = 0; x < image.cols; ++x)
                    if (const int k = slotOf(row[x]); k >= 0) ++next[k];
            }
            // A bin's scan stops at a pixel that finds no room, and the search with it.
            int start = found;
            for (int& offset : next) {
                const int pixels = offset;
                offset = start;
                start += pixels;
                if (start > capacity) complete = false;
            }
            for (int y = 0; y < image.rows; ++y) {
                const short* row = image[y];
                for (int x = 0; x < image.cols; ++x) {
                    const int k = slotOf(row[x]);
                    if (k < 0 || next[k] >= capacity) continue;
                    setPixel(next[k]++, x, y);
                }
            }
            found = std::min<int>(start, capacity);
        }
    }

    if (found == 0) {
        list = cv::Mat_<unsigned short>(0, kColumns);
        return complete;
    }
    list = list.rowRange(0, found);
    for (int r = 0; r < found; ++r) {
        list(r, 2) = static_cast<unsigned short>(image.cols);
        list(r, 3) = static_cast<unsigned short>(image.rows);
    }
    return complete;
}

bool BadPixel::removeBadPixel(cv::Mat_<short>& image, cv::Mat_<unsigned short> list) {
    if (image.empty() || (!list.empty() && list.cols != kColumns)) return false;
    bool all = true;
    for (int r = 0; r < list.rows; ++r) {
        const unsigned short* row = list[r];
        if (!inside(row[0], row[1], image.size()) || !replacementsInside(row, image.size())) {
            all = false;
            continue;
        }
        int sum = 0;
        for (int k = 2; k < kColumns; k += 2) sum += image(row[k + 1], row[k]);
        image(row[1], row[0]) = static_cast<short>(sum / 4);  // truncation toward zero
    }
    return all;
}

void BadPixel::drawBadPixels(const cv::Mat& list, cv::Mat_<cv::Vec3b>& image, const cv::Scalar& colour,
                             unsigned int size, bool randomColour) {
    if (!isList(list)) throw vorel::Exception("ERROR: \t >>Unspported BadPixel format!!", VOREL_PLACE);
    for (int r = 0; r < list.rows; ++r) {
        const unsigned int x = list.at<unsigned short>(r, 0), y = list.at<unsigned short>(r, 1);
        if (x >= static_cast<unsigned int>(image.cols) || y >= static_cast<unsigned int>(image.rows))
            throw vorel::Exception(
                "ERROR: \t >>BadPixel [" + std::to_string(y) + "," + std::to_string(x) + "] out of bounds ",
                VOREL_PLACE);
        cv::Scalar boxColour = colour;
        if (randomColour) {
            const unsigned int b = cv::theRNG(), g = cv::theRNG(), red = cv::theRNG();
            boxColour = cv::Scalar(b & 255, g & 255, red & 255, 0);
        }
        const int half = static_cast<int>(size / 2);
        cv::rectangle(image,
                      cv::Rect(static_cast<int>(x) - half, static_cast<int>(y) - half, static_cast<int>(size),
                               static_cast<int>(size)),
                      boxColour, 1, 8, 0);
    }
}

}  // namespace vision
}  // namespace vorel
