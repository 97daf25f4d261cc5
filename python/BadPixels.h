// SPDX-License-Identifier: Proprietary
#pragma once

#include <pybind11/pybind11.h>

namespace vorel {
namespace python {

/// Adds the submodule bad_pixels: a sensor's defect map found in a flat-field
/// or dark frame of counts, drawn over an image and applied to frames.
void addBadPixels(pybind11::module_& module);

}  // namespace python
}  // namespace vorel
