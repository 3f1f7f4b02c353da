// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// The documents of a folder of Examples/ by their names without extension.
std::map<std::string, std::string> exampleDocuments(const std::string& folder);

/// The described Macs of Examples/, and such as have something to fall back on.
std::map<std::string, std::string> sweptMachines();

/// What a result document says.
struct Verdict {
    bool passed = false;
    /// For each entry its type and whether it passed.
    std::vector<std::pair<std::string, bool>> entries;

    /// Throws for what is no result document. An error result passes nothing and has no entries.
    explicit Verdict(std::string_view result);

    /// The types of the entries that pass here and not in `expected`, which answers the same
    /// request that has entries or asks for the identity; "the verdict" if it disagrees with its
    /// own entries.
    [[nodiscard]] std::vector<std::string> turnedAgainst(const Verdict& expected) const;
};
