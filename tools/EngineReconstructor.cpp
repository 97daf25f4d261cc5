// SPDX-License-Identifier: Proprietary
#include "EngineReconstructor.h"
#include "StreamSilencer.h"
#include "ToolError.h"

#include "vorel/Exception.h"

#include <unistd.h>

#include <type_traits>

namespace vorel {
namespace tools {
namespace {

// The engine reports invalid parameters as C strings and processing errors
// as exceptions; both become one line for the user.
template <class Step>
auto guarded(ExitCode code, Step step) -> decltype(step()) {
    try {
        return step();
    } catch (const char* message) {
        throw ToolError(code, message);
    } catch (const vorel::Exception& error) {
        throw ToolError(ExitCode::Reconstruction, std::string("the library failed: ") + error.what());
    } catch (const cv::Exception& error) {
        throw ToolError(ExitCode::Reconstruction, "the library failed: " + error.err);
    }
}

}  // namespace

template <class Engine>
EngineReconstructor<Engine>::EngineReconstructor(cv::Size frameSize, const ReconstructionSettings& settings)
    : verbose_(settings.verbose) {
    {
        // The first-generation engine prints its pre-blur taps while it is built.
        StreamSilencer quiet(STDOUT_FILENO, !settings.verbose);
        engine_ = std::make_unique<Engine>(frameSize.width, frameSize.height, settings.window, 2.0f);
    }
    guarded(ExitCode::Usage, [&] {
        // The C interface's defaults, so that both paths agree where the settings do not differ.
        engine_->setReferenceIndex(settings.reference);
        engine_->setWeightTV(settings.tvWeight > 0.0f ? settings.tvWeight : 400.0f);
        engine_->setRegError(0.0001f);
        engine_->setRelativeResidue(0.007f);
        if (settings.iterations > 0) engine_->setMaxCGIters(settings.iterations);
        if (settings.psfSigma > 0.0f) engine_->setPsfSigma(settings.psfSigma);
        // The first-generation engine runs on the caller's thread alone.
        if constexpr (!std::is_same<Engine, vision::SuperResolution>::value) engine_->setThreadCount(settings.threads);
    });
}

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
    if (value == -998.0f) throw ToolError(ExitCode::Reconstruction, "the frames could not be registered");
    if (value == -6.0f || value == -3.0f || value == -2.0f) {
        outcome.code = static_cast<int>(value);
    } else if (value < 0.0f) {
        throw ToolError(ExitCode::Reconstruction, "the minimisation failed (" + std::to_string(int(value)) + ")");
    } else {
        outcome.quality = value;
    }
    return outcome;
}

template class EngineReconstructor<vision::SrFloat<vision::SrFloatRegistration2>>;
template class EngineReconstructor<vision::SrFloat<vision::SrFloatRegistration1>>;
template class EngineReconstructor<vision::SuperResolution>;
template class EngineReconstructor<vision::SrFloatNeon<vision::SrFloatNeonRegistration>>;

}  // namespace tools
}  // namespace vorel
