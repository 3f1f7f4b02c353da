// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/CommandLine.h"

#include <CLI/CLI.hpp>

#include <memory>

/// The program's name, subcommands and options with their help: what the command line is read by,
/// and what the manual page and the shells' completions are made from. It reads into `commandLine`,
/// which must outlive it.
///
/// A value is completed by its type name (else by its text in the help): "FILE" is a file, "a|b"
/// one of these words; so is the name REQUEST of an argument a file.
std::unique_ptr<CLI::App> makeOptionTable(CommandLine& commandLine);
