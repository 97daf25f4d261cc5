// SPDX-License-Identifier: Proprietary
#include "vorel/Exception.h"

#include <cstring>
#include <utility>

namespace vorel {

Exception::Exception(std::string message, std::string place) : message_(std::move(message)), place_(std::move(place)) {}

Exception::~Exception() = default;

const char* Exception::what() const noexcept { return message_.c_str(); }

namespace {

// "float ns::Cls<T>::fn(float*) [with T = X]" -> "ns::Cls<T>::fn": the name is the
// last blank-separated word before the parameter list, blanks inside <> included.
std::string qualifiedName(const char* prettyFunction) {
    const std::string signature(prettyFunction);
    const std::size_t open = signature.find('(');
    const std::size_t end = open == std::string::npos ? signature.size() : open;
    int depth = 0;
    std::size_t begin = 0;
    for (std::size_t i = end; i-- > 0;) {
        const char c = signature[i];
        if (c == '>') ++depth;
        else if (c == '<') --depth;
        else if (c == ' ' && depth == 0) {
            begin = i + 1;
            break;
        }
    }
    return signature.substr(begin, end - begin);
}

}  // namespace

std::string placeText(const char* file, int line, const char* prettyFunction) {
    return std::string(file) + ": " + std::to_string(line) + ": " + qualifiedName(prettyFunction) + "(..)";
}

}  // namespace vorel
