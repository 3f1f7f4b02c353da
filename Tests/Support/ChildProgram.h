// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iosfwd>
#include <map>
#include <string>
#include <vector>

/// What a standard stream of a child is. A terminal is a pseudo-terminal of its own that changes
/// nothing of what is written to it.
enum class ChildStream { pipe, terminal, closed, withoutReader, fullDevice };

/// A program to run to its end, with its standard streams.
struct ChildProgram {
    struct Result {
        int status; // exit status; a signal is negative
        std::string output;
        std::string errors;

        friend bool operator==(const Result&, const Result&) = default;
    };

    std::vector<std::string> arguments; // the program's path first
    /// Over the environment of the test, less NO_COLOR and COLUMNS, with TERM=xterm.
    std::map<std::string, std::string> environment = {};
    std::string input = {};
    ChildStream inputStream = ChildStream::pipe;
    ChildStream outputStream = ChildStream::pipe;
    ChildStream errorStream = ChildStream::pipe;
    unsigned short columns = 80; // of the terminals

    /// Throws std::runtime_error when it cannot be run. A program that hangs is ctest's to end.
    [[nodiscard]] Result run() const;
};

void PrintTo(const ChildProgram::Result& result, std::ostream* stream);
