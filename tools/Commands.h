// SPDX-License-Identifier: Proprietary
#pragma once

#include <string>
#include <vector>

namespace vorel {
namespace tools {

// The subcommands of vsr. Each takes the arguments after its name, prints its
// results on standard output and returns the exit code; failures throw ToolError.
int runCommand(const std::vector<std::string>& args);
int simulateCommand(const std::vector<std::string>& args);
int demoCommand(const std::vector<std::string>& args);

}  // namespace tools
}  // namespace vorel
