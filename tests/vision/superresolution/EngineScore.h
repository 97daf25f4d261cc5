// SPDX-License-Identifier: Proprietary
#pragma once

#include "vision/superresolution/SrFloat.h"

#include "QualityMetrics.h"

#include <iostream>
#include <vector>

namespace vorel {
namespace vision {

// PSNR against `truth` of the float engine's result for a whole burst, with the
// C interface's settings, the reference three frames back from the newest and
// the blur `psfSigma`. The engine's timing lines are swallowed.
inline double engineScore(const std::vector<cv::Mat_<float>>& frames, const cv::Mat_<float>& truth, float psfSigma) {
    SrFloat<SrFloatRegistration2> engine(frames[0].cols, frames[0].rows, static_cast<int>(frames.size()), 2.0f);
    engine.setReferenceIndex(3);
    engine.setRegError(0.0001f);
    engine.setRelativeResidue(0.007f);
    engine.setWeightTV(400.0f);
    engine.setPsfSigma(psfSigma);
    cv::Mat_<float> result;
    std::cout.setstate(std::ios::failbit);
    for (const cv::Mat_<float>& frame : frames) engine.addFrame(frame.clone());
    engine.computeSR(result);
    std::cout.clear();
    return tools::compareAligned(result, truth).psnr;
}

}  // namespace vision
}  // namespace vorel
