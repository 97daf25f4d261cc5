// SPDX-License-Identifier: Proprietary
#include "EngineReconstructor.h"
#include "StreamSilencer.h"
#include "ToolError.h"

#include "vorel/Exception.h"

#include <unistd.h>

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

EngineReconstructor::Engine EngineReconstructor::makeEngine(cv::Size frameSize, int window,
                                                            RegistrationMethod registration) {
    if (registration == RegistrationMethod::PhaseCorrelation)
        return Engine(std::in_place_index<1>, frameSize.width, frameSize.height, window, 2.0f);
    return Engine(std::in_place_index<0>, frameSize.width, frameSize.height, window, 2.0f);
}

EngineReconstructor::EngineReconstructor(cv::Size frameSize, const ReconstructionSettings& settings)
    : engine_(makeEngine(frameSize, settings.window, settings.registration)), verbose_(settings.verbose) {
    guarded(ExitCode::Usage, [&] {
        std::visit(
            [&](auto& engine) {
                // The C interface's defaults, so that both paths agree where the settings do not differ.
                engine.setReferenceIndex(settings.reference);
                engine.setWeightTV(settings.tvWeight > 0.0f ? settings.tvWeight : 400.0f);
                engine.setRegError(0.0001f);
                engine.setRelativeResidue(0.007f);
                if (settings.iterations > 0) engine.setMaxCGIters(settings.iterations);
                if (settings.psfSigma > 0.0f) engine.setPsfSigma(settings.psfSigma);
                engine.setThreadCount(settings.threads);
            },
            engine_);
    });
}

int EngineReconstructor::window() const {
    return std::visit([](const auto& engine) { return engine.getWindowSize(); }, engine_);
}

Outcome EngineReconstructor::add(const cv::Mat_<float>& frame) {
    const cv::Mat_<float> pixels = frame.isContinuous() ? frame : frame.clone();
    StreamSilencer quiet(STDOUT_FILENO, !verbose_);
    Outcome outcome;
    outcome.code = guarded(ExitCode::Reconstruction, [&] {
        return std::visit([&](auto& engine) { return engine.addFrame(pixels[0]); }, engine_);
    });
    outcome.computed = ++frames_ >= window();
    if (!outcome.computed) return outcome;
    const float value = guarded(ExitCode::Reconstruction, [&] {
        return std::visit([&](auto& engine) { return engine.computeSR(result_); }, engine_);
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

}  // namespace tools
}  // namespace vorel
