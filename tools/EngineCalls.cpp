// SPDX-License-Identifier: Proprietary
#include "EngineCalls.h"

namespace vorel {
namespace tools {

void interpretComputation(float value, Outcome& outcome) {
    if (value == -998.0f) throw ToolError(ExitCode::Reconstruction, "the frames could not be registered");
    if (value == -6.0f || value == -3.0f || value == -2.0f) {
        outcome.code = static_cast<int>(value);
    } else if (value < 0.0f) {
        throw ToolError(ExitCode::Reconstruction, "the minimisation failed (" + std::to_string(int(value)) + ")");
    } else {
        outcome.quality = value;
    }
}

}  // namespace tools
}  // namespace vorel
