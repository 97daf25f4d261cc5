// SPDX-License-Identifier: Proprietary
#include "CommandLine.h"
#include "ToolError.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <sstream>
#include <cstdlib>
#include <filesystem>

namespace vorel {
namespace tools {
namespace {

namespace fs = std::filesystem;

constexpr size_t kHelpWidth = 80;

// Folds `text` into lines of at most `width` characters, breaking at blanks.
std::string wrap(const std::string& text, size_t width) {
    std::string result, line;
    std::istringstream words(text);
    std::string word;
    while (words >> word) {
        if (!line.empty() && line.size() + 1 + word.size() > width) {
            result += line + "\n";
            line.clear();
        }
        line += (line.empty() ? "" : " ") + word;
    }
    return result + line;
}

}  // namespace

HelpFormatter::HelpFormatter(std::string intro) : intro_(std::move(intro)) { column_width(22); }

std::string HelpFormatter::make_description(const CLI::App*) const { return intro_; }

std::string HelpFormatter::make_option_opts(const CLI::Option* option) const {
    // The value's label alone: ranges and exclusions are told in the description.
    const std::string type = option->get_type_name();
    if (option->get_type_size() == 0 || option->get_positional()) return "";
    return " " + type.substr(0, type.find(':'));
}

std::string HelpFormatter::make_option_desc(const CLI::Option* option) const {
    return wrap(option->get_description(), kHelpWidth - get_column_width());
}

namespace {

// A path's identity for comparison: the same file under another spelling counts.
fs::path identity(const std::string& path) {
    std::error_code error;
    const fs::path canonical = fs::weakly_canonical(fs::absolute(path, error), error);
    return error ? fs::path(path).lexically_normal() : canonical;
}

}  // namespace

CLI::App* addSubcommand(CLI::App& vsr, const std::string& name, const std::string& summary, const std::string& usage) {
    CLI::App* command = vsr.add_subcommand(name, summary);
    command->formatter(std::make_shared<HelpFormatter>(usage));
    command->group("Commands");
    command->footer("");  // the exit codes are vsr's, listed once
    return command;
}

CLI::Validator atLeast(double minimum) {
    char bound[32];
    std::snprintf(bound, sizeof bound, "%g", minimum);
    return CLI::Validator(
        [minimum, bound = std::string(bound)](std::string& text) -> std::string {
            char* end = nullptr;
            const double value = std::strtod(text.c_str(), &end);
            if (text.empty() || *end != '\0' || !std::isfinite(value)) return "expects a number, got '" + text + "'";
            if (value < minimum) return "must be at least " + bound + ", got " + text;
            return "";
        },
        "");
}

cv::Size parseSize(const std::string& option, const std::string& text) {
    const auto bad = [&] { return CLI::ValidationError(option, "expects WIDTHxHEIGHT, e.g. 160x120, got '" + text + "'"); };
    const size_t x = text.find('x');
    if (x == std::string::npos) throw bad();
    long sides[2];
    const std::string parts[2] = {text.substr(0, x), text.substr(x + 1)};
    for (int i = 0; i < 2; ++i) {
        char* end = nullptr;
        errno = 0;
        sides[i] = std::strtol(parts[i].c_str(), &end, 10);
        if (parts[i].empty() || *end != '\0' || !std::isdigit(static_cast<unsigned char>(parts[i][0])))
            throw bad();
        if (errno == ERANGE || sides[i] < 1 || sides[i] > 1000000)
            throw CLI::ValidationError(option, "sides must be between 1 and 1000000, got '" + text + "'");
    }
    return {static_cast<int>(sides[0]), static_cast<int>(sides[1])};
}

CLI::Option* addSizeOption(CLI::App& command, const std::string& name, cv::Size& size, const std::string& help) {
    return command
        .add_option_function<std::string>(
            name, [&size, name](const std::string& text) { size = parseSize(name, text); }, help)
        ->type_name("WxH");
}

void requireDistinctPaths(const std::vector<std::string>& inputs, const std::vector<std::string>& outputs) {
    for (size_t i = 0; i < outputs.size(); ++i) {
        if (outputs[i].empty()) continue;
        const fs::path output = identity(outputs[i]);
        for (const std::string& input : inputs)
            if (identity(input) == output)
                throw ToolError(ExitCode::Usage, "'" + outputs[i] + "' is an input; refusing to overwrite it");
        for (size_t j = 0; j < i; ++j)
            if (!outputs[j].empty() && identity(outputs[j]) == output)
                throw ToolError(ExitCode::Usage, "'" + outputs[i] + "' is named for two outputs");
    }
}

}  // namespace tools
}  // namespace vorel
