// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"
#include "vision/superresolution/SrFloatRegistration2.h"

#include <opencv2/core.hpp>

#include <vector>

namespace vorel {
namespace vision {

/// The registration of the vector engine: SrFloatRegistration2 (frame
/// preparation, corner tracking, sub-pixel refinement, shifts and limits alike)
/// with float validity masks, 1.0 for a pixel to use and 0.0 for one to ignore.
class VRLIB_API SrFloatNeonRegistration : public SrFloatRegistration2 {
public:
    SrFloatNeonRegistration(int width, int height, int numFrames);

    /// SrFloatRegistration2::doRegistration with `masks` as float images, one of
    /// width x height floats for each of the numFrames window slots. A null mask
    /// raises OpenCV's assertion error; "Too large displacement" is thrown with
    /// this function's place.
    int doRegistration(int n, int ref, float** const frames, cv::Point_<float>* shifts, float** masks, float** shifted);

private:
    void toFloatMasks_(float** masks);

    int width;
    int height;
    // The byte masks that the shared registration fills, one per window slot.
    std::vector<std::vector<char>> byteMasks;
    std::vector<char*> byteMaskSlots;
};

}  // namespace vision
}  // namespace vorel
