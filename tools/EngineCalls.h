// SPDX-License-Identifier: Proprietary
#pragma once

#include "Reconstructor.h"
#include "StreamSilencer.h"
#include "ToolError.h"

#include "vision/superresolution/reference/SuperResolution.h"
#include "vorel/Exception.h"

#include <unistd.h>

#include <memory>
#include <string>
#include <type_traits>

namespace vorel {
namespace tools {

/// Runs a call into a C++ engine. The engines report invalid parameters as C
/// strings (ToolError with `code`) and processing errors as exceptions
/// (ToolError(Reconstruction)); both become one line for the user.
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

/// A C++ engine for frames of `frameSize` with the tool's settings and the C
/// interface's defaults where the settings leave them open.
template <class Engine>
std::unique_ptr<Engine> configuredEngine(cv::Size frameSize, const ReconstructionSettings& settings) {
    std::unique_ptr<Engine> engine;
    {
        // The first-generation engine prints its pre-blur taps while it is built.
        StreamSilencer quiet(STDOUT_FILENO, !settings.verbose);
        engine = std::make_unique<Engine>(frameSize.width, frameSize.height, settings.window, 2.0f);
    }
    guarded(ExitCode::Usage, [&] {
        engine->setReferenceIndex(settings.reference);
        engine->setWeightTV(settings.tvWeight > 0.0f ? settings.tvWeight : 400.0f);
        engine->setRegError(0.0001f);
        engine->setRelativeResidue(0.007f);
        if (settings.iterations > 0) engine->setMaxCGIters(settings.iterations);
        if (settings.psfSigma > 0.0f) engine->setPsfSigma(settings.psfSigma);
        // The first-generation engine runs on the caller's thread alone.
        if constexpr (!std::is_same<Engine, vision::SuperResolution>::value) engine->setThreadCount(settings.threads);
    });
    return engine;
}

/// Adds what computeSR returned to `outcome`: its warning code or quality
/// figure. Failures throw ToolError(Reconstruction).
void interpretComputation(float value, Outcome& outcome);

}  // namespace tools
}  // namespace vorel
