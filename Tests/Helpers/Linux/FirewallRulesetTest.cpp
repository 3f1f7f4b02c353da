// SPDX-License-Identifier: Apache-2.0
#include "Tests/Helpers/Linux/InboundDefaultPrinter.h"
#include "Tests/Support/FileContent.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using vel::InboundDefault;

constexpr auto refused = InboundDefault::refused;
constexpr auto letIn = InboundDefault::letIn;
constexpr auto hidden = InboundDefault::hidden;

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

const std::string open = R"("type": "filter", "hook": "input", "prio": 0, "policy": "accept")";
const std::string closed = R"("type": "filter", "hook": "input", "prio": 0, "policy": "drop")";
const std::string translation =
    R"("type": "nat", "hook": "prerouting", "prio": -100, "policy": "accept")";

InboundDefault judge(const std::vector<std::string>& objects, bool isIPv6Judged = true,
                     const std::vector<std::string>& interfaces = {"eth0"}) {
    return vel::inboundDefault(document(objects), "", {interfaces, isIPv6Judged}).value();
}

/// The judgement of one base chain with these rules.
InboundDefault ofRules(const std::string& hook, const std::vector<std::string>& rules,
                       const std::vector<std::string>& others = {}) {
    std::vector<std::string> objects = {chain("i", hook)};
    for (const auto& statements : rules) {
        objects.push_back(rule("i", statements));
    }
    objects.insert(objects.end(), others.begin(), others.end());
    return judge(objects);
}

const std::string drop = R"({"drop": null})";
const std::string accept = R"({"accept": null})";
const std::string returns = R"({"return": null})";

std::string jump(const std::string& target) {
    return R"({"jump": {"target": ")" + target + R"("}})";
}
std::string goTo(const std::string& target) {
    return R"({"goto": {"target": ")" + target + R"("}})";
}
std::string match(const std::string& left, const std::string& right,
                  const std::string& operation = "==") {
    return R"({"match": {"op": ")" + operation + R"(", "left": )" + left + R"(, "right": )" +
           right + "}}";
}
std::string meta(const std::string& key) {
    return R"({"meta": {"key": ")" + key + R"("}})";
}
std::string payload(const std::string& protocol, const std::string& field) {
    return R"({"payload": {"protocol": ")" + protocol + R"(", "field": ")" + field + R"("}})";
}
std::string ct(const std::string& key) {
    return R"({"ct": {"key": ")" + key + R"("}})";
}
std::string prefix(const std::string& address, int length) {
    return R"({"prefix": {"addr": ")" + address + R"(", "len": )" + std::to_string(length) + "}}";
}
std::string ports(int first, int last) {
    return R"({"range": [)" + std::to_string(first) + ", " + std::to_string(last) + "]}";
}
std::string vmap(const std::string& key, const std::string& data) {
    return R"({"vmap": {"key": )" + key + R"(, "data": )" + data + "}}";
}

TEST(FirewallRuleset, OnlyARulesetIsJudged) {
    for (const char* text :
         {"", "{", "null", "[]", "{}", R"({"nftables": {}})", R"({"nftables": []} x)", "\xff"}) {
        EXPECT_FALSE(vel::inboundDefault(text, "", {})) << text;
    }
    EXPECT_EQ(vel::inboundDefault(R"({"nftables": []})", "", {}), letIn);
    EXPECT_EQ(vel::inboundDefault(R"({"nftables": [1, null, "x", [], {}, {"chain": 1},
        {"rule": {"expr": 5}}, {"table": []}, {"map": {}}, {"set": null}]})",
                                  "", {}),
              letIn);
}

TEST(FirewallRuleset, ThePolicyDecides) {
    EXPECT_EQ(ofRules(open, {}), letIn);
    EXPECT_EQ(ofRules(closed, {}), refused);
    EXPECT_EQ(ofRules(R"("type": "filter", "hook": "input")", {}), letIn);
    EXPECT_EQ(ofRules(R"("type": "filter", "hook": "forward", "policy": "drop")", {}), letIn);
    EXPECT_EQ(ofRules(R"("type": "nat", "hook": "input", "policy": "drop")", {}), letIn);
    for (const char* family : {"ip", "ip6", "bridge", "arp", "netdev"}) {
        EXPECT_EQ(judge({chain("i", closed, family)}), letIn) << family;
    }
    EXPECT_EQ(judge({chain("i", closed, "ip")}, false), refused) << "no IPv6 on this machine";
    EXPECT_EQ(judge({chain("i", closed, "ip6")}, false), letIn);
    EXPECT_EQ(judge({chain("i", closed, "ip"), chain("i", closed, "ip6")}), refused);
}

