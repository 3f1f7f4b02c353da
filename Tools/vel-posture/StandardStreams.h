// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// The program's input and output, unbuffered. A failure throws `ProgramFailure`, which names what
/// could not be read or written, and why.

/// To be called first. Descriptors 0 to 2 that the parent closed are taken, so that no file of the
/// program becomes one of them; reading and writing them fails, as it would closed. A reader that
/// goes away becomes a failed write, here and not in child processes.
void prepareStandardStreams();

/// The whole content of a file, byte for byte.
std::string readFile(const std::string& path);

/// Standard input to its end, byte for byte.
std::string readStandardInput();

void writeStandardOutput(std::string_view text);

/// Writes a line to standard error: "vel-posture: " and `text`, with control and format characters
/// escaped. A failure is ignored.
void diagnose(std::string_view text) noexcept;

/// What is wrong, in words: "No such file or directory".
std::string textOfErrorNumber(int errorNumber);

bool isTerminal(int descriptor) noexcept;

/// The width of the terminal: COLUMNS, if it is a number, else what the terminal says, else 80.
std::size_t terminalColumns(int descriptor);

/// Whether a terminal takes colours, by NO_COLOR and TERM.
bool wantsColour();
