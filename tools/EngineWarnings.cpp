// SPDX-License-Identifier: Proprietary
#include "EngineWarnings.h"

namespace vorel {
namespace tools {

const char* engineWarning(int code) {
    switch (code) {
        case -2: return "a frame has defective pixels that could not be repaired from their neighbours";
        case -3:
            return "half or more of the pixels of some frame could not be aligned and were left out; "
                   "the result is little better than the reference frame";
        case -4:
            return "a frame has almost no contrast (its value range is below the structure threshold); "
                   "it was used anyway";
        case -6:
            return "large displacement: a frame moved by more than a tenth of the frame height "
                   "against the reference; the result may be blurred";
        default: return nullptr;
    }
}

}  // namespace tools
}  // namespace vorel
