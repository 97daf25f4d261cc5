// SPDX-License-Identifier: Proprietary
#pragma once

#include "Reconstructor.h"

#include "vision/superresolution/SrFloat.h"
#include "vision/superresolution/SrFloatNeon.h"
#include "vision/superresolution/reference/SuperResolution.h"

#include <memory>

namespace vorel {
namespace tools {

/// Reconstruction with a C++ engine, for windows other than 5, for the
/// parameters that the C interface does not expose, for phase correlation, the
/// vector engine and the first-generation engine. Engine: SrFloat<SrFloatRegistration2>,
/// SrFloat<SrFloatRegistration1>, SrFloatNeon<SrFloatNeonRegistration> or SuperResolution.
template <class Engine>
class EngineReconstructor : public Reconstructor {
public:
    EngineReconstructor(cv::Size frameSize, const ReconstructionSettings& settings);

    Outcome add(const cv::Mat_<float>& frame) override;
    cv::Mat_<float> result() const override { return result_; }
    int window() const override { return engine_->getWindowSize(); }

private:
    std::unique_ptr<Engine> engine_;
    bool verbose_;
    int frames_ = 0;
    cv::Mat_<float> result_;
};

using FloatEngineReconstructor = EngineReconstructor<vision::SrFloat<vision::SrFloatRegistration2>>;
using PhaseEngineReconstructor = EngineReconstructor<vision::SrFloat<vision::SrFloatRegistration1>>;
using VectorEngineReconstructor = EngineReconstructor<vision::SrFloatNeon<vision::SrFloatNeonRegistration>>;
using ReferenceEngineReconstructor = EngineReconstructor<vision::SuperResolution>;

}  // namespace tools
}  // namespace vorel
