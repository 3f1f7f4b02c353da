// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

/// Why the program cannot do what it was asked: a text for people, naming the file concerned. It
/// ends the program with status 2.
class ProgramFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Wrong use of the command line: as above, and a hint to the help that applies.
class WrongUse final : public ProgramFailure {
public:
    WrongUse(const std::string& text, std::string helpCommand)
        : ProgramFailure(text), _helpCommand(std::move(helpCommand)) {}

    /// Such as "vel-posture check --help".
    [[nodiscard]] const std::string& helpCommand() const noexcept { return _helpCommand; }

private:
    std::string _helpCommand;
};
