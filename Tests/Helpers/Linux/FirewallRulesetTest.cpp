// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELFirewallRuleset.h"

#include <gtest/gtest.h>
#include <ostream>
#include <string>
#include <vector>

namespace vel {
static void PrintTo(const InboundDenial& denial, std::ostream* stream) {
    *stream << "{IPv4 " << denial.ipv4 << ", IPv6 " << denial.ipv6 << "}";
}
} // namespace vel

namespace {

using vel::InboundDenial;

constexpr InboundDenial none = {false, false};
constexpr InboundDenial both = {true, true};
constexpr InboundDenial onlyIPv4 = {true, false};
constexpr InboundDenial onlyIPv6 = {false, true};

std::string document(const std::vector<std::string>& objects) {
    std::string text = R"({"nftables": [{"metainfo": {"version": "1.0.6"}})";
    for (const auto& object : objects) {
        text += ", " + object;
    }
    return text + "]}";
}

std::string chain(const std::string& name, const std::string& hook = {},
                  const std::string& family = "inet") {
    return R"({"chain": {"family": ")" + family + R"(", "table": "t", "name": ")" + name + "\"" +
           (hook.empty() ? "" : ", " + hook) + "}}";
}

std::string rule(const std::string& chainName, const std::string& statements,
                 const std::string& family = "inet") {
    return R"({"rule": {"family": ")" + family + R"(", "table": "t", "chain": ")" + chainName +
           R"(", "expr": [)" + statements + "]}}";
}

const std::string input = R"("type": "filter", "hook": "input", "prio": 0, "policy": "accept")";
const std::string denyingInput = R"("type": "filter", "hook": "input", "policy": "drop")";

/// The judgement of one accepting base chain with these rules.
InboundDenial ofRules(const std::vector<std::string>& rules,
                      const std::vector<std::string>& others = {},
                      const std::string& hook = input) {
    std::vector<std::string> objects = {chain("i", hook)};
    for (const auto& statements : rules) {
        objects.push_back(rule("i", statements));
    }
    objects.insert(objects.end(), others.begin(), others.end());
    return vel::inboundDenial(document(objects)).value();
}

const std::string drop = R"({"drop": null})";
const std::string accept = R"({"accept": null})";
const std::string returns = R"({"return": null})";
const std::string someAddress =
    R"({"match": {"op": "==", "left": {"payload": {"protocol": "ip", "field": "saddr"}}, "right": "10.0.0.1"}})";
const std::string notLoopback =
    R"({"match": {"op": "!=", "left": {"meta": {"key": "iifname"}}, "right": "lo"}})";
std::string jump(const std::string& target) {
    return R"({"jump": {"target": ")" + target + R"("}})";
}
std::string goTo(const std::string& target) {
    return R"({"goto": {"target": ")" + target + R"("}})";
}
std::string familyIs(const std::string& key, const std::string& op, const std::string& right) {
    return R"({"match": {"op": ")" + op + R"(", "left": {"meta": {"key": ")" + key +
           R"("}}, "right": )" + right + "}}";
}

TEST(FirewallRuleset, OnlyARulesetIsJudged) {
    for (const char* text :
         {"", "{", "null", "[]", "{}", R"({"nftables": {}})", R"({"nftables": []} x)", "\xff"}) {
        EXPECT_FALSE(vel::inboundDenial(text)) << text;
    }
    EXPECT_EQ(vel::inboundDenial(R"({"nftables": []})"), none);
    EXPECT_EQ(vel::inboundDenial(R"({"nftables": [1, null, "x", [], {}, {"chain": 1},
        {"rule": {"expr": 5}}, {"table": []}, {"map": {}}]})"),
              none);
}

TEST(FirewallRuleset, ThePolicyDecides) {
    EXPECT_EQ(ofRules({}, {}, input), none);
    EXPECT_EQ(ofRules({}, {}, denyingInput), both);
    EXPECT_EQ(ofRules({}, {}, R"("type": "filter", "hook": "input")"), none);
    EXPECT_EQ(ofRules({}, {}, R"("type": "filter", "hook": "forward", "policy": "drop")"), none);
    EXPECT_EQ(ofRules({}, {}, R"("type": "nat", "hook": "input", "policy": "drop")"), none);
    for (const auto& [family, expected] :
         {std::pair("ip", onlyIPv4), std::pair("ip6", onlyIPv6), std::pair("inet", both),
          std::pair("bridge", none), std::pair("arp", none), std::pair("netdev", none)}) {
        EXPECT_EQ(vel::inboundDenial(document({chain("i", denyingInput, family)})), expected)
            << family;
    }
    EXPECT_EQ(vel::inboundDenial(
                  document({chain("i", denyingInput, "ip"), chain("i", denyingInput, "ip6")})),
              both);
    EXPECT_EQ(vel::inboundDenial(
                  document({chain("i", denyingInput), chain("j", input), rule("j", accept)})),
              both)
        << "one chain that denies is enough";
}

