// SPDX-License-Identifier: Proprietary
#pragma once

#include <CLI/CLI.hpp>

namespace vorel {
namespace tools {

// The subcommands of vsr. Each declares its options on `vsr` and does its work
// as the subcommand's callback, once the whole command line has parsed: it
// prints its results on standard output, and failures throw ToolError.
void addRunCommand(CLI::App& vsr);
void addSimulateCommand(CLI::App& vsr);
void addDemoCommand(CLI::App& vsr);
void addScoreCommand(CLI::App& vsr);
void addBadPixelsCommand(CLI::App& vsr);

}  // namespace tools
}  // namespace vorel
