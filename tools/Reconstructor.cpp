// SPDX-License-Identifier: Proprietary
#include "Reconstructor.h"
#include "CInterfaceReconstructor.h"
#include "EngineReconstructor.h"
#include "EngineWarnings.h"
#include "ToolError.h"

#include <cstdio>

namespace vorel {
namespace tools {

std::unique_ptr<Reconstructor> Reconstructor::create(cv::Size frameSize, const ReconstructionSettings& settings) {
    if (!settings.needsEngine()) return std::make_unique<CInterfaceReconstructor>(frameSize, settings);
    if (!settings.camera.empty())
        throw ToolError(ExitCode::Usage,
                        "--camera cannot be combined with --window, --tv-weight, --iterations or --psf-sigma; "
                        "give the blur with --psf-sigma instead");
    if (settings.vectorEngine) return std::make_unique<VectorEngineReconstructor>(frameSize, settings);
    if (settings.referenceEngine) return std::make_unique<ReferenceEngineReconstructor>(frameSize, settings);
    if (settings.registration == RegistrationMethod::PhaseCorrelation)
        return std::make_unique<PhaseEngineReconstructor>(frameSize, settings);
    return std::make_unique<FloatEngineReconstructor>(frameSize, settings);
}

std::string Outcome::describe() const {
    if (const char* warning = engineWarning(code)) return std::string("warning: ") + warning;
    if (!computed || quality < 0.0f) return "";
    char text[200];
    std::snprintf(text, sizeof text,
                  "quality figure %.2f (2.00: every frame usable at every pixel, 1.00: only the reference frame)",
                  quality);
    return text;
}

}  // namespace tools
}  // namespace vorel
