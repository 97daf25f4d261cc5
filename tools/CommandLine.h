// SPDX-License-Identifier: Proprietary
#pragma once

#include <CLI/CLI.hpp>
#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace vorel {
namespace tools {

/// vsr's help layout: the command's own usage lines and paragraph first, then
/// the options, one line of label and a wrapped description each.
class HelpFormatter : public CLI::Formatter {
public:
    explicit HelpFormatter(std::string intro);
    std::string make_usage(const CLI::App*, std::string) const override { return ""; }
    std::string make_description(const CLI::App* app) const override;
    std::string make_option_opts(const CLI::Option* option) const override;
    std::string make_option_desc(const CLI::Option* option) const override;

private:
    std::string intro_;
};

/// Adds a subcommand whose help opens with `usage` (its usage lines and a
/// paragraph on what it does) and lists the declared options after it.
CLI::App* addSubcommand(CLI::App& vsr, const std::string& name, const std::string& summary, const std::string& usage);

/// A finite number >= minimum, with a message naming both.
CLI::Validator atLeast(double minimum);

/// Declares a "WxH" option (both sides positive, e.g. 160x120) that fills `size`.
CLI::Option* addSizeOption(CLI::App& command, const std::string& name, cv::Size& size, const std::string& help);

/// "WxH" with both sides from 1 to 1000000; throws CLI::ValidationError otherwise.
cv::Size parseSize(const std::string& option, const std::string& text);

/// Throws ToolError(Usage) if an output path names one of the inputs or another output.
void requireDistinctPaths(const std::vector<std::string>& inputs, const std::vector<std::string>& outputs);

}  // namespace tools
}  // namespace vorel
