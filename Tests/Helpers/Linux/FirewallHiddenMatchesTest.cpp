// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELFirewallHiddenMatches.h"

#include <gtest/gtest.h>

namespace {

using JSON = vel::RulesJSON;

const JSON unknownRule = JSON::parse(R"([{"match": {}}, {"accept": null}])");

/// The statements of one rule (with handle 7, in the table "ip filter") after its line was read.
JSON revealed(const std::string& match, const std::string& listing) {
    JSON document = JSON::parse(R"({"nftables": [{"metainfo": {}}, {"rule": {"family": "ip",
        "table": "filter", "chain": "INPUT", "handle": 7, "expr": [)" +
                                match + R"(, {"accept": null}]}}]})");
    vel::revealHiddenMatches(document, listing);
    return document["nftables"][1]["rule"]["expr"];
}

std::string named(const std::string& name) {
    return R"({"xt": {"type": "match", "name": ")" + name + R"("}})";
}

JSON ofLine(const std::string& name, const std::string& line) {
    return revealed(named(name), "table ip filter { # handle 1\n\tchain INPUT { # handle 2\n\t\t" +
                                     line + " # handle 7\n\t}\n}\n");
}

JSON condition(const std::string& operation, const std::string& left, const std::string& right) {
    return JSON::parse(R"([{"match": {"op": ")" + operation + R"(", "left": )" + left +
                       R"(, "right": )" + right + R"(}}, {"accept": null}])");
}

const std::string state = R"({"ct": {"key": "state"}})";
const std::string destinationPort = R"({"payload": {"protocol": "tcp", "field": "dport"}})";

/// The same statements, as they were.
JSON unrevealed(const std::string& name) {
    return JSON::parse("[" + named(name) + R"(, {"accept": null}])");
}

TEST(FirewallHiddenMatches, AListThatLacksARuleIsFound) {
    const auto document = JSON::parse(
        R"({"nftables": [{"rule": {"family": "inet", "table": "t", "handle": 2}}, {"rule": 1}]})");
    const auto lacks = [&](const std::string& line, const std::string& table = "inet t") {
        return vel::lacksRules(document, "table " + table + " {\n" + line + "\n}\n");
    };
    EXPECT_FALSE(vel::lacksRules(document, ""));
    EXPECT_FALSE(lacks("accept # handle 2"));
    EXPECT_FALSE(lacks("chain i { # handle 9")) << "no rule";
    EXPECT_TRUE(lacks("accept # handle 3"));
    EXPECT_TRUE(lacks("accept # handle 2\ndrop # handle 4"));
    EXPECT_TRUE(lacks("accept # handle 2", "ip t"));
    EXPECT_TRUE(lacks("accept # handle 2", "inet u"));
}

TEST(FirewallHiddenMatches, TheListingShowsTheirConditions) {
    EXPECT_EQ(ofLine("conntrack", "ct state new counter packets 0 bytes 0 accept"),
              condition("==", state, R"("new")"));
    EXPECT_EQ(ofLine("conntrack", "ct state related,established accept"),
              condition("in", state, R"(["related", "established"])"));
    EXPECT_EQ(ofLine("conntrack", "ct state != invalid accept"),
              condition("!=", state, R"("invalid")"));
    EXPECT_EQ(ofLine("conntrack", "ct status dnat accept"),
              condition("==", R"({"ct": {"key": "status"}})", R"("dnat")"));
    EXPECT_EQ(ofLine("multiport", "tcp dport { 22, 80, 1000-2000 } accept"),
              condition("==", destinationPort, R"({"set": [22, 80, {"range": [1000, 2000]}]})"));
    EXPECT_EQ(ofLine("multiport", "tcp dport != { 22,80} accept"),
              condition("!=", destinationPort, R"({"set": [22, "80}", "accept"]})"))
        << "what is not printed so is not understood";
    EXPECT_EQ(ofLine("multiport", "tcp sport { 1-https, ssh-80 } accept"),
              condition("==", R"({"payload": {"protocol": "tcp", "field": "sport"}})",
                        R"({"set": ["1-https", "ssh-80"]})"));
    EXPECT_EQ(ofLine("addrtype", "fib daddr type local accept"),
              condition("==", R"({"fib": {"result": "type", "flags": "daddr"}})", R"("local")"));
    EXPECT_EQ(
        ofLine("addrtype", "fib daddr . iif type != local accept"),
        condition("!=", R"({"fib": {"result": "type", "flags": ["daddr", "iif"]}})", R"("local")"));
    EXPECT_EQ(ofLine("pkttype", "pkttype unicast accept"),
              condition("==", R"({"meta": {"key": "pkttype"}})", R"("unicast")"));
}

TEST(FirewallHiddenMatches, WhatIsShownOtherwiseIsUnknown) {
    EXPECT_EQ(ofLine("ttl", "ip ttl gt 0 accept"), unknownRule);
    EXPECT_EQ(ofLine("ttl", "mark match ttl accept"), unknownRule) << "no match of an extension";
    EXPECT_EQ(ofLine("ttl", "accept xt match"), unknownRule) << "the name is missing";
    EXPECT_EQ(ofLine("ttl", "ip ttl gt 0 xt target ttl"), unknownRule);
    EXPECT_EQ(ofLine("icmp", "meta l4proto icmp icmp type echo-request accept"), unknownRule);
}

