// SPDX-License-Identifier: Proprietary
#pragma once

namespace vorel {
namespace tools {

/// The meaning of a warning code of the engine or the C interface (-2, -3, -4,
/// -6) as a sentence for the user; nullptr for any other code.
const char* engineWarning(int code);

}  // namespace tools
}  // namespace vorel
