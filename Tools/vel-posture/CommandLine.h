// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

/// What the command line asks for.
struct CommandLine {
    enum class Command { printText, check, identity, lint, catalogue };
    enum class Format { json, text };

    Command command = Command::printText;
    /// For printText: help, or the version, in whole lines.
    std::string text;
    /// Absent or "-": standard input.
    std::optional<std::string> request;
    /// Empty: all identity values.
    std::vector<std::string> names;
    /// Absent: this machine.
    std::optional<std::string> machine;
    /// Absent: text on a terminal, else JSON.
    std::optional<Format> format;
    /// Absent: no log.
    std::optional<std::string> log;
};

/// Reads the arguments of the program. Throws `WrongUse` for what it does not understand.
CommandLine parseCommandLine(int argumentCount, const char* const* arguments);
