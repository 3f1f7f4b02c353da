// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>

/// The program's option table, as the tests of its documents need it.

struct DescribedValue {
    bool exists = false;
    bool isFile = false;
    std::set<std::string> words = {}; ///< if it is one of these
};

struct DescribedCommand {
    std::map<std::string, DescribedValue> options; ///< by their long names
    std::optional<DescribedValue> argument;
};

/// The commands of the table by their names; the program itself has the empty one.
std::map<std::string, DescribedCommand> describedCommands();

/// The exit statuses in the program's help.
std::set<std::string> statusesInHelp();
