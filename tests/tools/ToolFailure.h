// SPDX-License-Identifier: Proprietary
#pragma once

#include "ToolError.h"

#include <gtest/gtest.h>

namespace vorel {
namespace tools {

/// Runs `step` and returns the ToolError it throws.
template <class Step>
ToolError failureOf(Step step) {
    try {
        step();
    } catch (const ToolError& error) {
        return error;
    }
    ADD_FAILURE() << "no ToolError thrown";
    return ToolError(ExitCode::Success, "");
}

}  // namespace tools
}  // namespace vorel
