// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// How much a lint finding matters, the least first.
enum class Severity { note, warning, error };

/// What the command line asks for.
struct CommandLine {
    enum class Command {
        printText,
        check,
        identity,
        lint,
        describe,
        test,
        whatIf,
        catalogue,
        doctor
    };
    enum class Format { json, text, junit, prometheus };
    enum class Summary { text, json, html };

    Command command = Command::printText;
    /// For printText: help, or the version, in whole lines.
    std::string text;
    /// Paths; "-" is standard input. Empty: standard input; for describe: none. For test: paths of
    /// its files.
    std::vector<std::string> requests;
    /// Empty: all identity values.
    std::vector<std::string> names;
    /// Absent: this machine.
    std::optional<std::string> machine;
    /// Absent: text on a terminal, else JSON.
    std::optional<Format> format;
    /// Put each result into an envelope for collectors.
    bool envelope = false;
    /// Absent: standard output.
    std::optional<std::string> output;
    /// Where to describe the machine as it answered. Absent: nowhere.
    std::optional<std::string> record;
    /// Leave out of the description what no request asks for.
    bool redact = false;
    /// Absent: no log.
    std::optional<std::string> log;
    /// The least level of the log's lines: one of `VELLogLevel`.
    std::int64_t logLevel = 0;
    bool requireChecks = false;
    bool strictExit = false;
    bool onlyFailing = false;
    bool quiet = false;
    /// Say why each check has its outcome.
    bool explain = false;
    /// The least severity of a finding for which lint's exit status is 1.
    Severity failOn = Severity::warning;
    /// For whatIf: the path of the machines, a line each, and of the request to compare with.
    std::optional<std::string> machines;
    std::optional<std::string> against;
    /// Absent: a line for each machine.
    std::optional<Summary> summary;
};

/// Reads the arguments of the program. Throws `WrongUse` for what it does not understand.
CommandLine parseCommandLine(int argumentCount, const char* const* arguments);
