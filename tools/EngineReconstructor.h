// SPDX-License-Identifier: Proprietary
#pragma once

#include "Reconstructor.h"

#include "vision/superresolution/SrFloat.h"

namespace vorel {
namespace tools {

/// Reconstruction with the C++ engine, for windows other than 5 and for the
/// parameters that the C interface does not expose.
class EngineReconstructor : public Reconstructor {
public:
    EngineReconstructor(cv::Size frameSize, const ReconstructionSettings& settings);

    Outcome add(const cv::Mat_<float>& frame) override;
    cv::Mat_<float> result() const override { return result_; }
    int window() const override { return engine_.getWindowSize(); }

private:
    vision::SrFloat<vision::SrFloatRegistration2> engine_;
    bool verbose_;
    int frames_ = 0;
    cv::Mat_<float> result_;
};

}  // namespace tools
}  // namespace vorel
