// SPDX-License-Identifier: Proprietary
#pragma once

#include <functional>
#include <string>

/// The C string a call throws (how the engines reject a parameter), or "" when it returns.
inline std::string thrownText(const std::function<void()>& call) {
    try {
        call();
    } catch (const char* text) {
        return text;
    }
    return "";
}
