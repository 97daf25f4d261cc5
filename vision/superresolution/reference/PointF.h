// SPDX-License-Identifier: Proprietary
#pragma once

namespace vorel {
namespace vision {

/// A shift in input pixels: x along columns, y along rows.
struct PointF {
    float x;
    float y;
};

}  // namespace vision
}  // namespace vorel
