// SPDX-License-Identifier: Proprietary
#include "CInterfaceReconstructor.h"
#include "StreamSilencer.h"
#include "ToolError.h"

#include "vision/superresolution/api/vision_superresolution.h"

#include <unistd.h>

namespace vorel {
namespace tools {
namespace {

std::string lastError() {
    char text[512] = {};
    SuperResolution_getErrorMessage(text, sizeof text - 1);
    return text;
}

}  // namespace

CInterfaceReconstructor::CInterfaceReconstructor(cv::Size frameSize, const ReconstructionSettings& settings)
    : context_(SuperResolution_init(frameSize.width, frameSize.height)), verbose_(settings.verbose) {
    if (context_ < 0) throw ToolError(ExitCode::Reconstruction, "the library could not start: " + lastError());
    if (!settings.camera.empty()) SuperResolution_setCameraAndLensType(context_, settings.camera.c_str());
    try {
        SuperResolution_setReferenceFrame(context_, settings.reference);
    } catch (const char* message) {
        SuperResolution_release(context_);
        throw ToolError(ExitCode::Usage, std::string("--reference: ") + message);
    }
    if (SuperResolution_setThreadCount(context_, settings.threads) != 0) {
        const std::string message = lastError();
        SuperResolution_release(context_);
        throw ToolError(ExitCode::Usage, "--threads: " + message);
    }
    result_.create(2 * frameSize.height, 2 * frameSize.width);
}

CInterfaceReconstructor::~CInterfaceReconstructor() { SuperResolution_release(context_); }

Outcome CInterfaceReconstructor::add(const cv::Mat_<float>& frame) {
    const cv::Mat_<float> pixels = frame.isContinuous() ? frame : frame.clone();
    int code = 0;
    {
        StreamSilencer quiet(STDOUT_FILENO, !verbose_);
        code = SuperResolution_addImage(context_, pixels[0]);
    }
    if (code == -999) throw ToolError(ExitCode::Reconstruction, "the library failed: " + lastError());
    Outcome outcome;
    outcome.code = code;
    outcome.computed = ++frames_ >= window();
    if (outcome.computed && SuperResolution_getSuperresolutionImage(context_, result_[0]) != 0)
        throw ToolError(ExitCode::Reconstruction, "the library failed: " + lastError());
    return outcome;
}

}  // namespace tools
}  // namespace vorel
