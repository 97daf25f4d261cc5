// SPDX-License-Identifier: Proprietary
#pragma once

#include "Reconstructor.h"

#include "vision/superresolution/SrFloat.h"
#include "vision/superresolution/reference/SuperResolution.h"

#include <variant>

namespace vorel {
namespace tools {

/// Reconstruction with the C++ engine, for windows other than 5, for the
/// parameters that the C interface does not expose, and for the choice of the
/// registration or of the first-generation engine.
class EngineReconstructor : public Reconstructor {
public:
    EngineReconstructor(cv::Size frameSize, const ReconstructionSettings& settings);

    Outcome add(const cv::Mat_<float>& frame) override;
    cv::Mat_<float> result() const override { return result_; }
    int window() const override;

private:
    using Engine = std::variant<vision::SrFloat<vision::SrFloatRegistration2>,
                                vision::SrFloat<vision::SrFloatRegistration1>, vision::SuperResolution>;
    static Engine makeEngine(cv::Size frameSize, const ReconstructionSettings& settings);

    Engine engine_;
    bool verbose_;
    int frames_ = 0;
    cv::Mat_<float> result_;
};

}  // namespace tools
}  // namespace vorel
