// SPDX-License-Identifier: Proprietary
#pragma once

#include <opencv2/core.hpp>

#include <map>
#include <string>
#include <vector>

namespace vorel {
namespace tools {

/// The command line of one subcommand: options ("--name value", "--name=value",
/// "-o value" or a bare flag) and positional arguments. Malformed input throws
/// a ToolError with ExitCode::Usage and a message that names the option.
class Arguments {
public:
    /// `valued` lists the options that take a value, `flags` those that do not.
    Arguments(const std::vector<std::string>& args, const std::vector<std::string>& valued,
              const std::vector<std::string>& flags);

    bool has(const std::string& option) const { return values_.count(option) != 0; }
    const std::vector<std::string>& positionals() const { return positionals_; }

    std::string text(const std::string& option, const std::string& fallback) const;
    /// The value of a mandatory option.
    std::string required(const std::string& option) const;
    int integer(const std::string& option, int fallback, int min, int max) const;
    /// A finite number >= min.
    float real(const std::string& option, float fallback, float min) const;
    /// "WxH" with both positive, e.g. "160x120"; an empty size when absent.
    cv::Size size(const std::string& option) const;

private:
    std::map<std::string, std::string> values_;
    std::vector<std::string> positionals_;
};

}  // namespace tools
}  // namespace vorel
