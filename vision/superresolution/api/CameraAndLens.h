// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"

#include <string>

namespace vorel {
namespace vision {

/// Reads a camera and lens description such as "k425 FOV 25". The first of the
/// model numbers 410, 415, 416, 420, 421, 422, 425, 430 (in that order) found
/// anywhere in the text gives `camera` ("k" and the number); the integer after
/// "FOV" gives `lens`. Returns false when either part is missing, or when the
/// lens number reads as -1 (the marker of an unknown lens).
VRLIB_API bool parseCameraAndLens(const std::string& description, std::string& camera, int& lens);

/// Sigma of the sensor's Gaussian blur in high-resolution pixels for a
/// description; 0.683 when it cannot be parsed or names no known camera.
VRLIB_API float psfSigmaOfCameraAndLens(const std::string& description);

}  // namespace vision
}  // namespace vorel