TEST(FirewallRuleset, ADropInAnyBaseChainIsFinalAnAcceptIsNot) {
    EXPECT_EQ(judge({chain("i", closed), chain("j", open), rule("j", accept)}), refused);
    EXPECT_EQ(judge({chain("i", open), rule("i", accept), chain("j", closed)}), refused);
    EXPECT_EQ(
        judge({chain("i", closed), rule("i", match(payload("tcp", "dport"), "22") + ", " + accept),
               chain("j", open), rule("j", accept)}),
        refused);
    EXPECT_EQ(
        judge({chain("i", closed),
               rule("i", match(payload("tcp", "dport"), ports(1, 2'000)) + ", " + accept),
               chain("j", closed),
               rule("j", match(payload("tcp", "dport"), ports(2'001, 4'000)) + ", " + accept)}),
        refused)
        << "no port passes both";
}

TEST(FirewallRuleset, ARuleWithoutConditionEndsThePath) {
    for (const std::string& refusing :
         {drop, std::string(R"({"reject": null})"),
          std::string(R"({"reject": {"type": "icmpx", "expr": "admin-prohibited"}})"),
          R"({"counter": {"packets": 0}}, {"log": {"prefix": "x"}}, )" + drop,
          R"({"xt": {"type": "match", "name": "comment"}}, )" + drop,
          std::string(R"({"counter": null}, {"xt": {"type": "target", "name": "REJECT"}})"),
          R"({"xt": {"type": "target", "name": "LOG"}}, )" + drop,
          R"({"mangle": {"key": {"meta": {"key": "mark"}}, "value": 1}}, )" + drop}) {
        EXPECT_EQ(ofRules(open, {refusing}), refused) << refusing;
        EXPECT_EQ(ofRules(open, {refusing + ", " + accept}), refused) << refusing;
        EXPECT_EQ(ofRules(open, {accept, refusing}), letIn) << refusing;
        EXPECT_EQ(ofRules(open, {returns, refusing}), letIn) << refusing;
    }
    for (const std::string& accepting :
         {accept, std::string(R"({"queue": {"num": 1}})"),
          std::string(R"({"xt": {"type": "target", "name": "NFQUEUE"}})"),
          std::string(R"({"unheard-of": 1})"), std::string("1"), std::string("{}"),
          std::string(R"({"unheard-of": {"type": "match", "name": "comment"}})"),
          std::string(R"({"counter": 1, "log": 1})"),
          R"({"mangle": {"key": {"payload": {}}, "value": 1}})" + (", " + returns)}) {
        EXPECT_EQ(ofRules(closed, {accepting}), letIn) << accepting;
        EXPECT_EQ(ofRules(closed, {drop, accepting}), refused) << accepting;
    }
    EXPECT_EQ(ofRules(closed, {returns}), refused);
    EXPECT_EQ(ofRules(closed, {returns + ", " + accept}), refused);
}

TEST(FirewallRuleset, OtherStatementsLeaveThePacketOnItsWay) {
    for (const char* kind : {"counter", "log", "notrack", "continue", "ct helper", "ct timeout",
                             "ct expectation", "secmark"}) {
        EXPECT_EQ(ofRules(open, {R"({")" + std::string(kind) + R"(": null}, )" + drop}), refused)
            << kind;
    }
    for (const char* target :
         {"LOG", "NFLOG", "AUDIT", "TRACE", "MARK", "CONNMARK", "CT", "DSCP", "TOS", "SECMARK",
          "CONNSECMARK", "SET", "CLASSIFY", "TCPMSS", "NOTRACK", "CHECKSUM"}) {
        EXPECT_EQ(ofRules(open, {R"({"xt": {"type": "target", "name": ")" + std::string(target) +
                                 R"("}}, )" + drop}),
                  refused)
            << target;
    }
}

TEST(FirewallRuleset, ARejectionReachesWhatItsReplyIsFor) {
    const auto reject = [](const std::string& type) {
        return R"({"reject": {"type": ")" + type + R"("}})";
    };
    EXPECT_EQ(ofRules(open, {reject("tcp reset")}), letIn);
    EXPECT_EQ(ofRules(open, {reject("icmp")}), letIn);
    EXPECT_EQ(ofRules(open, {reject("icmpv6")}), letIn);
    EXPECT_EQ(ofRules(open, {reject("icmp"), reject("icmpv6")}), refused);
    EXPECT_EQ(ofRules(open, {reject("tcp reset"),
                             match(meta("l4proto"), "\"udp\"") + ", " + reject("icmpx")}),
              refused);
}

TEST(FirewallRuleset, AnUnknownConditionLetsInAndDoesNotRefuse) {
    const std::string interfaceAndPort =
        R"({"concat": [)" + meta("iifname") + ", " + payload("th", "dport") + "]}";
    for (const std::string& condition :
         {std::string(R"({"limit": {"rate": 1}})"),
          std::string(R"({"quota": {"val": 1}})"),
          std::string(R"({"ct count": {"val": 3}})"),
          std::string(R"({"match": {}})"),
          R"({"match": {"op": "==", "left": )" + meta("iifname") + "}}",
          std::string(R"({"match": {"op": "==", "right": "eth0"}})"),
          std::string(R"({"set": {"op": "add", "elem": 1, "set": "@s"}})"),
          std::string(R"({"map": {"op": "add", "elem": 1, "data": 2, "map": "@m"}})"),
          std::string(R"({"meter": {"key": 1, "name": "m", "stmt": {"limit": {"rate": 1}}}})"),
          match(payload("ip", "ttl"), "0", ">") + ", " + match(payload("ip", "ttl"), "64", "<"),
          match(meta("mark"), "1"),
          match(meta("hour"), ports(1, 2)),
          match(payload("ip", "saddr"), prefix("0.0.0.0", 1)),
          match(payload("ip", "saddr"), "\"8.8.8.8\""),
          match(payload("ip", "saddr"), "\"10.0.0.1\"", "<"),
          match(payload("ip", "saddr"), "\"host\""),
          match(payload("ip", "daddr"), "\"10.0.0.1\""),
          match(payload("tcp", "sport"), ports(1'024, 65'535)),
          match(payload("th", "sport"), ports(0, 65'535)),
          match(payload("quic", "dport"), ports(0, 65'535)),
          match(payload("th", "dport"), R"({"range": ["ssh", 65535]})"),
          match(payload("th", "dport"), R"({"range": [1, "https"]})"),
          match(payload("tcp", "flags"), "\"syn\"", "in"),
          match(R"({"payload": {"base": "th", "offset": 16, "len": 16}})", "22"),
          match(R"({"&": [)" + ct("mark") + ", 255]}", "1"),
          match(R"({"ct": {"key": "state", "dir": "original"}})", "\"new\""),
          match(R"({"fib": {"result": "type", "flags": ["daddr", "iif"]}})", "\"local\""),
          match(R"({"fib": {"result": "oif", "flags": ["saddr", "iif"]}})", "false"),
          match(ct("status"), "\"snat\"", "in"),
          match(ct("state"), R"(["new", "related"])", "!="),
          match(ct("state"), "8"),
          match(meta("mark"), "5", ">"),
          match(R"({"&": 5})", "1"),
          match(R"({"&": []})", "1"),
          match(ct("label"), "\"new\""),
          match(ct("label"), "\"related\""),
          match(ct("label"), "\"assured\""),
          match(meta("iifname"), R"("eth\\*")"),
          match(meta("iif"), R"({"range": ["lo", "5"]})"),
          match(meta("iif"), R"({"set": [{"range": ["lo", "5"]}, "7"]})"),
          match(meta("nfproto"), "2"),
          match(interfaceAndPort, R"({"set": ["eth0"]})"),
          match(interfaceAndPort, R"({"set": [{"concat": {"a": "eth0", "b": "*"}}]})"),
          match(R"({"concat": {"a": 1, "b": 2}})", R"({"set": [{"concat": [1, 2]}]})"),
          match(interfaceAndPort, R"({"set": [{"concat": ["eth0"]}]})"),
          match(interfaceAndPort, R"({"set": [{"concat": ["eth0", "*", "*"]}]})")}) {
        EXPECT_EQ(ofRules(open, {condition + ", " + drop}), letIn) << condition;
        EXPECT_EQ(ofRules(closed, {condition + ", " + accept}), letIn) << condition;
        EXPECT_EQ(ofRules(closed, {drop, condition + ", " + accept}), refused) << condition;
        EXPECT_EQ(ofRules(closed, {condition + ", " + drop}), refused) << condition;
        EXPECT_EQ(ofRules(closed, {condition + ", " + returns, accept}), letIn) << condition;
        EXPECT_EQ(ofRules(closed, {condition + ", " + jump("c")}, {chain("c"), rule("c", accept)}),
                  letIn)
            << condition;
        EXPECT_EQ(ofRules(open, {condition + ", " + goTo("c"), drop}, {chain("c")}), letIn)
            << condition;
    }
}

TEST(FirewallRuleset, AStatementWithoutAValueForThePacketEndsTheRule) {
    const std::string map = R"({"map": {"key": )" + payload("ip", "saddr") + R"(, "data": "@m"}})";
    const auto mark = [](const std::string& key, const std::string& value) {
        return R"({"mangle": {"key": )" + key + R"(, "value": )" + value + "}}";
    };
    for (const std::string& statement :
         {mark(meta("mark"), map), mark(ct("mark"), map), mark(meta("mark"), ct("mark")),
          R"({"counter": )" + map + "}", R"({"ct helper": )" + map + "}",
          R"({"secmark": )" + map + "}"}) {
        EXPECT_EQ(ofRules(open, {statement + ", " + drop}), letIn) << statement;
        EXPECT_EQ(ofRules(closed, {statement + ", " + accept}), letIn) << statement;
    }
    for (const std::string& statement :
         {mark(meta("mark"), "1"), mark(ct("mark"), "1"), mark(meta("priority"), "1"),
          mark(meta("nftrace"), "1"), mark(meta("secmark"), "1"),
          std::string(R"({"counter": "a"})"),
          std::string(R"({"counter": {"packets": 1, "bytes": 2}})"),
          std::string(R"({"log": {"prefix": "map"}})"), std::string(R"({"secmark": "a"})")}) {
        EXPECT_EQ(ofRules(open, {statement + ", " + drop}), refused) << statement;
    }
}

struct KnownCondition {
    std::string condition;
    bool holds; // for packets of some kind; else for none
};

TEST(FirewallRuleset, AKnownConditionIsWeighed) {
    const std::string halves =
        R"({"set": [)" + prefix("0.0.0.0", 1) + ", " + prefix("128.0.0.0", 1) + "]}";
    const std::string destinationType = R"({"fib": {"result": "type", "flags": ["daddr"]}})";
    for (const auto& [condition, holds] : std::vector<KnownCondition>{
             {match(ct("state"), "\"new\"", "in"), true},
             {match(ct("state"), R"(["established", "new"])", "in"), true},
             {match(ct("state"), R"({"set": ["established", "new"]})"), true},
             {match(ct("state"), "\"established\"", "!="), true},
             {match(ct("state"), R"(["established", "related"])", "in"), false},
             {match(ct("state"), "\"new\"", "!="), false},
             {match(ct("state"), "\"untracked\"", "in"), false},
             {match(ct("direction"), "\"original\""), true},
             {match(ct("direction"), "\"reply\""), false},
             {match(ct("status"), "\"dnat\"", "in"), false},
             {match(ct("status"), "\"dnat\"", "!="), true},
             {match(destinationType, "\"local\""), true},
             {match(destinationType, R"({"set": ["multicast", "local"]})"), true},
             {match(destinationType, "\"multicast\""), false},
             {match(meta("pkttype"), "\"host\""), true},
             {match(meta("pkttype"), "\"unicast\""), true},
             {match(meta("pkttype"), "\"broadcast\""), false},
             {match(meta("l4proto"), "\"tcp\""), true},
             {match(meta("l4proto"), "17"), true},
             {match(meta("l4proto"), ports(7, 255)), true},
             {match(meta("l4proto"), ports(7, 16)), false},
             {match(meta("l4proto"), R"({"set": ["icmp", "ipv6-icmp"]})"), false},
             {match(meta("l4proto"), R"({"set": ["icmp", "ipv6-icmp"]})", "!="), true},
             {match(payload("ip", "protocol"), "\"udp\""), true},
             {match(payload("ip", "protocol"), "\"esp\""), false},
             {match(payload("icmp", "type"), "\"echo-request\""), false},
             {match(payload("icmp", "type"), "\"echo-request\"", "!="), false},
             {match(meta("nfproto"), "\"ipv6\""), true},
             {match(meta("protocol"), "\"ip\""), true},
             {match(meta("protocol"), "\"arp\""), false},
             {match(payload("ip", "saddr"), prefix("0.0.0.0", 0)), true},
             {match(payload("ip", "saddr"), prefix("0.0.0.0", 0), "!="), false},
             {match(payload("ip6", "saddr"), prefix("::", 0)), true},
             {match(payload("ip6", "saddr"), prefix("::", 0), "!="), false},
             {match(payload("ip", "saddr"), halves), true},
             {match(payload("ip", "saddr"), prefix("10.0.0.0", 8)), false},
             {match(payload("ip", "saddr"), prefix("10.0.0.0", 8), "!="), true},
             {match(payload("ip", "saddr"), R"({"range": ["10.0.0.1", "10.0.0.9"]})"), false},
             {match(payload("ip6", "saddr"), prefix("fe80::", 10)), false},
             {match(payload("ip", "daddr"), "\"224.0.0.251\""), false},
             {match(payload("ip", "daddr"), "\"224.0.0.251\"", "!="), true},
             {match(payload("tcp", "dport"), ports(0, 65'535)), true},
             {match(payload("th", "dport"), ports(1, 656)), true},
             {match(payload("th", "dport"), ports(1, 655)), false},
             {match(payload("udp", "dport"), "22", "!="), true},
             {match(payload("tcp", "dport"), "65535", "<"), true},
             {match(payload("tcp", "dport"), "65534", ">"), false},
             {match(payload("tcp", "dport"), "656", "<="), true},
             {match(payload("tcp", "dport"), "656", "<"), false},
             {match(payload("tcp", "dport"), "64880", ">="), true},
             {match(payload("tcp", "dport"), "64880", ">"), false},
             {match(payload("tcp", "dport"), R"({"set": [22, 80, {"range": [100, 200]}]})"), false},
             {match(payload("tcp", "dport"), R"({"set": [22, "*"]})"), true},
             {match(meta("iifname"), "\"eth0\""), true},
             {match(meta("iif"), "\"eth0\""), true},
             {match(meta("iifname"), "\"eth*\""), true},
             {match(meta("iifname"), "\"lo\""), false},
             {match(meta("iifname"), "\"lo\"", "!="), true},
             {match(meta("iifname"), "\"docker*\""), false},
             {match(meta("iif"), "7"), false},
             {match(meta("iifname"), R"({"set": ["lo", {"elem": {"val": "eth0"}}]})"), true},
             {match(R"({"concat": [)" + meta("iifname") + ", " + payload("tcp", "dport") + "]}",
                    R"({"set": [{"concat": ["eth0", {"range": [1, 60000]}]}]})"),
              true},
             {match(R"({"concat": [)" + meta("iifname") + ", " + payload("tcp", "dport") + "]}",
                    R"({"set": [{"concat": ["lo", {"range": [1, 60000]}]}]})"),
              false},
             {match(R"({"concat": [)" + payload("icmp", "type") + ", " + meta("mark") + "]}",
                    R"({"set": []})", "!="),
              false}}) {
        EXPECT_EQ(ofRules(closed, {condition + ", " + accept}), holds ? letIn : refused)
            << condition;
    }
}

TEST(FirewallRuleset, WhatHoldsForEveryPacketRefusesEverything) {
    for (const std::string& condition :
         {match(ct("state"), "\"new\"", "in"), match(ct("direction"), "\"original\""),
          match(ct("state"), R"(["established", "related"])", "!="),
          match(meta("l4proto"), R"({"set": ["tcp", "udp"]})"),
          match(meta("nfproto"), R"({"set": ["ipv4", "ipv6"]})"),
          match(payload("th", "dport"), ports(1, 64'880)), match(meta("iifname"), "\"lo\"", "!="),
          match(payload("th", "dport"), "655", ">"), match(payload("th", "dport"), "656", ">=")}) {
        EXPECT_EQ(ofRules(open, {condition + ", " + drop}), refused) << condition;
    }
    EXPECT_EQ(ofRules(open, {match(payload("th", "dport"), ports(1, 64'879)) + ", " + drop}),
              letIn);
    for (const char* protocol : {"tcp", "udp"}) {
        EXPECT_EQ(
            ofRules(open, {match(payload(protocol, "dport"), ports(0, 65'535)) + ", " + drop}),
            letIn)
            << protocol;
    }
    EXPECT_EQ(ofRules(open, {match(payload("ip", "saddr"), prefix("0.0.0.0", 0)) + ", " + drop,
                             match(payload("ip6", "saddr"), prefix("::", 0)) + ", " + drop}),
              refused);
    EXPECT_EQ(
        ofRules(open, {match(payload("ip", "saddr"), prefix("0.0.0.0", 0), "!=") + ", " + drop,
                       match(payload("ip6", "saddr"), prefix("::", 0), "!=") + ", " + drop}),
        letIn)
        << "no packet has such an address";
    EXPECT_EQ(ofRules(open, {match(payload("ip", "saddr"), prefix("::", 0)) + ", " + drop,
                             match(payload("ip6", "saddr"), prefix("0.0.0.0", 0)) + ", " + drop}),
              letIn)
        << "addresses of the other family";
    EXPECT_EQ(ofRules(open, {match(payload("ip6", "nexthdr"), "\"tcp\"") + ", " + drop,
                             match(payload("ip6", "nexthdr"), "\"udp\"") + ", " + drop,
                             match(meta("nfproto"), "\"ipv4\"") + ", " + drop}),
              letIn)
        << "behind an extension header";
}

TEST(FirewallRuleset, EveryInterfaceToTheOutsideCounts) {
    const auto dropOn = [](const std::string& name) {
        return rule("i", match(meta("iifname"), '"' + name + '"') + ", " + drop);
    };
    EXPECT_EQ(judge({chain("i", open), dropOn("eth0")}), refused);
    EXPECT_EQ(judge({chain("i", open), dropOn("eth0")}, true, {"eth0", "wlan0"}), letIn);
    EXPECT_EQ(judge({chain("i", open), dropOn("eth0"), dropOn("wlan0")}, true, {"eth0", "wlan0"}),
              refused);
    EXPECT_EQ(judge({chain("i", open), dropOn("eth0")}, true, {}), letIn)
        << "an interface that no rule names";
    EXPECT_EQ(
        judge({chain("i", closed), rule("i", match(meta("iifname"), "\"eth*\"") + ", " + accept)},
              true, {}),
        refused);
}

TEST(FirewallRuleset, JumpsAreFollowed) {
    EXPECT_EQ(ofRules(open, {jump("c")}, {chain("c"), rule("c", drop)}), refused);
    EXPECT_EQ(ofRules(open, {jump("c"), drop}, {chain("c"), rule("c", accept)}), letIn);
    EXPECT_EQ(ofRules(open, {jump("c"), drop}, {chain("c"), rule("c", returns), rule("c", accept)}),
              refused);
    EXPECT_EQ(ofRules(open, {jump("c"), drop}, {chain("c")}), refused);
    EXPECT_EQ(ofRules(open, {jump("c")}, {chain("c")}), letIn);
    EXPECT_EQ(ofRules(open, {goTo("c"), drop}, {chain("c")}), letIn);
    EXPECT_EQ(ofRules(closed, {goTo("c")}, {chain("c")}), refused);
    EXPECT_EQ(ofRules(open, {goTo("c")}, {chain("c"), rule("c", drop)}), refused);
    EXPECT_EQ(
        ofRules(open, {jump("c")}, {chain("c"), rule("c", jump("d")), chain("d"), rule("d", drop)}),
        refused);
    EXPECT_EQ(ofRules(open, {jump("c") + ", " + accept, drop}, {chain("c")}), refused)
        << "it comes back to the next rule";
    EXPECT_EQ(ofRules(open, {jump("missing"), drop}), letIn);
    EXPECT_EQ(ofRules(open, {jump("c"), drop}, {chain("c"), rule("c", jump("c"))}), letIn);
    EXPECT_EQ(ofRules(open, {jump("c"), drop}, {chain("c", {}, "ip"), rule("c", returns, "ip")}),
              letIn)
        << "a chain of another table";
    const std::string few = match(payload("th", "dport"), "22") + ", ";
    EXPECT_EQ(ofRules(closed, {few + jump("c")}, {chain("c"), rule("c", accept)}), refused)
        << "only what jumps there is accepted";
    EXPECT_EQ(ofRules(closed, {few + jump("c"), jump("c")}, {chain("c"), rule("c", accept)}),
              letIn);
    const std::string dropMost = match(payload("th", "dport"), ports(100, 65'535)) + ", " + drop;
    for (const auto& verdict : {jump("c"), goTo("c")}) {
        EXPECT_EQ(ofRules(open, {dropMost, few + verdict}, {chain("c")}), refused)
            << "only what went there comes back: " << verdict;
    }
}

TEST(FirewallRuleset, VerdictMapsAreFollowed) {
    const std::string established = R"(["established", {"accept": null}])";
    const auto states = [](const std::string& elements) {
        return vmap(ct("state"), R"({"set": [)" + elements + "]}");
    };
    EXPECT_EQ(ofRules(open, {states(established), drop}), refused);
    EXPECT_EQ(ofRules(open, {states(established + R"(, ["*", {"drop": null}])")}), refused);
    EXPECT_EQ(ofRules(closed, {states(R"(["new", {"accept": null}])")}), letIn);
    EXPECT_EQ(ofRules(closed, {states(R"(["*", {"accept": null}])")}), letIn);
    EXPECT_EQ(ofRules(closed, {states(R"(["new", {"drop": null}], ["*", {"accept": null}])")}),
              refused);
    EXPECT_EQ(ofRules(closed, {states(R"(["new", {"jump": {"target": "c"}}])")},
                      {chain("c"), rule("c", accept)}),
              letIn);
    EXPECT_EQ(ofRules(closed, {states(R"(["new", {"continue": null}])") + ", " + accept}), letIn);
    EXPECT_EQ(ofRules(open, {states(R"(["new", {"continue": null}])") + ", " + drop}), refused);
    EXPECT_EQ(ofRules(closed, {states(established) + ", " + accept}), refused);
    EXPECT_EQ(ofRules(closed, {states(R"(["new", {"jump": {"target": "c"}}])") + ", " + accept},
                      {chain("c")}),
              refused)
        << "it comes back to the next rule";
    for (const char* element :
         {"5", R"({"a": "new", "b": {"drop": null}})", R"(["new", {"drop": null}, 1])"}) {
        EXPECT_EQ(ofRules(closed, {states(element)}), letIn) << element;
    }
    EXPECT_EQ(ofRules(closed, {R"({"vmap": {"data": {"set": [["*", {"drop": null}]]}}})"}), letIn)
        << "without a key";
    EXPECT_EQ(ofRules(closed, {vmap(payload("tcp", "dport"),
                                    R"({"set": [[)" + ports(1, 655) + R"(, {"accept": null}]]})")}),
              refused);
    EXPECT_EQ(ofRules(closed, {vmap(payload("ip", "saddr"), R"({"set": [[)" + prefix("0.0.0.0", 1) +
                                                                R"(, {"accept": null}]]})")}),
              letIn);
    const std::string dropRest =
        vmap(payload("tcp", "dport"), R"({"set": [["*", {"drop": null}]]})");
    EXPECT_EQ(ofRules(open, {dropRest}), letIn) << "datagrams have no port of TCP";
    EXPECT_EQ(ofRules(open, {dropRest, match(meta("l4proto"), "\"udp\"") + ", " + drop}), refused);
}

TEST(FirewallRuleset, NamedSetsAndMapsAreRead) {
    const auto named = [](const std::string& kind, const std::string& rest) {
        return R"({")" + kind + R"(": {"family": "inet", "name": "s", "table": "t")" + rest + "}}";
    };
    const std::string states = vmap(ct("state"), "\"@s\"");
    EXPECT_EQ(ofRules(closed, {states}, {named("map", R"(, "elem": [["new", {"accept": null}]])")}),
              letIn);
    EXPECT_EQ(
        ofRules(closed, {states}, {named("map", R"(, "elem": [["related", {"accept": null}]])")}),
        refused);
    EXPECT_EQ(ofRules(closed, {states}, {named("map", "")}), refused);
    EXPECT_EQ(ofRules(closed, {states}, {named("map", R"(, "flags": ["timeout"])")}), letIn);
    EXPECT_EQ(
        ofRules(closed, {states},
                {named("map", R"(, "flags": ["timeout"], "elem": [["new", {"drop": null}]])")}),
        letIn);
    EXPECT_EQ(ofRules(closed, {states}), letIn) << "no such map";
    const std::string sources = match(payload("ip", "saddr"), "\"@s\"") + ", " + accept;
    EXPECT_EQ(
        ofRules(closed, {sources}, {named("set", R"(, "elem": [)" + prefix("0.0.0.0", 1) + "]")}),
        letIn);
    EXPECT_EQ(
        ofRules(closed, {sources}, {named("set", R"(, "elem": [)" + prefix("10.0.0.0", 8) + "]")}),
        refused);
    EXPECT_EQ(ofRules(closed, {sources}, {named("set", "")}), refused);
    const std::string anyAddress = named("set", R"(, "elem": ["*"])");
    for (const char* name : {"\"s\"", "\"as\"", "\"\""}) {
        EXPECT_EQ(ofRules(open, {match(meta("iifname"), name) + ", " + drop}, {anyAddress}), letIn)
            << "no set: " << name;
    }
    EXPECT_EQ(ofRules(closed, {sources}), letIn) << "no such set";
    EXPECT_EQ(ofRules(closed, {sources}, {named("set", R"(, "flags": ["dynamic"])")}), letIn);
    EXPECT_EQ(ofRules(closed,
                      {sources, R"({"set": {"op": "add", "elem": 1, "set": "@s"}}, )" + drop},
                      {named("set", "")}),
              letIn)
        << "a rule fills it";
}

TEST(FirewallRuleset, TranslatedPortsCountAsOpen) {
    const auto translating = [](const std::string& rules) {
        return std::vector<std::string>{chain("p", translation), rule("p", rules)};
    };
    const std::string some = match(payload("tcp", "dport"), "80") + ", ";
    const std::string many = match(payload("tcp", "dport"), ports(1, 700)) + ", ";
    for (const char* target : {R"({"redirect": {"port": 22}})", R"({"redirect": null})",
                               R"({"dnat": {"family": "ip", "addr": "10.0.0.1"}})",
                               R"({"xt": {"type": "target", "name": "DNAT"}})",
                               R"({"xt": {"type": "target", "name": "REDIRECT"}})"}) {
        EXPECT_EQ(ofRules(closed, {}, translating(target)), letIn) << target;
        EXPECT_EQ(ofRules(closed, {}, translating(many + target)), letIn) << target;
        EXPECT_EQ(ofRules(closed, {}, translating(some + target)), refused) << target;
    }
    EXPECT_EQ(ofRules(closed, {}, translating(accept)), refused);
    auto acceptedFirst = translating(accept);
    acceptedFirst.push_back(rule("p", R"({"redirect": null})"));
    EXPECT_EQ(ofRules(closed, {}, acceptedFirst), refused) << "accepted, a packet leaves the chain";
    const std::string acceptMany =
        vmap(payload("tcp", "dport"), R"({"set": [[)" + ports(1, 700) + R"(, {"accept": null}]]})");
    EXPECT_EQ(ofRules(closed, {}, translating(acceptMany + R"(, {"redirect": null})")), refused)
        << "accepted, a packet leaves the rule";
    EXPECT_EQ(
        ofRules(closed, {jump("c")},
                {chain("p", translation), rule("p", jump("c")), chain("c"), rule("c", accept)}),
        letIn)
        << "a chain of both kinds is followed for each";
}

TEST(FirewallRuleset, UntrackedPacketsAreNotNew) {
    const std::string untracked = match(ct("state"), "\"untracked\"", "in") + ", " + accept;
    const std::string dropNew = match(ct("state"), "\"new\"", "in") + ", " + drop;
    EXPECT_EQ(ofRules(closed, {untracked}), refused);
    EXPECT_EQ(ofRules(open, {dropNew}), refused);
    for (const char* exemption :
         {R"({"notrack": null})", R"({"xt": {"type": "target", "name": "CT"}})"}) {
        const std::vector<std::string> raw = {
            chain("r", R"("type": "filter", "hook": "prerouting", "policy": "accept")"),
            rule("r", exemption)};
        EXPECT_EQ(ofRules(closed, {untracked}, raw), letIn) << exemption;
        EXPECT_EQ(ofRules(open, {dropNew}, raw), letIn) << exemption;
        // Such a packet has no connection: neither these conditions nor their opposites hold.
        for (const auto& condition :
             {match(ct("direction"), "\"original\""), match(ct("direction"), "\"reply\"", "!="),
              match(ct("status"), "\"dnat\"", "!="),
              match(ct("status"), R"(["dnat", "assured"])", "!=")}) {
            EXPECT_EQ(ofRules(open, {condition + ", " + drop}), refused) << condition;
            EXPECT_EQ(ofRules(open, {condition + ", " + drop}, raw), letIn) << condition;
        }
        EXPECT_EQ(ofRules(open, {match(ct("state"), "\"established\"", "!=") + ", " + drop}, raw),
                  refused)
            << "an untracked packet has a state";
    }
}

TEST(FirewallRuleset, ATableThatMayBeDormantRefusesNothing) {
    const auto table = [](const std::string& flags) {
        return R"({"table": {"family": "inet", "name": "t", "flags": )" + flags + "}}";
    };
    for (const char* flags : {R"("dormant")", R"("t")", R"(["dormant"])", R"(["owner", "dormant"])",
                              "1", "null", R"({})"}) {
        EXPECT_EQ(ofRules(closed, {}, {table(flags)}), letIn) << flags;
        EXPECT_EQ(ofRules(closed, {},
                          {table(flags), chain("i", closed, "ip"), chain("i", closed, "ip6")}),
                  refused)
            << "a table of another family";
        EXPECT_EQ(judge({table(flags), chain("i", closed, "ip"), chain("i", closed, "ip6"),
                         chain("p", translation), rule("p", R"({"redirect": null})")}),
                  letIn)
            << "it may as well not be dormant";
    }
    for (const char* flags : {R"("owner")", R"(["owner", "persist"])", "[]"}) {
        EXPECT_EQ(ofRules(closed, {}, {table(flags)}), refused) << flags;
    }
    for (const char* flags : {R"("owner")", R"(["owner", "owner"])"}) {
        EXPECT_EQ(judge({R"({"table": {"family": "inet", "name": "owner", "flags": )" +
                             std::string(flags) + "}}",
                         R"({"chain": {"family": "inet", "table": "owner", "name": "i", )" +
                             closed + "}}"}),
                  letIn)
            << "the name of the table stands in place of that of a flag: " << flags;
    }
}

TEST(FirewallRuleset, WhatDependsOnAHiddenMatchIsHidden) {
    const std::string extension = R"({"xt": {"type": "match", "name": "recent"}}, )";
    const std::string few = match(payload("tcp", "dport"), "22") + ", ";
    EXPECT_EQ(ofRules(closed, {extension + accept}), hidden);
    EXPECT_EQ(ofRules(open, {extension + drop}), hidden);
    EXPECT_EQ(ofRules(closed, {few + extension + accept}), refused);
    EXPECT_EQ(ofRules(open, {few + extension + drop}), letIn);
    EXPECT_EQ(ofRules(open, {extension + accept}), letIn);
    EXPECT_EQ(ofRules(closed, {extension + drop}), refused);
    EXPECT_EQ(ofRules(closed, {extension + accept, accept}), letIn);
    EXPECT_EQ(ofRules(open, {extension + accept + ", " + drop}), letIn) << "the rule has ended";
    EXPECT_EQ(ofRules(closed, {extension + returns, accept}), letIn);
    EXPECT_EQ(ofRules(open, {extension + jump("c")}, {chain("c"), rule("c", drop)}), hidden);
    EXPECT_EQ(ofRules(open, {extension + jump("c")}, {chain("c")}), letIn);
    EXPECT_EQ(ofRules(closed, {extension + jump("c")}, {chain("c"), rule("c", accept)}), hidden);
    EXPECT_EQ(ofRules(closed, {R"({"xt": null}, )" + accept}), hidden);
    EXPECT_EQ(ofRules(closed, {R"({"xt": null})"}), hidden);
    EXPECT_EQ(ofRules(open, {R"({"xt": null})"}), hidden);
    EXPECT_EQ(ofRules(closed, {R"({"xt": null})", accept}), hidden);
}

TEST(FirewallRuleset, AHiddenMatchBeforeAChainWithTheNameOfAConditionIsHidden) {
    for (const char* name : {"ct", "fib", "pkttype", "dport"}) {
        const std::string rules =
            document({chain("i", closed),
                      R"({"rule": {"family": "inet", "table": "t", "chain": "i", "handle": 4,
                          "expr": [{"xt": {"type": "match", "name": "recent"}}, )" +
                          jump(name) + "]}}",
                      chain(name), rule(name, accept)});
        const std::string listing = std::string("table inet t {\n chain i {\n  xt match recent ") +
                                    "jump " + name + " # handle 4\n }\n}\n";
        EXPECT_EQ(vel::inboundDefault(rules, listing, {{"eth0"}, true}), hidden) << name;
    }
}

TEST(FirewallRuleset, DepthAndBreadthAreBounded) {
    std::vector<std::string> objects = {chain("c0", open)};
    for (int i = 0; i < 200; ++i) { // each jumps twice to the next: 2^200 paths
        const std::string name = "c" + std::to_string(i);
        const std::string next = "c" + std::to_string(i + 1);
        objects.insert(objects.end(),
                       {rule(name, jump(next)), rule(name, jump(next)), chain(next)});
    }
    objects.push_back(rule("c0", drop));
    EXPECT_EQ(judge(objects), letIn) << "deeper than the kernel follows";
    std::vector<std::string> partly = {
        chain("i", open), rule("i", match(meta("l4proto"), "\"icmp\"") + ", " + jump("c0")),
        rule("i", jump("c20"))};
    for (int i = 0; i < 40; ++i) {
        const std::string name = "c" + std::to_string(i);
        partly.insert(partly.end(), {chain(name), rule(name, jump("c" + std::to_string(i + 1)))});
    }
    partly.insert(partly.end(), {chain("c40"), rule("c40", drop)});
    EXPECT_EQ(judge(partly), refused) << "no packet takes the deep way";
    const std::string deep(1'000'000, '[');
    EXPECT_FALSE(vel::inboundDefault(deep, "", {}));
    EXPECT_FALSE(vel::inboundDefault(document({deep + std::string(deep.size(), ']')}), "", {}));
    const std::string nested(100, '[');
    EXPECT_EQ(ofRules(open, {drop, nested + std::string(nested.size(), ']')}), refused);
    const std::string self = R"({"set": {"family": "inet", "name": "s", "table": "t",
        "elem": ["@s", {"set": ["@s"]}, {"elem": {"val": "@s"}}]}})";
    EXPECT_EQ(ofRules(closed, {match(payload("ip", "saddr"), "\"@s\"") + ", " + accept}, {self}),
              letIn);
}

/// What ufw 0.36.2 and firewalld 1.3.3 load as they come, and with rules of their own, of Docker
/// and of libvirt ("containers").
class CapturedRules : public testing::TestWithParam<const char*> {
protected:
    static std::string file(const std::string& ending) {
        return contentOf(VEL_SOURCE_DIRECTORY "/Tests/Helpers/Linux/Rulesets/" +
                         std::string(GetParam()) + ending);
    }
};

TEST_P(CapturedRules, RefuseByDefault) {
    for (const auto& interfaces :
         {std::vector<std::string>{"eth0"}, {"eth0", "wlan0"}, std::vector<std::string>()}) {
        EXPECT_EQ(vel::inboundDefault(file(".json"), file(".txt"), {interfaces, true}), refused);
    }
    EXPECT_NE(vel::inboundDefault(file(".json"), "", {{"eth0"}, true}), letIn)
        << "without the listing";
}

INSTANTIATE_TEST_SUITE_P(, CapturedRules,
                         testing::Values("ufw", "ufw-containers", "firewalld",
                                         "firewalld-containers"));

} // namespace
