// SPDX-License-Identifier: Proprietary
#pragma once

#include <cstdint>

namespace vorel {
namespace vision {

/// A whole-pixel shift: x along columns, y along rows.
struct PointI {
    std::int32_t x;
    std::int32_t y;
};

}  // namespace vision
}  // namespace vorel
