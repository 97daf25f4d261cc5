// SPDX-License-Identifier: Proprietary
#include "Reconstructor.h"
#include "CInterfaceReconstructor.h"
#include "EngineReconstructor.h"
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
    return std::make_unique<FloatEngineReconstructor>(frameSize, settings);
}

std::string Outcome::describe() const {
    switch (code) {
        case -2: return "warning: a frame has defective pixels that could not be repaired from their neighbours";
        case -3:
            return "warning: half or more of the pixels of some frame could not be aligned and were left out; "
                   "the result is little better than the reference frame";
        case -4:
            return "warning: a frame has almost no contrast (its value range is below the structure threshold); "
                   "it was used anyway";
        case -6:
            return "warning: large displacement: a frame moved by more than a tenth of the frame height "
                   "against the reference; the result may be blurred";
        default: break;
    }
    if (!computed || quality < 0.0f) return "";
    char text[200];
    std::snprintf(text, sizeof text,
                  "quality figure %.2f (2.00: every frame usable at every pixel, 1.00: only the reference frame)",
                  quality);
    return text;
}

}  // namespace tools
}  // namespace vorel
