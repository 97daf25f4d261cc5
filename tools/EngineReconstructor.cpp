// SPDX-License-Identifier: Proprietary
#include "EngineReconstructor.h"
#include "EngineCalls.h"

namespace vorel {
namespace tools {

template <class Engine>
EngineReconstructor<Engine>::EngineReconstructor(cv::Size frameSize, const ReconstructionSettings& settings)
    : engine_(configuredEngine<Engine>(frameSize, settings)), verbose_(settings.verbose) {}

template <class Engine>
Outcome EngineReconstructor<Engine>::add(const cv::Mat_<float>& frame) {
    const cv::Mat_<float> pixels = frame.isContinuous() ? frame : frame.clone();
    StreamSilencer quiet(STDOUT_FILENO, !verbose_);
    Outcome outcome;
    outcome.code = guarded(ExitCode::Reconstruction, [&] { return engine_->addFrame(pixels[0]); });
    outcome.computed = ++frames_ >= window();
    if (!outcome.computed) return outcome;
    const float value = guarded(ExitCode::Reconstruction, [&] {
        result_.create(2 * frame.rows, 2 * frame.cols);
        return engine_->computeSR(result_[0]);
    });
    interpretComputation(value, outcome);
    return outcome;
}

template class EngineReconstructor<vision::SrFloat<vision::SrFloatRegistration2>>;
template class EngineReconstructor<vision::SrFloat<vision::SrFloatRegistration1>>;
template class EngineReconstructor<vision::SuperResolution>;
template class EngineReconstructor<vision::SrFloatNeon<vision::SrFloatNeonRegistration>>;

}  // namespace tools
}  // namespace vorel
