// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

/// Rule sets made at random, and an interpreter of them that is as plain as can be: one packet, one
/// rule after the other.
namespace generated {

struct Packet {
    bool isIPv6 = false;
    bool isTCP = true;
    unsigned port = 0;
    std::string source;
};

/// A condition in the three forms that the tests need.
struct Condition {
    std::string text; // for nft
    std::string json; // as nft prints it
    std::function<bool(const Packet&)> holds;
    bool isKnown = true; // does not depend on what a judge cannot know
};

struct Verdict {
    enum class Kind { none, accept, drop, reject, comeBack, jump, goTo };
    Kind kind = Kind::none;
    std::size_t target = 0; // of a jump: a later chain
};

struct Rule {
    std::vector<Condition> conditions;
    Verdict verdict;
    /// A verdict map instead, by ranges of ports of TCP.
    std::vector<std::pair<std::pair<unsigned, unsigned>, Verdict>> map;
};

struct Chain {
    bool isBase = false; // in a hook of its own, else only jumped to
    bool isPolicyDrop = false;
    std::vector<Rule> rules = {};
};

struct Rules {
    std::vector<Chain> chains;
    std::set<unsigned> edges = {1}; // ports at which an answer may change

    [[nodiscard]] std::string text() const;
    [[nodiscard]] std::string json() const;
    [[nodiscard]] bool areKnown() const;
    /// Whether every base chain lets the packet pass.
    [[nodiscard]] bool accept(const Packet& packet) const;
    /// How many of the ports 1 to 65,535 `isOpen` is true for.
    [[nodiscard]] unsigned openPorts(const std::function<bool(unsigned)>& isOpen) const;
};

/// `mayBeUnknown`: with conditions on what a judge cannot know.
Rules makeRules(std::mt19937& random, bool mayBeUnknown);

} // namespace generated