TEST(FirewallRuleset, ARuleWithoutConditionEndsThePath) {
    EXPECT_EQ(ofRules({drop}), both);
    EXPECT_EQ(ofRules({R"({"reject": {"type": "icmpx", "expr": "admin-prohibited"}})"}), both);
    EXPECT_EQ(ofRules({R"({"counter": {"packets": 0}}, {"log": {"prefix": "x"}}, )" + drop}), both);
    EXPECT_EQ(ofRules({R"({"xt": {"type": "match", "name": "comment"}}, )" + drop}), both);
    EXPECT_EQ(ofRules({R"({"counter": null}, {"xt": {"type": "target", "name": "REJECT"}})"}),
              both);
    EXPECT_EQ(ofRules({R"({"xt": {"type": "target", "name": "LOG"}})", drop}), both);
    EXPECT_EQ(ofRules({R"({"mangle": {"key": {}, "value": 1}})", drop}), both);
    EXPECT_EQ(ofRules({accept, drop}), none);
    EXPECT_EQ(ofRules({accept}, {}, denyingInput), none);
    EXPECT_EQ(ofRules({R"({"queue": {"num": 1}})"}, {}, denyingInput), none);
    EXPECT_EQ(ofRules({returns, drop}), none);
    EXPECT_EQ(ofRules({returns}, {}, denyingInput), both);
}

TEST(FirewallRuleset, ARuleWithAConditionDoesNot) {
    for (const std::string& condition :
         {someAddress, std::string(R"({"limit": {"rate": 1}})"),
          std::string(R"({"quota": {"val": 1}})"), std::string(R"({"ct count": {"val": 3}})"),
          std::string(R"({"xt": null})"), std::string(R"({"xt": {"type": "match"}})"),
          std::string(R"({"unheard-of": 1})"), std::string("1"), std::string("{}"),
          std::string(R"({"counter": 1, "log": 1})"), std::string(R"({"match": {}})")}) {
        EXPECT_EQ(ofRules({condition + ", " + drop}), none) << condition;
        EXPECT_EQ(ofRules({condition + ", " + accept}, {}, denyingInput), both) << condition;
        EXPECT_EQ(ofRules({condition + ", " + accept, drop}), both) << condition;
    }
}

TEST(FirewallRuleset, ANegatedConditionCountsForBothWays) {
    EXPECT_EQ(ofRules({notLoopback + ", " + drop}), none);
    EXPECT_EQ(ofRules({notLoopback + ", " + accept}, {}, denyingInput), none);
    EXPECT_EQ(ofRules({notLoopback + ", " + someAddress + ", " + accept}, {}, denyingInput), both);
    EXPECT_EQ(ofRules({notLoopback + ", " + returns, drop}), none);
    EXPECT_EQ(ofRules({notLoopback + ", " + drop, drop}), both);
    EXPECT_EQ(ofRules({notLoopback + ", " + goTo("c"), drop}, {chain("c")}), none);
    EXPECT_EQ(ofRules({notLoopback + ", " + goTo("c"), drop}, {chain("c"), rule("c", drop)}), both);
}

TEST(FirewallRuleset, AConditionOnTheFamilyIsWeighed) {
    for (const auto& [key, four, six] : {std::tuple("nfproto", R"("ipv4")", R"("ipv6")"),
                                         std::tuple("protocol", R"("ip")", R"("ip6")")}) {
        EXPECT_EQ(ofRules({familyIs(key, "==", four) + ", " + drop}), onlyIPv4);
        EXPECT_EQ(ofRules({familyIs(key, "==", six) + ", " + drop}), onlyIPv6);
        EXPECT_EQ(ofRules({familyIs(key, "!=", six) + ", " + drop}), onlyIPv4);
        EXPECT_EQ(ofRules({familyIs(key, "==", six) + ", " + accept}, {}, denyingInput), onlyIPv4);
        const std::string set = std::string(R"({"set": [)") + four + ", " + six + "]}";
        EXPECT_EQ(ofRules({familyIs(key, "==", set) + ", " + drop}), both);
    }
    const std::string anyIPv4 =
        R"({"match": {"op": "==", "left": {"payload": {"protocol": "ip", "field": "saddr"}}, "right": {"prefix": {"addr": "0.0.0.0", "len": 0}}}})";
    EXPECT_EQ(ofRules({anyIPv4 + ", " + accept}, {}, denyingInput), onlyIPv6);
    EXPECT_EQ(ofRules({anyIPv4 + ", " + drop}), onlyIPv4);
}

