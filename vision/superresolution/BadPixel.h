// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"

#include <opencv2/core.hpp>

#include <map>
#include <set>
#include <vector>

namespace vorel {
namespace vision {

/// One defective sensor pixel (its position, the pixels that replace it and
/// why it is defective), and static tools for whole bad-pixel lists.
///
/// A bad-pixel list is an N x 10 CV_16U matrix, one row per bad pixel:
/// x, y of the pixel, then x, y of its four replacement pixels. A replacement
/// outside the image marks one still to be computed. Pixels are identified by
/// their linear index x + y * width.
///
/// The record's position is stored crosswise. The two-number forms take
/// (row, column): BadPixel(a, b), set(a, b), pos(a, b) and
/// addReplacementPixel(a, b) treat a as y and b as x. set(const Point&) does
/// not swap back, so set(p) followed by pos() returns p with x and y exchanged.
/// Callers depend on this.
class VRLIB_API BadPixel {
public:
    using Point = cv::Point_<unsigned int>;
    /// Per direction (0 down, 1 left, 2 up, 3 right) the candidate offsets (dx, dy)
    /// by distance; equal distances keep their insertion order.
    using ReplacePixelQuery = std::vector<std::multimap<float, cv::Point_<int>>>;

    BadPixel();
    /// column = b, row = a.
    BadPixel(unsigned int a, unsigned int b, const std::vector<Point>& replacements,
             const std::vector<unsigned short>& reasons);
    BadPixel(const BadPixel&);
    BadPixel& operator=(const BadPixel&);
    virtual ~BadPixel();

    /// column = b, row = a.
    void set(unsigned int a, unsigned int b);
    /// column = p.y, row = p.x (crosswise).
    void set(const Point& p);
    unsigned int x() const { return column; }
    unsigned int y() const { return row; }
    /// (x = column, y = row).
    Point pos() const { return Point(column, row); }
    /// a = row, b = column.
    void pos(unsigned int& a, unsigned int& b) const;

    void addReplacementPixel(const Point& p);
    /// Appends (x = b, y = a).
    void addReplacementPixel(unsigned int a, unsigned int b);
    void clearReplacements();
    std::vector<Point> getReplacementPixels() const;
    std::size_t getNumberOfReplacementPixels() const;

    /// Appends the codes not yet present, in the given order.
    void addDefectReasons(const std::vector<unsigned short>& reasons);
    std::vector<unsigned short> retrieveDefectReasons() const;

    // ---- Tools for bad-pixel lists. All return true on success; a failure
    // leaves the rows already written in place.

    /// Merges `newList` into `list` (which is created empty, with newList's columns
    /// and type, if it is empty). Recomputes the replacements of the old rows that
    /// name a new pixel, and of the new rows that name an old pixel or themselves or
    /// that lie partly outside `size`, with a search of `radius`. False if newList is
    /// not N x 10 CV_16U (or list, when it has rows); true otherwise, also when some
    /// recomputation found no replacement.
    static bool appendBadPixel(const cv::Mat& newList, cv::Mat& list, cv::Size size, unsigned int radius);

    /// Computes the replacements of every row with the search of `radius`; true only
    /// if every row got four. Rows beyond 32767 are not visited.
    static bool calculateReplacePixels(cv::Mat_<unsigned short>& list, cv::Size size, unsigned int radius);

    /// Replacements of row `index`: radius 3 uses the fixed neighbourhood of
    /// calculateSingleReplacePixelSimpleNhood, any other the search of that radius;
    /// a negative radius gives false.
    static bool calculateSingleReplacePixel(cv::Mat_<unsigned short>& list, unsigned short index, cv::Size size,
                                            int radius);

    /// Replacements of row `index` from `query`: per pass each direction adds its
    /// nearest good pixel inside the image, until four are found; they are written
    /// by ascending distance and may repeat a pixel. `badIndices` holds the linear
    /// indices of the bad pixels; an empty set is filled from the list (so one set
    /// can serve several calls on the same list). False, with the row unchanged,
    /// when no good pixel is within reach, or for an index outside the list.
    static bool calculateSingleReplacePixel(cv::Mat_<unsigned short>& list, unsigned short index, cv::Size size,
                                            const ReplacePixelQuery& query, std::set<unsigned int>& badIndices);
    static bool calculateSingleReplacePixel(cv::Mat_<unsigned short>& list, unsigned short index, cv::Size size,
                                            const ReplacePixelQuery& query);

    /// Replacements of row `index` from a fixed table of seven offsets in each of
    /// four directions; pass p starts with direction p. True when four were
    /// written; false keeps those written (or for an empty list or an index outside it).
    static bool calculateSingleReplacePixelSimpleNhood(cv::Mat_<unsigned short>& list, unsigned short index,
                                                       cv::Size size);

    /// The candidate offsets within `radius` in four directions. The distance is
    /// measured one row short, so the adjacent pixel has distance 0.
    static ReplacePixelQuery computeReplacePixelQuery(unsigned int radius);

    /// `histogram` becomes 1 x (maxValue - minValue + 1) counts of the image's
    /// values; values below minValue count into bin 0, above maxValue into the last.
    /// False for an empty image, one with 65536 or more rows or columns, or
    /// minValue >= maxValue.
    static bool buildValueHistogram(const cv::Mat_<short>& image, cv::Mat_<int>& histogram, short minValue,
                                    short maxValue);

    /// Finds the bad pixels of a flat-field or dark frame into `list`, whose row
    /// count on entry (as 16 bits) is the capacity. `histogram` is the one
    /// buildValueHistogram made with the same limits; its end bins are cleared.
    ///
    /// First the outliers, pixels at or beyond minValue or maxValue (none at all
    /// if there are more than the capacity); then the pixels of every value whose
    /// count is above 0 while the counts within `span` bins below, `span` / 2 around
    /// and `span` above are each below `threshold`. Rows run by value, then in
    /// row-major order; each row's replacement 1 is (image columns, image rows),
    /// to be computed. When no pixel is found, `list` is left empty (0 x 10), not
    /// as zero rows that would name pixel (0, 0).
    ///
    /// True when every value was examined; false for an empty image or histogram,
    /// threshold 0, span < 2 or a list without 10 columns, and when the capacity
    /// ended the search.
    static bool performNeighbourSearch(const cv::Mat_<short>& image, cv::Mat_<int>& histogram,
                                       cv::Mat_<unsigned short>& list, short minValue, short maxValue,
                                       unsigned short threshold, unsigned short span);

    /// Each listed pixel := the mean of its four replacements, truncated toward
    /// zero, in list order (a repaired pixel may serve a later row). Rows with a
    /// pixel or replacement outside the image are skipped and make the result
    /// false. False for an empty image or a list without 10 columns.
    static bool removeBadPixel(cv::Mat_<short>& image, cv::Mat_<unsigned short> list);

    /// Draws a `size` x `size` box around each listed pixel, in `colour` or, with
    /// `randomColour`, in a colour of cv::theRNG() per row. Throws vorel::Exception
    /// for a list that is not N x 10 CV_16U and for a pixel outside the image.
    static void drawBadPixels(const cv::Mat& list, cv::Mat_<cv::Vec3b>& image, const cv::Scalar& colour,
                              unsigned int size, bool randomColour);

private:
    std::vector<Point> replacementPixels;
    unsigned int column;
    unsigned int row;
    std::vector<unsigned short> defectReasons;
};

}  // namespace vision
}  // namespace vorel
