// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/documents/CommandDescription.h"

#include <string>

/// Completion scripts of three shells for a program with subcommands: subcommands, options, and
/// what their values and arguments may be. Whole files, in UTF-8.
std::string bashCompletion(const CommandDescription& program);
std::string zshCompletion(const CommandDescription& program);
std::string fishCompletion(const CommandDescription& program);