TEST(FirewallHiddenMatches, WhatIsNotShownStaysHidden) {
    EXPECT_EQ(ofLine("recent", "xt match recent counter packets 0 bytes 0 accept"),
              unrevealed("recent"));
    EXPECT_EQ(ofLine("recent", "xt match \"recent\" accept"), unrevealed("recent"));
    for (const char* name : {"conntrack", "addrtype", "pkttype", "multiport"}) {
        EXPECT_EQ(ofLine(name, "counter accept"), unrevealed(name)) << name;
        EXPECT_EQ(ofLine(name, std::string("xt match ") + name + " accept"), unrevealed(name));
    }
    EXPECT_EQ(ofLine("conntrack", "log prefix \"ct state new\" accept"), unrevealed("conntrack"))
        << "a quoted text";
    EXPECT_EQ(ofLine("comment", "counter accept"), unrevealed("comment"));
    for (const char* listing : {"", "table ip filter {\n ct state new accept # handle 8\n}\n",
                                "table ip6 filter {\n ct state new accept # handle 7\n}\n",
                                "table ip other {\n ct state new accept # handle 7\n}\n",
                                "table ip filter {\n ct state new accept\n}\n",
                                "table ip filter {\n ct state new accept x handle 7\n}\n",
                                "table ip filter {\n ct state new accept # number 7\n}\n",
                                "table ip filter x\n ct state new accept # handle 7\n",
                                "# handle 7", "\"", "table ip filter {"}) {
        EXPECT_EQ(revealed(named("conntrack"), listing), unrevealed("conntrack")) << listing;
    }
}

TEST(FirewallHiddenMatches, EveryConditionOfTheLineIsKept) {
    const JSON expected = JSON::parse(
        R"([{"match": {"op": "==", "left": {"payload": {"protocol": "tcp", "field": "dport"}},
                       "right": 22}},
            {"match": {"op": "==", "left": {"ct": {"key": "state"}}, "right": "new"}},
            {"xt": {"type": "match", "name": "recent"}}, {"accept": null}])");
    EXPECT_EQ(revealed(named("conntrack") + ", " + named("recent"),
                       "table ip filter {\n tcp dport 22 ct state new xt match recent accept # "
                       "handle 7\n}"),
              expected);
}

TEST(FirewallHiddenMatches, AChainsNameIsNoCondition) {
    for (const char* verdict : {"jump", "goto"}) {
        for (const char* name : {"ct", "fib", "pkttype", "dport", "sport"}) {
            const std::string line = std::string("xt match recent ") + verdict + " " + name;
            EXPECT_EQ(ofLine("recent", line), unrevealed("recent")) << line;
            EXPECT_EQ(ofLine("recent", line + " comment \"new\""), unrevealed("recent")) << line;
        }
    }
}

TEST(FirewallHiddenMatches, ACommentIsNoCondition) {
    for (const char* comment : {"new", "x\" ct state new \"", "\" ct state new"}) {
        const std::string line = std::string("accept comment \"") + comment + "\"";
        EXPECT_EQ(ofLine("conntrack", line), unrevealed("conntrack")) << line;
        EXPECT_EQ(ofLine("recent", "xt match recent " + line), unrevealed("recent")) << line;
    }
    EXPECT_EQ(ofLine("conntrack", "xt match comment ct state new accept"),
              condition("==", state, R"("new")"));
    EXPECT_EQ(ofLine("conntrack", "ct state new jump comment"), condition("==", state, R"("new")"));
}

TEST(FirewallHiddenMatches, AConditionWithoutAValueIsUnknown) {
    EXPECT_EQ(ofLine("pkttype", "pkttype ! host accept"),
              condition("==", R"({"meta": {"key": "pkttype"}})", "null"));
    EXPECT_EQ(ofLine("addrtype", "fib daddr type ! local accept"),
              condition("==", R"({"fib": {"result": "type", "flags": "daddr"}})", "null"));
    EXPECT_EQ(ofLine("multiport", "tcp dport { , 0-9 . 80, 80 . 0-9 } accept"),
              condition("==", destinationPort, R"({"set": [null, {"range": [0, 9]}, null, 80,
                                                           80, null, {"range": [0, 9]}]})"))
        << "two values in one";
    EXPECT_EQ(ofLine("conntrack", "ct state"), condition("==", state, "null"));
    EXPECT_EQ(ofLine("conntrack", "ct state !="), condition("!=", state, "null"));
    EXPECT_EQ(ofLine("multiport", "tcp dport { } accept"),
              condition("==", destinationPort, "null"));
}

TEST(FirewallHiddenMatches, OtherRulesStayAsTheyAre) {
    const std::string log = R"({"xt": {"type": "target", "name": "LOG"}})";
    EXPECT_EQ(revealed(named("conntrack") + ", " + log,
                       "table ip filter {\n ct state new accept # handle 7\n}"),
              JSON::parse(R"([{"match": {"op": "==", "left": {"ct": {"key": "state"}},
                                         "right": "new"}}, )" +
                          log + R"(, {"accept": null}])"));
    for (const std::string& statements :
         {std::string(), std::string(R"(, "expr": 5)"), std::string(R"(, "expr": {"x": 1})"),
          R"(, "expr": {"x": )" + named("conntrack") + "}"}) {
        const JSON document = JSON::parse(R"({"nftables": [{"rule": {"family": "ip",
            "table": "filter", "chain": "INPUT", "handle": 7)" +
                                          statements + "}}]}");
        JSON read = document;
        vel::revealHiddenMatches(read, "table ip filter {\n ct state new accept # handle 7\n}");
        EXPECT_EQ(read, document);
    }
    const std::string native = R"({"match": {"op": "==", "left": 1, "right": 2}})";
    EXPECT_EQ(revealed(native, "table ip filter {\n ct state new accept # handle 7\n}"),
              JSON::parse("[" + native + R"(, {"accept": null}])"));
}

} // namespace
