// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"

#include <opencv2/core.hpp>

#include <vector>

namespace vorel {
namespace vision {

/// Finds and repairs defective pixels of incoming frames, keeps a defect map
/// per recent frame, and marks and refills the high-resolution pixels those
/// defects could have spoiled.
///
/// Defect codes: 0 valid, 1 marker pattern 130, 2 marker pattern 129, 3 marker
/// 132 or 133, infinity or NaN, 4 below the lower limit, 5 above the upper limit.
/// Markers are tiny denormal floats identified by their 32-bit pattern.
class VRLIB_API SuperResolutionBadPixelHandling {
public:
    explicit SuperResolutionBadPixelHandling(unsigned int numFrames);
    ~SuperResolutionBadPixelHandling();

    /// true: limits -32768 .. 32767 (raw counts); false: -274 .. 5000 (degrees Celsius).
    void setDataIsNUC(bool dataIsNUC);

    /// Smallest and largest valid value (first occurrence in row-major order) and
    /// their positions when the pointers are not null.
    void getMinMaxVal(const cv::Mat_<float>& image, float& minVal, float& maxVal, cv::Point* minLoc = nullptr,
                      cv::Point* maxLoc = nullptr) const;

    /// Repairs `image` in place and stores its defect map. Returns 0, or -2 when a
    /// defect could not be repaired from its neighbours; throws vorel::Exception
    /// when more than 10 pixels are hopeless.
    int detectAndReplaceBadPixel(cv::Mat_<float>& image);

    /// Writes marker patterns into 7 x 7 blocks of the estimate around the
    /// positions of the remembered defects.
    void maskBadPixel(cv::Mat_<float>& estimate, const std::vector<cv::Point2f>& shifts);

    /// Refills marked estimate pixels with the mean of the frames' valid samples there.
    void replaceMaskedPixel(cv::Mat_<float>& estimate, const std::vector<cv::Point2f>& shifts,
                            const std::vector<cv::Mat_<float>>& frames);

    /// Debugging aid: paints marker 129 red and marker 130 blue into `picture`.
    void colorBadPixel(const cv::Mat_<float>& image, cv::Mat_<cv::Vec<unsigned char, 3>>& picture) const;

    /// Forgets the defect maps, with the engine's window.
    void clearDefectMaps() { defectMaps.clear(); }
    /// Defect maps of the recent frames, oldest first.
    const std::vector<cv::Mat_<unsigned char>>& getDefectMaps() const { return defectMaps; }

private:
    friend class SuperResolutionBadPixelHandlingInspector;  // test access

    bool getReplacementValue_(const cv::Mat_<float>& image, int x, int y, float& value) const;

    unsigned int numFrames;
    float lowerLimit;
    float upperLimit;
    bool dataIsNUC;
    cv::Point neighbours[4];
    std::vector<cv::Mat_<unsigned char>> defectMaps;
};

}  // namespace vision
}  // namespace vorel