TEST(FirewallRuleset, JumpsAreFollowed) {
    EXPECT_EQ(ofRules({jump("c")}, {chain("c"), rule("c", drop)}), both);
    EXPECT_EQ(ofRules({jump("c"), drop}, {chain("c"), rule("c", accept)}), none);
    EXPECT_EQ(ofRules({jump("c"), drop}, {chain("c"), rule("c", returns), rule("c", accept)}),
              both);
    EXPECT_EQ(ofRules({jump("c"), drop}, {chain("c")}), both);
    EXPECT_EQ(ofRules({goTo("c"), drop}, {chain("c")}), none);
    EXPECT_EQ(ofRules({goTo("c")}, {chain("c")}, denyingInput), both);
    EXPECT_EQ(ofRules({goTo("c")}, {chain("c"), rule("c", drop)}), both);
    EXPECT_EQ(ofRules({someAddress + ", " + jump("c")}, {chain("c"), rule("c", drop)}), none);
    EXPECT_EQ(ofRules({jump("c")}, {chain("c"), rule("c", jump("d")), chain("d"), rule("d", drop)}),
              both);
    EXPECT_EQ(ofRules({jump("missing"), drop}), none);
    EXPECT_EQ(ofRules({jump("c"), drop}, {chain("c"), rule("c", jump("c"))}), none);
    EXPECT_EQ(ofRules({jump("c"), drop}, {chain("c", {}, "ip"), rule("c", returns, "ip")}), none)
        << "a chain of another table";
}

TEST(FirewallRuleset, VerdictMapsCountByTheirDefault) {
    const auto vmap = [](const std::string& data) {
        return R"({"vmap": {"key": {"ct": {"key": "state"}}, "data": )" + data + "}}";
    };
    const std::string established = R"(["established", {"accept": null}])";
    EXPECT_EQ(ofRules({vmap(R"({"set": [)" + established + "]}"), drop}), both);
    EXPECT_EQ(ofRules({vmap(R"({"set": [)" + established + R"(, ["*", {"drop": null}]]})")}), both);
    EXPECT_EQ(ofRules({vmap(R"({"set": [["*", {"accept": null}]]})")}, {}, denyingInput), none);
    const std::string map =
        R"({"map": {"family": "inet", "name": "m", "table": "t", "elem": [["*", {"accept": null}]]}})";
    EXPECT_EQ(ofRules({vmap(R"("@m")")}, {map}, denyingInput), none);
    EXPECT_EQ(ofRules({vmap(R"("@other")"), drop}, {map}), both);
    EXPECT_EQ(ofRules({vmap(R"({"set": [["*", {"vmap": {}}]]})"), drop}), both);
}

TEST(FirewallRuleset, ATableThatMayBeDormantCountsForNothing) {
    const auto table = [](const std::string& flags) {
        return R"({"table": {"family": "inet", "name": "t", "flags": )" + flags + "}}";
    };
    for (const char* flags : {R"("dormant")", R"("t")", R"(["dormant"])", R"(["owner", "dormant"])",
                              "1", "null", R"({})"}) {
        EXPECT_EQ(ofRules({}, {table(flags)}, denyingInput), none) << flags;
    }
    for (const char* flags : {R"("owner")", R"(["owner", "persist"])", "[]"}) {
        EXPECT_EQ(ofRules({}, {table(flags)}, denyingInput), both) << flags;
    }
    EXPECT_EQ(vel::inboundDenial(document({chain("i", denyingInput, "ip"), table(R"("t")")})),
              onlyIPv4)
        << "a table of another family";
}

TEST(FirewallRuleset, DepthAndBreadthAreBounded) {
    std::vector<std::string> objects = {chain("c0", input)};
    for (int i = 0; i < 200; ++i) { // each jumps twice to the next: 2^200 paths
        const std::string name = "c" + std::to_string(i);
        const std::string next = "c" + std::to_string(i + 1);
        objects.insert(objects.end(),
                       {rule(name, jump(next)), rule(name, jump(next)), chain(next)});
    }
    objects.push_back(rule("c0", drop));
    EXPECT_EQ(vel::inboundDenial(document(objects)), none);
    const std::string deep(1'000'000, '[');
    EXPECT_FALSE(vel::inboundDenial(deep));
    EXPECT_FALSE(vel::inboundDenial(document({deep + std::string(deep.size(), ']')})));
    const std::string nested(100, '[');
    EXPECT_EQ(ofRules({nested + std::string(nested.size(), ']') + ", " + drop}), none);
}

} // namespace
