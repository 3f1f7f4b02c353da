// SPDX-License-Identifier: Apache-2.0
#include "Tests/Helpers/Linux/GeneratedRules.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cstdint>

namespace generated {
namespace {

using Random = std::mt19937;

unsigned pick(Random& random, unsigned count) {
    return static_cast<unsigned>(random() % count);
}

template <typename Value> const Value& oneOf(Random& random, const std::vector<Value>& values) {
    return values[pick(random, static_cast<unsigned>(values.size()))];
}

std::string quoted(const std::string& text) {
    return '"' + text + '"';
}

std::string match(const std::string& operation, const std::string& left, const std::string& right) {
    return R"({"match": {"op": ")" + operation + R"(", "left": )" + left + R"(, "right": )" +
           right + "}}";
}

std::string payload(const std::string& protocol, const std::string& field) {
    return R"({"payload": {"protocol": ")" + protocol + R"(", "field": ")" + field + R"("}})";
}

std::string meta(const std::string& key) {
    return R"({"meta": {"key": ")" + key + R"("}})";
}

bool isWithin(const std::string& address, const std::string& network, unsigned length) {
    const int family = network.find(':') == std::string::npos ? AF_INET : AF_INET6;
    std::array<std::uint8_t, 16> left = {};
    std::array<std::uint8_t, 16> right = {};
    if (::inet_pton(family, address.c_str(), left.data()) != 1 ||
        ::inet_pton(family, network.c_str(), right.data()) != 1) {
        return false;
    }
    for (unsigned bit = 0; bit < length; ++bit) {
        const unsigned mask = 0x80U >> (bit % 8);
        if ((left[bit / 8] & mask) != (right[bit / 8] & mask)) {
            return false;
        }
    }
    return true;
}

std::pair<unsigned, unsigned> portRange(Random& random, std::set<unsigned>& edges) {
    unsigned first = 1 + pick(random, 65'535);
    unsigned last = 1 + pick(random, 65'535);
    if (pick(random, 3) == 0) {
        last = first + pick(random, 500);
    } else if (pick(random, 4) == 0) {
        first = 1;
        last = 65'535;
    }
    last = std::min(last, 65'535U);
    if (first > last) {
        std::swap(first, last);
    }
    edges.insert({first, last + 1});
    return {first, last};
}

std::string rangeText(const std::pair<unsigned, unsigned>& range) {
    return std::to_string(range.first) + "-" + std::to_string(range.second);
}

std::string rangeJSON(const std::pair<unsigned, unsigned>& range) {
    return R"({"range": [)" + std::to_string(range.first) + ", " + std::to_string(range.second) +
           "]}";
}

bool isIn(unsigned port, const std::pair<unsigned, unsigned>& range) {
    return range.first <= port && port <= range.second;
}

Condition transport(Random& random) {
    const bool isTCP = pick(random, 2) == 0;
    const std::string name = isTCP ? "tcp" : "udp";
    return {"meta l4proto " + name, match("==", meta("l4proto"), quoted(name)),
            [isTCP](const Packet& packet) { return packet.isTCP == isTCP; }};
}

Condition network(Random& random) {
    const bool isIPv6 = pick(random, 2) == 0;
    const std::string name = isIPv6 ? "ipv6" : "ipv4";
    return {"meta nfproto " + name, match("==", meta("nfproto"), quoted(name)),
            [isIPv6](const Packet& packet) { return packet.isIPv6 == isIPv6; }};
}

Condition ports(Random& random, std::set<unsigned>& edges) {
    const bool isTCP = pick(random, 2) == 0;
    const std::string name = isTCP ? "tcp" : "udp";
    const auto range = portRange(random, edges);
    const bool isNegated = pick(random, 4) == 0;
    return {name + " dport " + (isNegated ? "!= " : "") + rangeText(range),
            match(isNegated ? "!=" : "==", payload(name, "dport"), rangeJSON(range)),
            [=](const Packet& packet) {
                return packet.isTCP == isTCP && isIn(packet.port, range) != isNegated;
            }};
}

Condition portsAbove(Random& random, std::set<unsigned>& edges) {
    const unsigned port = 1 + pick(random, 65'534);
    edges.insert({port, port + 1});
    const std::string operation = oneOf<std::string>(random, {"<", "<=", ">", ">="});
    return {"tcp dport " + operation + " " + std::to_string(port),
            match(operation, payload("tcp", "dport"), std::to_string(port)),
            [=](const Packet& packet) {
                return packet.isTCP && (operation == "<"    ? packet.port < port
                                        : operation == "<=" ? packet.port <= port
                                        : operation == ">"  ? packet.port > port
                                                            : packet.port >= port);
            }};
}

Condition interface(Random& random) {
    const std::string name = oneOf<std::string>(random, {"eth0", "eth*", "lo", "virbr0"});
    const bool isNegated = pick(random, 3) == 0;
    const bool isIt = name.starts_with("eth");
    return {"iifname " + std::string(isNegated ? "!= " : "") + quoted(name),
            match(isNegated ? "!=" : "==", meta("iifname"), quoted(name)),
            [=](const Packet&) { return isIt != isNegated; }};
}

Condition connection(Random& random) {
    const std::string state = R"({"ct": {"key": "state"}})";
    const auto always = [](const Packet&) { return true; };
    const auto never = [](const Packet&) { return false; };
    return oneOf<Condition>(
        random,
        {{"ct state new", match("in", state, quoted("new")), always},
         {"ct state established,related", match("in", state, R"(["established", "related"])"),
          never},
         {"ct state != new", match("!=", state, quoted("new")), never},
         {"ct state { established, new }", match("==", state, R"({"set": ["established", "new"]})"),
          always},
         {"ct direction original",
          match("==", R"({"ct": {"key": "direction"}})", quoted("original")), always},
         {"ct status dnat", match("in", R"({"ct": {"key": "status"}})", quoted("dnat")), never},
         {"fib daddr type local",
          match("==", R"({"fib": {"result": "type", "flags": ["daddr"]}})", quoted("local")),
          always},
         {"meta pkttype host", match("==", meta("pkttype"), quoted("host")), always},
         {"icmp type echo-request", match("==", payload("icmp", "type"), quoted("echo-request")),
          never}});
}

Condition unknown(Random& random) {
    return oneOf<Condition>(random, {{"ip ttl > 0", match(">", payload("ip", "ttl"), "0"),
                                      [](const Packet& packet) { return !packet.isIPv6; }, false},
                                     {"meta mark 0", match("==", meta("mark"), "0"),
                                      [](const Packet&) { return true; }, false},
                                     {"meta mark 1", match("==", meta("mark"), "1"),
                                      [](const Packet&) { return false; }, false}});
}

struct Source {
    const char* network;
    unsigned length;
    bool isKnown;
};

Condition source(Random& random, bool mayBeUnknown) {
    const std::vector<Source> known = {{"0.0.0.0", 0, true},      {"10.0.0.0", 8, true},
                                       {"192.168.0.0", 16, true}, {"::", 0, true},
                                       {"fc00::", 7, true},       {"fe80::", 10, true}};
    const std::vector<Source> all = {{"0.0.0.0", 0, true},      {"10.0.0.0", 8, true},
                                     {"0.0.0.0", 1, false},     {"128.0.0.0", 1, false},
                                     {"93.184.0.0", 16, false}, {"::", 0, true},
                                     {"2a00::", 16, false},     {"3000::", 4, false}};
    const Source chosen = oneOf(random, mayBeUnknown ? all : known);
    const bool isIPv6 = std::string(chosen.network).find(':') != std::string::npos;
    const std::string name = isIPv6 ? "ip6" : "ip";
    const bool isNegated = pick(random, 3) == 0;
    const std::string length = std::to_string(chosen.length);
    return {name + " saddr " + (isNegated ? "!= " : "") + chosen.network + "/" + length,
            match(isNegated ? "!=" : "==", payload(name, "saddr"),
                  R"({"prefix": {"addr": ")" + std::string(chosen.network) + R"(", "len": )" +
                      length + "}}"),
            [=](const Packet& packet) {
                return packet.isIPv6 == isIPv6 &&
                       isWithin(packet.source, chosen.network, chosen.length) != isNegated;
            },
            chosen.isKnown};
}

Condition sourceAndPorts(Random& random, std::set<unsigned>& edges) {
    const auto range = portRange(random, edges);
    return {
        "ip saddr . tcp dport { 0.0.0.0/1 . " + rangeText(range) + " }",
        match("==",
              R"({"concat": [)" + payload("ip", "saddr") + ", " + payload("tcp", "dport") + "]}",
              R"({"set": [{"concat": [{"prefix": {"addr": "0.0.0.0", "len": 1}}, )" +
                  rangeJSON(range) + "]}]}"),
        [=](const Packet& packet) {
            return !packet.isIPv6 && packet.isTCP && isWithin(packet.source, "0.0.0.0", 1) &&
                   isIn(packet.port, range);
        },
        false};
}

Condition condition(Random& random, std::set<unsigned>& edges, bool mayBeUnknown) {
    switch (pick(random, mayBeUnknown ? 9 : 7)) {
    case 0:
        return transport(random);
    case 1:
        return network(random);
    case 2:
        return ports(random, edges);
    case 3:
        return portsAbove(random, edges);
    case 4:
        return interface(random);
    case 5:
        return connection(random);
    case 6:
        return source(random, mayBeUnknown);
    case 7:
        return unknown(random);
    default:
        return sourceAndPorts(random, edges);
    }
}

Verdict verdict(Random& random, std::size_t chain, std::size_t chains) {
    using Kind = Verdict::Kind;
    const Kind kind =
        oneOf<Kind>(random, {Kind::accept, Kind::accept, Kind::drop, Kind::drop, Kind::reject,
                             Kind::comeBack, Kind::none, Kind::jump, Kind::jump, Kind::goTo});
    const bool isJump = kind == Kind::jump || kind == Kind::goTo;
    if (isJump && chain + 1 >= chains) {
        return {Kind::drop};
    }
    return {kind, isJump ? chain + 1 + pick(random, static_cast<unsigned>(chains - chain - 1)) : 0};
}

std::string name(std::size_t chain) {
    return "c" + std::to_string(chain);
}

std::string verdictText(const Verdict& verdict) {
    constexpr std::array words = {"counter", "accept", "drop", "reject",
                                  "return",  "jump ",  "goto "};
    const std::string word = words.at(static_cast<std::size_t>(verdict.kind));
    return word.ends_with(' ') ? word + name(verdict.target) : word;
}

std::string verdictJSON(const Verdict& verdict) {
    const std::string text = verdictText(verdict);
    const std::size_t space = text.find(' ');
    return space == std::string::npos ? "{" + quoted(text) + ": null}"
                                      : "{" + quoted(text.substr(0, space)) + R"(: {"target": )" +
                                            quoted(text.substr(space + 1)) + "}}";
}

enum class Fate { accepted, refused, returned };

Fate follow(const Rules& rules, std::size_t chain, const Packet& packet) {
    using Kind = Verdict::Kind;
    for (const Rule& rule : rules.chains[chain].rules) {
        Verdict verdict = rule.verdict;
        bool holds = std::ranges::all_of(
            rule.conditions, [&packet](const Condition& each) { return each.holds(packet); });
        if (holds && !rule.map.empty()) {
            const auto found = std::ranges::find_if(rule.map, [&packet](const auto& entry) {
                return packet.isTCP && isIn(packet.port, entry.first);
            });
            holds = found != rule.map.end();
            verdict = holds ? found->second : Verdict();
        }
        if (!holds || verdict.kind == Kind::none) {
            continue;
        }
        if (verdict.kind == Kind::accept) {
            return Fate::accepted;
        }
        if (verdict.kind == Kind::drop || verdict.kind == Kind::reject) {
            return Fate::refused;
        }
        if (verdict.kind == Kind::comeBack) {
            return Fate::returned;
        }
        const Fate fate = follow(rules, verdict.target, packet);
        if (fate != Fate::returned || verdict.kind == Kind::goTo) {
            return fate;
        }
    }
    return Fate::returned;
}

} // namespace

Rules makeRules(Random& random, bool mayBeUnknown) {
    Rules rules;
    const std::size_t bases = 1 + pick(random, 4) / 3;
    rules.chains.resize(bases + pick(random, 4));
    for (std::size_t i = 0; i < rules.chains.size(); ++i) {
        Chain& chain = rules.chains[i];
        chain.isBase = i < bases;
        chain.isPolicyDrop = pick(random, 4) != 0;
        for (unsigned count = pick(random, 5); count > 0; --count) {
            Rule rule;
            for (unsigned conditions = pick(random, 3); conditions > 0; --conditions) {
                rule.conditions.push_back(condition(random, rules.edges, mayBeUnknown));
            }
            // Only a chain that is in no hook of its own can be jumped to.
            const std::size_t from = std::max(i, bases - 1);
            rule.verdict = verdict(random, from, rules.chains.size());
            if (pick(random, 5) == 0) {
                const auto range = portRange(random, rules.edges);
                rule.map.push_back({range, rule.verdict});
                if (range.second < 65'535) {
                    rules.edges.insert(65'536);
                    rule.map.push_back(
                        {{range.second + 1, 65'535}, verdict(random, from, rules.chains.size())});
                }
                for (auto& [ignored, each] : rule.map) {
                    each = each.kind == Verdict::Kind::reject || each.kind == Verdict::Kind::none
                               ? Verdict{Verdict::Kind::drop}
                               : each;
                }
            }
            chain.rules.push_back(std::move(rule));
        }
    }
    return rules;
}

std::string Rules::text() const {
    std::string text = "table inet t {\n";
    for (std::size_t i = chains.size(); i-- > 0;) {
        text += "chain " + name(i) + " {\n";
        if (chains[i].isBase) {
            text += "type filter hook input priority " + std::to_string(i) + "\npolicy " +
                    (chains[i].isPolicyDrop ? "drop" : "accept") + "\n";
        }
        for (const Rule& rule : chains[i].rules) {
            for (const Condition& condition : rule.conditions) {
                text += condition.text + " ";
            }
            if (rule.map.empty()) {
                text += verdictText(rule.verdict) + "\n";
                continue;
            }
            text += "tcp dport vmap { ";
            for (const auto& [range, verdict] : rule.map) {
                text += rangeText(range) + " : " + verdictText(verdict) + ", ";
            }
            text += "}\n";
        }
        text += "}\n";
    }
    return text + "}\n";
}

std::string Rules::json() const {
    std::string json = R"({"nftables": [{"metainfo": {}})";
    for (std::size_t i = 0; i < chains.size(); ++i) {
        json += R"(, {"chain": {"family": "inet", "table": "t", "name": )" + quoted(name(i));
        if (chains[i].isBase) {
            json += R"(, "type": "filter", "hook": "input", "prio": )" + std::to_string(i) +
                    R"(, "policy": )" + quoted(chains[i].isPolicyDrop ? "drop" : "accept");
        }
        json += "}}";
        for (const Rule& rule : chains[i].rules) {
            json += R"(, {"rule": {"family": "inet", "table": "t", "chain": )" + quoted(name(i)) +
                    R"(, "expr": [)";
            for (const Condition& condition : rule.conditions) {
                json += condition.json + ", ";
            }
            if (rule.map.empty()) {
                json += verdictJSON(rule.verdict);
            } else {
                json += R"({"vmap": {"key": )" + payload("tcp", "dport") + R"(, "data": {"set": [)";
                for (const auto& [range, verdict] : rule.map) {
                    json += (&range == &rule.map.front().first ? "[" : ", [") + rangeJSON(range) +
                            ", " + verdictJSON(verdict) + "]";
                }
                json += "]}}}";
            }
            json += "]}}";
        }
    }
    return json + "]}";
}

bool Rules::areKnown() const {
    return std::ranges::all_of(chains, [](const Chain& chain) {
        return std::ranges::all_of(chain.rules, [](const Rule& rule) {
            return std::ranges::all_of(rule.conditions, &Condition::isKnown);
        });
    });
}

bool Rules::accept(const Packet& packet) const {
    for (std::size_t i = 0; i < chains.size() && chains[i].isBase; ++i) {
        const Fate fate = follow(*this, i, packet);
        if (fate == Fate::refused || (fate == Fate::returned && chains[i].isPolicyDrop)) {
            return false;
        }
    }
    return true;
}

unsigned Rules::openPorts(const std::function<bool(unsigned)>& isOpen) const {
    unsigned count = 0;
    for (auto edge = edges.begin(); edge != edges.end() && *edge <= 65'535; ++edge) {
        const auto next = std::next(edge);
        const unsigned end = next == edges.end() ? 65'536 : *next;
        count += isOpen(*edge) ? end - *edge : 0;
    }
    return count;
}

} // namespace generated
