// SPDX-License-Identifier: Proprietary
#pragma once

#include "vorel/Export.h"

#include <exception>
#include <string>

namespace vorel {

/// Processing error of the library: a message and the place that raised it.
/// what() returns the message alone; place() tells where, as
/// "path: line: qualified::function(..)".
class VRLIB_API Exception : public std::exception {
public:
    Exception(std::string message, std::string place);
    Exception(const Exception&) = default;
    Exception& operator=(const Exception&) = default;
    ~Exception() override;

    const char* what() const noexcept override;
    const std::string& message() const noexcept { return message_; }
    const std::string& place() const noexcept { return place_; }

private:
    std::string message_;
    std::string place_;
};

/// Builds a place text from a source path, a line and a compiler's pretty
/// function signature, from which only the qualified name is kept.
VRLIB_API std::string placeText(const char* file, int line, const char* prettyFunction);

}  // namespace vorel

/// The place text of the current line: throw vorel::Exception("...", VOREL_PLACE);
#define VOREL_PLACE ::vorel::placeText(__FILE__, __LINE__, __PRETTY_FUNCTION__)
