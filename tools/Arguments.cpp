// SPDX-License-Identifier: Proprietary
#include "Arguments.h"
#include "ToolError.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace vorel {
namespace tools {
namespace {

bool contains(const std::vector<std::string>& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

ToolError usage(const std::string& message) { return ToolError(ExitCode::Usage, message); }

}  // namespace

Arguments::Arguments(const std::vector<std::string>& args, const std::vector<std::string>& valued,
                     const std::vector<std::string>& flags) {
    bool optionsEnded = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (optionsEnded || arg.size() < 2 || arg[0] != '-') {
            positionals_.push_back(arg);
            continue;
        }
        if (arg == "--") {
            optionsEnded = true;
            continue;
        }
        const size_t equals = arg.find('=');
        const std::string name = arg.substr(0, equals);
        if (values_.count(name)) throw usage("option " + name + " given twice");
        if (contains(flags, name)) {
            if (equals != std::string::npos) throw usage("option " + name + " takes no value");
            values_[name] = "";
        } else if (contains(valued, name)) {
            if (equals != std::string::npos) {
                values_[name] = arg.substr(equals + 1);
            } else if (i + 1 < args.size()) {
                values_[name] = args[++i];
            } else {
                throw usage("option " + name + " needs a value");
            }
        } else {
            throw usage("unknown option '" + name + "'");
        }
    }
}

std::string Arguments::text(const std::string& option, const std::string& fallback) const {
    const auto found = values_.find(option);
    return found == values_.end() ? fallback : found->second;
}

std::string Arguments::required(const std::string& option) const {
    if (!has(option)) throw usage("option " + option + " is required");
    return text(option, "");
}

int Arguments::integer(const std::string& option, int fallback, int min, int max) const {
    if (!has(option)) return fallback;
    const std::string value = text(option, "");
    char* end = nullptr;
    errno = 0;
    const long number = std::strtol(value.c_str(), &end, 10);
    if (value.empty() || *end != '\0' || errno == ERANGE)
        throw usage(option + " expects an integer, got '" + value + "'");
    if (number < min || number > max)
        throw usage(option + " must be between " + std::to_string(min) + " and " + std::to_string(max) + ", got " +
                    value);
    return static_cast<int>(number);
}

float Arguments::real(const std::string& option, float fallback, float min) const {
    if (!has(option)) return fallback;
    const std::string value = text(option, "");
    char* end = nullptr;
    const float number = std::strtof(value.c_str(), &end);
    if (value.empty() || *end != '\0' || !std::isfinite(number))
        throw usage(option + " expects a number, got '" + value + "'");
    if (number < min) {
        char bound[32];
        std::snprintf(bound, sizeof bound, "%g", min);
        throw usage(option + " must be at least " + bound + ", got " + value);
    }
    return number;
}

cv::Size Arguments::size(const std::string& option) const {
    if (!has(option)) return {};
    const std::string value = text(option, "");
    int width = 0, height = 0, consumed = 0;
    if (std::sscanf(value.c_str(), "%dx%d%n", &width, &height, &consumed) != 2 ||
        consumed != static_cast<int>(value.size()) || width <= 0 || height <= 0)
        throw usage(option + " expects WIDTHxHEIGHT, e.g. 160x120, got '" + value + "'");
    return {width, height};
}

}  // namespace tools
}  // namespace vorel
