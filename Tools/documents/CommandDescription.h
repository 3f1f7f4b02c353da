// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

/// What the value of an option, or an argument, is.
struct ValueDescription {
    enum class Kind { none, text, file, words };

    Kind kind = Kind::none;
    /// How people call it: "FILE", "json|text".
    std::string name = {};
    /// Of the kind words: what it may be. Letters, digits, "-", "_" and "." only.
    std::vector<std::string> words = {};

    friend bool operator==(const ValueDescription&, const ValueDescription&) = default;
};

struct OptionDescription {
    /// With their hyphens: "-h", "--help".
    std::vector<std::string> names;
    ValueDescription value;
    /// May have several lines.
    std::string text;

    friend bool operator==(const OptionDescription&, const OptionDescription&) = default;
};

/// An argument that is told by its place.
struct ArgumentDescription {
    ValueDescription value;
    std::string text;
    bool isRequired = false;
    bool repeats = false;

    friend bool operator==(const ArgumentDescription&, const ArgumentDescription&) = default;
};

/// A program or one of its subcommands, in plain data.
struct CommandDescription {
    std::string name;
    std::string text;
    std::string footer = {};
    std::vector<OptionDescription> options = {};
    std::vector<ArgumentDescription> arguments = {};
    std::vector<CommandDescription> commands = {};
};

/// Reads the description from the table that the command line is read by. Throws
/// `std::invalid_argument` for a name or a word that a shell would not take as it is.
CommandDescription describeCommand(const CLI::App& table);
