// SPDX-License-Identifier: Proprietary
#include "vision/superresolution/SrFloatNeonRegistration.h"

#include "vorel/Exception.h"

namespace vorel {
namespace vision {

SrFloatNeonRegistration::SrFloatNeonRegistration(int width, int height, int numFrames)
    : SrFloatRegistration2(width, height, numFrames),
      width(width),
      height(height),
      byteMasks(static_cast<std::size_t>(numFrames), std::vector<char>(static_cast<std::size_t>(width) * height)),
      byteMaskSlots(byteMasks.size()) {}

int SrFloatNeonRegistration::doRegistration(int n, int ref, float** const frames, cv::Point_<float>* shifts,
                                            float** masks, float** shifted) {
    for (std::size_t k = 0; k < byteMasks.size(); ++k) byteMaskSlots[k] = byteMasks[k].data();
    int result;
    try {
        result = SrFloatRegistration2::doRegistration(n, ref, frames, shifts, byteMaskSlots.data(), shifted);
    } catch (const vorel::Exception& error) {
        toFloatMasks_(masks);
        throw vorel::Exception(error.message(), VOREL_PLACE);
    }
    toFloatMasks_(masks);
    return result;
}

// Every slot, as the registration fills every slot's mask. The float image is a
// header on the caller's buffer, which OpenCV checks for a null pointer.
void SrFloatNeonRegistration::toFloatMasks_(float** masks) {
    for (std::size_t k = 0; k < byteMasks.size(); ++k) {
        cv::Mat_<float> mask(height, width, masks[k]);
        cv::Mat(height, width, CV_8S, byteMasks[k].data()).convertTo(mask, CV_32F);
    }
}

}  // namespace vision
}  // namespace vorel
