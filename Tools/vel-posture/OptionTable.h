// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/CommandLine.h"

#include <CLI/CLI.hpp>

#include <memory>

/// The program's name, subcommands and options with their help, as `parseCommandLine` reads them.
/// It reads into `commandLine`, which must outlive it. A value's type name is "FILE", or "a|b" when
/// it is one of these words. Tests compare the manual page and the shells' completions with it.
std::unique_ptr<CLI::App> makeOptionTable(CommandLine& commandLine);
