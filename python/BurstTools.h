// SPDX-License-Identifier: Proprietary
#pragma once

#include <pybind11/pybind11.h>

namespace vorel {
namespace python {

/// Adds find_stuck_pixels, repair_stuck_pixels and estimate_psf_sigma to the module:
/// what a burst needs before the engine when the camera does not say.
void addBurstTools(pybind11::module_& module);

}  // namespace python
}  // namespace vorel
