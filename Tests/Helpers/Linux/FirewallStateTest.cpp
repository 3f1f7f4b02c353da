// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELFirewallState.h"
#include "Tests/Helpers/Linux/PrivateBus.h"
#include "Tests/Helpers/Linux/ToolRun.h"
#include "Tests/Support/FileContent.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <set>
#include <unistd.h>

namespace {

const ToolRun on = {0, "Firewall is enabled. (State = 1)\n", ""};
const ToolRun off = {0, "Firewall is disabled. (State = 0)\n", ""};
const ToolRun unknown = {0, "", ""};

/// The firewall's state where `commands` have set it up: in a network of its own, with real rules.
class FirewallInANamespace : public testing::Test {
protected:
    void SetUp() override {
        if (runProgram({"unshare", "-n", "nft", "list", "ruleset"}).status != 0) {
            GTEST_SKIP() << "needs root, nft and network namespaces";
        }
    }

    static ToolRun stateAfter(const std::string& commands) {
        return runProgram({"unshare", "-n", "sh", "-e", "-c",
                           commands + "\nexec " + toolProgram("firewall-state") +
                               " --getglobalstate --bus unix:path=/nonexistent"});
    }

    static ToolRun stateWith(const std::string& ruleset) {
        return stateAfter("nft -f - <<'END'\n" + ruleset + "\nEND");
    }
};

std::string inputChain(const std::string& family, const std::string& policy,
                       const std::string& rules = {}) {
    return "table " + family + " t {\n chain i {\n type filter hook input priority 0\n policy " +
           policy + "\n" + rules + "\n }\n}\n";
}

TEST_F(FirewallInANamespace, WithoutADefaultItIsOff) {
    EXPECT_EQ(stateAfter(""), off);
    EXPECT_EQ(stateWith(inputChain("inet", "accept", "ip saddr 10.0.0.1 drop")), off);
    EXPECT_EQ(stateWith("table ip t {\n chain n {\n type nat hook prerouting priority 0\n"
                        " tcp dport 80 redirect to :8080\n }\n}\n"),
              off);
    EXPECT_EQ(stateWith("table inet t {\n chain f {\n type filter hook forward priority 0\n"
                        " policy drop\n }\n}\n"),
              off);
    EXPECT_EQ(stateWith("table inet t {\n flags dormant\n chain i {\n type filter hook input "
                        "priority 0\n policy drop\n }\n}\n"),
              off);
    EXPECT_EQ(stateWith(inputChain("inet", "accept", "limit rate 1/second drop")), off);
    EXPECT_EQ(stateWith(inputChain("inet", "drop", "accept")), off);
}

TEST_F(FirewallInANamespace, ADefaultForBothFamiliesIsOn) {
    EXPECT_EQ(stateWith(inputChain("inet", "drop", "ct state established accept")), on);
    EXPECT_EQ(stateWith(inputChain("ip", "drop") + inputChain("ip6", "drop")), on);
    EXPECT_EQ(stateWith(inputChain("inet", "accept",
                                   "iifname lo accept\nlog prefix \"in\" counter\n"
                                   "reject with icmpx type admin-prohibited")),
              on);
    EXPECT_EQ(
        stateWith(inputChain("inet", "accept", "ct state vmap { established : accept, * : drop }")),
        on);
    EXPECT_EQ(stateWith(inputChain("inet", "accept", "drop comment \"the rest\"")), on);
}

TEST_F(FirewallInANamespace, ADefaultForOneFamilyIsOff) {
    EXPECT_EQ(stateWith(inputChain("ip", "drop")), off);
    EXPECT_EQ(stateWith(inputChain("ip6", "drop")), off);
    EXPECT_EQ(stateWith(inputChain("inet", "accept", "meta nfproto ipv4 drop")), off);
    EXPECT_EQ(stateWith(inputChain("inet", "accept", "ip saddr 0.0.0.0/0 drop")), off);
}

TEST_F(FirewallInANamespace, IPv6SwitchedOffNeedsNoDefault) {
    const std::string switchOff =
        "for f in /proc/sys/net/ipv6/conf/*/disable_ipv6; do echo 1 > $f; done\n";
    const std::string rules = "nft -f - <<'END'\n" + inputChain("ip", "drop") + "\nEND\n";
    EXPECT_EQ(stateAfter(switchOff + rules), on);
    EXPECT_EQ(
        stateAfter(switchOff + rules + "echo 0 > /proc/sys/net/ipv6/conf/default/disable_ipv6"),
        off);
    EXPECT_EQ(stateAfter(switchOff), off);
}

TEST_F(FirewallInANamespace, JumpsAreFollowed) {
    const auto jumping = [](const std::string& jump, const std::string& rules) {
        return "table inet t {\n chain c {\n" + rules + "\n }\n}\n" +
               inputChain("inet", "accept", jump);
    };
    EXPECT_EQ(stateWith(jumping("jump c", "tcp dport 22 accept\ndrop")), on);
    EXPECT_EQ(stateWith(jumping("goto c", "drop")), on);
    EXPECT_EQ(stateWith(jumping("tcp dport 22 jump c", "drop")), off);
    EXPECT_EQ(stateWith(jumping("jump c\ndrop", "return")), on);
    EXPECT_EQ(stateWith(jumping("jump c\ndrop", "accept")), off);
    EXPECT_EQ(stateWith(jumping("goto c\ndrop", "return")), off);
}

/// The shape of firewalld's rules: a zone that lets some in, a final reject.
TEST_F(FirewallInANamespace, ZonesWithAFinalReject) {
    const auto zones = [](const std::string& zoneEnd) {
        return "table inet firewalld {\n"
               " chain filter_IN_zone_allow {\n tcp dport 22 accept\n }\n"
               " chain filter_IN_zone {\n jump filter_IN_zone_allow\n"
               " meta l4proto { icmp, ipv6-icmp } accept\n" +
               zoneEnd +
               " }\n"
               " chain filter_INPUT_ZONES {\n iifname \"eth0\" goto filter_IN_zone\n"
               " goto filter_IN_zone\n }\n"
               " chain filter_INPUT {\n type filter hook input priority filter + 10\n policy "
               "accept\n"
               " ct state { established, related } accept\n ct status dnat accept\n"
               " iifname \"lo\" accept\n ct state invalid drop\n jump filter_INPUT_ZONES\n"
               " reject with icmpx admin-prohibited\n }\n}\n";
    };
    EXPECT_EQ(stateWith(zones("")), on);
    EXPECT_EQ(stateWith(zones(" accept\n")), off) << "the zone that trusts everybody";
}

/// The shape of ufw's rules, through the compatible programs.
TEST_F(FirewallInANamespace, CompatibleTables) {
    const auto tables = [](const std::string& program) {
        return program + "-nft -N user-input\n" + program +
               "-nft -A INPUT -m conntrack --ctstate RELATED,ESTABLISHED -j ACCEPT\n" + program +
               "-nft -A INPUT -m comment --comment x -j user-input\n" + program +
               "-nft -A user-input -p tcp --dport 22 -j ACCEPT\n";
    };
    if (runProgram({"iptables-nft", "--version"}).status != 0) {
        GTEST_SKIP() << "needs iptables-nft";
    }
    const std::string denyIPv4 = "iptables-nft -P INPUT DROP\n";
    const std::string denyIPv6 = "ip6tables-nft -P INPUT DROP\n";
    EXPECT_EQ(stateAfter(tables("iptables") + denyIPv4), off);
    EXPECT_EQ(stateAfter(tables("iptables") + tables("ip6tables") + denyIPv4 + denyIPv6), on);
    EXPECT_EQ(stateAfter(tables("iptables") + tables("ip6tables") +
                         "iptables-nft -A INPUT -j REJECT\nip6tables-nft -A INPUT -j REJECT\n"),
              on);
    EXPECT_EQ(stateAfter(tables("iptables") + denyIPv4 + denyIPv6 +
                         "iptables-nft -I INPUT -m comment --comment all -j ACCEPT\n"),
              off);
}

/// Each lets a new connection in on more than one port in a hundred, and stands alone in a chain
/// that drops everything else.
TEST_F(FirewallInANamespace, OneRuleThatLetsEverythingNewInIsOff) {
    for (const char* rule : {"ct state new accept",
                             "ct state { established, new } accept",
                             "ct state vmap { new : accept, established : accept }",
                             "ct state established,related,new accept",
                             "ct state != established accept",
                             "ct direction original accept",
                             "meta l4proto tcp accept",
                             "ip protocol udp accept",
                             "meta l4proto { tcp, udp } accept",
                             "meta l4proto 6-17 accept",
                             "tcp dport 0-65535 accept",
                             "tcp dport 1-656 accept",
                             "tcp dport != 22 accept",
                             "tcp dport > 1023 accept",
                             "tcp dport vmap { 1-30000 : accept }",
                             "tcp sport 1024-65535 accept",
                             "ip saddr 0.0.0.0/1 accept",
                             "ip saddr { 0.0.0.0/1, 128.0.0.0/1 } accept",
                             "ip saddr 0.0.0.0-127.255.255.255 accept",
                             "ip saddr vmap { 0.0.0.0/1 : accept, 128.0.0.0/1 : accept }",
                             "ip saddr != 10.0.0.0/8 accept",
                             "ip6 saddr 2000::/3 accept",
                             "ip daddr 0.0.0.0/1 accept",
                             "tcp dport . ip saddr { 1-65535 . 0.0.0.0/0 } accept",
                             "fib daddr type local accept",
                             "meta pkttype host accept",
                             "iifname != lo accept",
                             "iif != lo accept",
                             "iif 1-100 accept",
                             "meta nfproto ipv6 accept",
                             "meta protocol ip accept",
                             "ip ttl > 0 accept",
                             "ip6 hoplimit > 0 accept",
                             "limit rate 100/second accept",
                             "meta mark 0 accept",
                             "tcp flags syn accept",
                             "@th,16,16 1-60000 accept"}) {
        EXPECT_EQ(stateWith(inputChain("inet", "drop", rule)), off) << rule;
    }
}

TEST_F(FirewallInANamespace, OpenPortsAndTrafficOfOthersLeaveItOn) {
    for (const char* rule :
         {"tcp dport { 22, 80, 443 } ct state new accept", "tcp dport 1-655 accept",
          "ct state established,related accept", "ct status dnat accept",
          "ct direction reply accept", "udp dport 67-68 accept",
          "ip saddr { 10.0.0.0/8, 172.16.0.0/12, 192.168.0.0/16 } accept",
          "ip6 saddr { fe80::/10, fc00::/7 } accept", "iifname lo accept",
          "iifname \"virbr0\" accept", "iifname \"docker*\" accept",
          "icmp type echo-request accept", "meta l4proto { icmp, ipv6-icmp, esp } accept",
          "ip protocol igmp accept", "ip daddr 224.0.0.251 udp dport 5353 accept",
          "ip daddr 224.0.0.0/4 accept", "meta pkttype multicast accept",
          "fib daddr type broadcast accept"}) {
        EXPECT_EQ(stateWith(inputChain("inet", "drop", rule)), on) << rule;
    }
}

TEST_F(FirewallInANamespace, NamedSetsAreRead) {
    const auto rules = [](const std::string& set, const std::string& rule) {
        return "table inet t {\n" + set +
               "\nchain i {\ntype filter hook input priority 0\n"
               "policy drop\n" +
               rule + "\n}\n}\n";
    };
    const auto sources = [](const std::string& elements) {
        return "set s {\ntype ipv4_addr\nflags interval\nelements = { " + elements + " }\n}";
    };
    EXPECT_EQ(stateWith(rules(sources("0.0.0.0/1, 128.0.0.0/1"), "ip saddr @s accept")), off);
    EXPECT_EQ(stateWith(rules(sources("10.0.0.0/8"), "ip saddr @s accept")), on);
    EXPECT_EQ(stateWith(rules("map m {\ntype ct_state : verdict\nelements = { new : accept }\n}",
                              "ct state vmap @m")),
              off);
    EXPECT_EQ(stateWith(rules("set s {\ntype ipv4_addr\nflags dynamic\n}",
                              "ip saddr @s accept\nadd @s { ip saddr } drop")),
              off)
        << "every source is let in from its second packet on";
}

TEST_F(FirewallInANamespace, BaseChainsFollowEachOther) {
    const auto chains = [](const std::string& early, const std::string& late) {
        return "table inet a {\nchain i {\ntype filter hook input priority 0\n" + early +
               "\n}\n}\ntable inet b {\nchain i {\ntype filter hook input priority 10\n" + late +
               "\n}\n}\n";
    };
    EXPECT_EQ(stateWith(chains("drop", "accept")), on);
    EXPECT_EQ(stateWith(chains("accept", "drop")), on);
    EXPECT_EQ(stateWith(chains("accept", "accept")), off);
}

TEST_F(FirewallInANamespace, TranslationAndExemptionsAreFollowed) {
    const auto rules = [](const std::string& before, const std::string& rule) {
        return "table inet t {\nchain p {\n" + before + "\n}\n}\n" +
               inputChain("inet", "drop", rule);
    };
    const std::string translation = "type nat hook prerouting priority -100\n";
    EXPECT_EQ(
        stateWith(rules(translation + "meta l4proto tcp redirect to :22", "ct status dnat accept")),
        off);
    EXPECT_EQ(
        stateWith(rules(translation + "tcp dport 80 redirect to :8080", "ct status dnat accept")),
        on);
    EXPECT_EQ(stateWith(rules("type filter hook prerouting priority -300\nnotrack",
                              "ct state untracked accept")),
              off);
    EXPECT_EQ(stateWith(rules("type filter hook prerouting priority -300\ncounter",
                              "ct state untracked accept")),
              on);
}

/// Which interfaces lead outside: none here has a device.
TEST_F(FirewallInANamespace, InterfacesWithADefaultRouteCount) {
    const auto state = [](const std::string& routes, const std::string& rule) {
        return stateAfter("ip link add eth0 type veth peer name inner0\n"
                          "ip link set eth0 up\nip link set inner0 up\n"
                          "ip addr add 10.9.9.1/24 dev eth0\n"
                          "ip addr add 2001:db8::1/64 dev eth0 nodad\n" +
                          routes + "\nnft -f - <<'END'\n" + inputChain("inet", "drop", rule) +
                          "\nEND");
    };
    const std::string outer = "iifname \"eth0\" accept";
    const std::string inner = "iifname \"inner0\" accept";
    for (const char* route :
         {"ip route add default via 10.9.9.2", "ip route add 0.0.0.0/1 via 10.9.9.2",
          "ip route add default via 10.9.9.2 table 77",
          "ip route add default nexthop via 10.9.9.2 nexthop via 10.9.9.3",
          "ip -6 route add default via 2001:db8::2", "ip -6 route add 2000::/3 via 2001:db8::2"}) {
        EXPECT_EQ(state(route, outer), off) << route;
        EXPECT_EQ(state(route, inner), on) << route;
    }
    for (const char* route :
         {"", "ip route add 8.8.8.0/24 via 10.9.9.2", "ip route add unreachable default"}) {
        EXPECT_EQ(state(route, outer), off) << route;
        EXPECT_EQ(state(route, inner), off)
            << "all count where none has a default route: " << route;
    }
    const std::string object =
        "ip nexthop add id 1 via 10.9.9.2 dev eth0\nip route add default nhid 1\n";
    EXPECT_EQ(state(object, outer), off);
    EXPECT_EQ(state(object, inner), on);
    EXPECT_EQ(state(object + "echo 0 >/proc/sys/net/ipv4/nexthop_compat_mode", inner), unknown)
        << "then the route does not say where it leads";
}

TEST_F(FirewallInANamespace, WithLoopbackAloneNoRuleNamesTheInterface) {
    EXPECT_EQ(stateWith(inputChain("inet", "drop", "iifname \"eth0\" accept")), on);
    EXPECT_EQ(stateWith(inputChain("inet", "accept", "iifname \"eth0\" drop")), off);
    EXPECT_EQ(stateWith(inputChain("inet", "accept", "iifname != lo drop")), on);
}

/// The JSON hides the matches of these.
TEST_F(FirewallInANamespace, CompatibleRulesAreReadFromTheListing) {
    if (runProgram({"iptables-nft", "--version"}).status != 0) {
        GTEST_SKIP() << "needs iptables-nft";
    }
    const auto stateOf = [](const std::string& rule) {
        return stateAfter("iptables-nft -P INPUT DROP\nip6tables-nft -P INPUT DROP\n"
                          "iptables-nft -A INPUT " +
                          rule);
    };
    for (const char* rule :
         {"-m conntrack --ctstate NEW -j ACCEPT", "-m state --state NEW -j ACCEPT",
          "-m conntrack ! --ctstate ESTABLISHED -j ACCEPT",
          "-m conntrack ! --ctstate ESTABLISHED,RELATED -j ACCEPT",
          "-m conntrack --ctdir ORIGINAL -j ACCEPT", "-m addrtype --dst-type LOCAL -j ACCEPT",
          "-m addrtype ! --dst-type BROADCAST -j ACCEPT", "-m pkttype --pkt-type unicast -j ACCEPT",
          "-m ttl --ttl-gt 0 -j ACCEPT", "-p tcp -m multiport --dports 1:30000 -j ACCEPT",
          "-p tcp -m multiport ! --dports 22 -j ACCEPT",
          "-p tcp -m multiport --sports 1024:65535 -j ACCEPT",
          "-m iprange --src-range 1.0.0.0-9.0.0.0 -j ACCEPT", "-m limit --limit 5/sec -j ACCEPT",
          "-p tcp --syn -j ACCEPT"}) {
        EXPECT_EQ(stateOf(rule), off) << rule;
    }
    for (const char* rule :
         {"-m conntrack --ctstate RELATED,ESTABLISHED -j ACCEPT",
          "-m conntrack --ctstate DNAT -j ACCEPT", "-m conntrack --ctdir REPLY -j ACCEPT",
          "-p tcp -m multiport --dports 22,80,443 -j ACCEPT",
          "-p tcp --dport 22 -m recent --set -j ACCEPT", "-p icmp --icmp-type 8 -j ACCEPT",
          "-m addrtype --dst-type MULTICAST -j ACCEPT", "-m recent --set -j DROP", "-j LOG"}) {
        EXPECT_EQ(stateOf(rule), on) << rule;
    }
    EXPECT_EQ(stateOf("-m recent --set -j ACCEPT"), unknown);
    EXPECT_EQ(stateOf("-m string --string x --algo bm -j ACCEPT"), unknown);
}

TEST_F(FirewallInANamespace, WithoutPrivilegeItIsUnknown) {
    EXPECT_EQ(runProgram({"setpriv", "--reuid", "65534", "--regid", "65534", "--clear-groups",
                          toolProgram("firewall-state"), "--getglobalstate", "--bus",
                          "unix:path=/nonexistent"},
                         "/"),
              unknown);
}

/// A program in place of nft.
class FirewallWithAProgram : public testing::Test {
protected:
    [[nodiscard]] ToolRun state(const std::string& script,
                                const std::string& bus = "unix:path=/nonexistent") const {
        const std::string program = _folder.write("filter", "#!/bin/sh\n" + script);
        std::filesystem::permissions(program, std::filesystem::perms::owner_all);
        return runProgram({toolProgram("firewall-state"), "--getglobalstate", "--nft", program,
                           "--bus", bus, "--root", _folder.path()},
                          {}, {"DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nonexistent/too", "PATH=/"});
    }

    /// What it prints with --why.
    [[nodiscard]] ToolRun why(const std::string& script,
                              const std::vector<std::string>& prefix = {}) const {
        const std::string program = _folder.write("filter", "#!/bin/sh\n" + script);
        namespace fs = std::filesystem;
        fs::permissions(program,
                        fs::perms::owner_all | fs::perms::others_read | fs::perms::others_exec);
        fs::permissions(_folder.path(), fs::perms::owner_all | fs::perms::others_exec);
        std::vector<std::string> command = prefix;
        command.insert(command.end(), {toolProgram("firewall-state"), "--getglobalstate", "--nft",
                                       program, "--bus", "unix:path=/nonexistent", "--why"});
        return runProgram(command, "/");
    }

    TestFolder _folder;
};

TEST_F(FirewallWithAProgram, SaysWhyTheStateIsNotKnown) {
    EXPECT_EQ(why("echo '{\"nftables\":'"),
              (ToolRun{0, "rules-not-understood: what nft listed is not understood\n", ""}));
    EXPECT_EQ(why("echo '{\"nftables\": []}'"),
              (ToolRun{0, "known: the firewall's state can be read\n", ""}));
    if (::geteuid() == 0) {
        for (const char* script : {"exit 1", "exec /bin/cat /dev/zero"}) {
            EXPECT_EQ(why(script),
                      (ToolRun{0, "nftables-failed: nft failed to list the rules\n", ""}))
                << script;
        }
        EXPECT_EQ(
            why("exit 1", {"setpriv", "--reuid", "65534", "--regid", "65534", "--clear-groups"}),
            (ToolRun{0, "firewall-needs-root: firewall-state needs root to read the rules\n", ""}));
    }
    EXPECT_EQ(runProgram({toolProgram("firewall-state"), "--getglobalstate", "--nft",
                          "/nonexistent", "--bus", "unix:path=/nonexistent", "--why"}),
              (ToolRun{0,
                       "nftables-missing: firewall-state cannot run nft: nftables is not "
                       "installed\n",
                       ""}));
}

TEST(FirewallReasons, AreDifferentForEachCause) {
    using enum vel::RulesProblem;
    using State = vel::FirewallState;
    std::set<std::string> codes;
    std::set<std::string> texts;
    const auto add = [&](State state, vel::RulesProblem problem) {
        const std::string line = vel::reasonOfFirewallState({state, problem});
        const std::size_t colon = line.find(": ");
        ASSERT_NE(colon, std::string::npos) << line;
        ASSERT_EQ(line.find('\n'), line.size() - 1) << line;
        EXPECT_TRUE(codes.insert(line.substr(0, colon)).second) << line;
        EXPECT_TRUE(texts.insert(line.substr(colon)).second) << line;
    };
    for (const auto problem :
         {programMissing, needsRoot, programFailed, programTooSlow, notUnderstood}) {
        add(State::nothingReadable, problem);
    }
    add(State::matchesHidden, none);
    add(State::interfacesNotTold, none);
    add(State::firewalldNotTold, needsRoot);
    add(State::on, none);
    EXPECT_EQ(vel::reasonOfFirewallState({State::firewalldNotTold, needsRoot}),
              "firewalld-not-told: firewall-state needs root to read the rules, and firewalld does "
              "not tell its settings\n");
}

const std::string cannotRead = "echo 'Operation not permitted' >&2; exit 1";

const std::string noRules = "echo '{\"nftables\": []}'\n";

TEST_F(FirewallWithAProgram, IsRunWithFixedArgumentsAndNoEnvironment) {
    const std::string record = _folder.path() + "/arguments";
    EXPECT_EQ(state("echo \"$* [$DBUS_SYSTEM_BUS_ADDRESS]\" > " + record + "$1\n" + noRules), off);
    EXPECT_EQ(contentOf(record + "-j"), "-j list ruleset []\n");
    EXPECT_EQ(contentOf(record + "-a"), "-a list ruleset []\n");
}

TEST_F(FirewallWithAProgram, IsAskedForBothListsAtOnce) {
    const std::string record = _folder.path() + "/started";
    EXPECT_EQ(state("echo > " + record + "$1\nuntil [ -e " + record + "-j ] && [ -e " + record +
                    "-a ]; do /bin/sleep 0.01; done\n" + noRules),
              off);
}

TEST_F(FirewallWithAProgram, WhatFailsIsNoAnswer) {
    const std::string denying =
        "echo '{\"nftables\": [{\"chain\": {\"family\": \"inet\", \"table\": \"t\", \"name\": "
        "\"i\","
        "\"type\": \"filter\", \"hook\": \"input\", \"policy\": \"drop\"}}]}'\n";
    EXPECT_EQ(state(denying), on);
    EXPECT_EQ(state(denying + "exit 1"), unknown);
    EXPECT_EQ(state(denying + "kill -9 $$"), unknown);
    EXPECT_EQ(state("echo '{\"nftables\":'"), unknown);
    EXPECT_EQ(state(""), unknown);
    EXPECT_EQ(state("exec /bin/cat /dev/zero"), unknown);
    EXPECT_EQ(runProgram({toolProgram("firewall-state"), "--getglobalstate", "--nft",
                          "/nonexistent", "--bus", "unix:path=/nonexistent"}),
              unknown);
}

/// When the rules cannot be read, the program leaves them out and ends well.
TEST_F(FirewallWithAProgram, AListThatLacksARuleIsNoAnswer) {
    const std::string chain = R"({"chain": {"family": "inet", "table": "t", "name": "i",)"
                              R"( "type": "filter", "hook": "input", "policy": "drop"}})";
    const std::string rule = R"(, {"rule": {"family": "inet", "table": "t", "chain": "i",)"
                             R"( "handle": 2, "expr": [{"accept": null}]}})";
    const auto listed = [](const std::string& shownRule) {
        return "if [ $1 = -a ]; then printf 'table inet t { # handle 7\\n chain i { # handle 1\\n"
               "  type filter hook input priority 0; policy drop;\\n" +
               shownRule + " }\\n}\\n'; exit; fi\n";
    };
    const auto printed = [](const std::string& objects) {
        return "echo '{\"nftables\": [" + objects + "]}'\n";
    };
    const std::string shownRule = "  accept # handle 2\\n";
    EXPECT_EQ(state(listed("") + printed(chain)), on);
    EXPECT_EQ(state(listed(shownRule) + printed(chain)), unknown);
    EXPECT_EQ(state(listed(shownRule) + printed(chain + rule)), off);
    EXPECT_EQ(state("[ $1 = -j ] || exit 1\n" + printed(chain)), unknown);
}

TEST_F(FirewallWithAProgram, AHungProgramIsKilled) {
    const std::string record = _folder.path() + "/number";
    const std::string hang = "echo $$ > " + record + "$1\ntrap '' TERM\n";
    for (const std::string& output : {std::string(), noRules + "exec >&-\n"}) {
        EXPECT_EQ(state(hang + output + "exec /bin/sleep 86399"), unknown);
        for (const std::string form : {"-j", "-a"}) {
            std::string number = contentOf(record + form);
            number.resize(number.find('\n'));
            EXPECT_EQ(contentOf("/proc/" + number + "/cmdline").find("86399"), std::string::npos)
                << form;
        }
    }
}

TEST_F(FirewallWithAProgram, LargeRulesetsAreReadWhole) {
    EXPECT_EQ(
        state("echo '{\"nftables\": [{\"metainfo\": \"'\n/usr/bin/head -c 3000000 /dev/zero | "
              "/usr/bin/tr '\\0' ' '\necho '\"}]}'"),
        unknown)
        << "a line feed in a string is no JSON";
    EXPECT_EQ(
        state(
            "echo '{\"nftables\": ['\n/usr/bin/head -c 3000000 /dev/zero | /usr/bin/tr '\\0' ' '\n"
            "echo ']}'"),
        off);
}

TEST_F(FirewallWithAProgram, TheBusSpeaksForFirewalld) {
    const PrivateBus bus;
    EXPECT_EQ(state(cannotRead, bus.address()), unknown);
    const auto firewalld = [&bus](const std::string& target) {
        return std::make_unique<FakeService>(
            bus.address(), "org.fedoraproject.FirewallD1", FakeService::Properties{},
            FakeService::Units{},
            FakeService::Answers{
                {{"getDefaultZone", ""}, "public"},
                {{"getZones", ""}, std::vector<std::string>{"public"}},
                {{"getZoneSettings2", "public"}, FakeService::Settings{{"target", target}}},
                {{"getPolicies", ""}, std::vector<std::string>()}});
    };
    auto service = firewalld("default");
    EXPECT_EQ(state(cannotRead, bus.address()), on);
    EXPECT_EQ(state("echo '{\"nftables\": []}'", bus.address()), off)
        << "rules that can be read come first";
    service.reset();
    service = firewalld("ACCEPT");
    EXPECT_EQ(state(cannotRead, bus.address()), off);
    service.reset();
    service = std::make_unique<FakeService>(bus.address(), "org.fedoraproject.FirewallD1");
    EXPECT_EQ(state(cannotRead, bus.address()), unknown) << "it may not be asked";
}

TEST_F(FirewallWithAProgram, TheListingIsAskedForHiddenMatches) {
    const std::string record = _folder.path() + "/arguments";
    const std::string rules =
        "echo \"$*\" > " + record +
        "$1\n[ \"$1\" = -a ] && printf 'table inet t { # handle 1\\n\\tct state new accept # "
        "handle "
        "7\\n}\\n' && exit \"$(/bin/cat " +
        _folder.path() +
        "/status)\"\n"
        "echo '{\"nftables\": [{\"chain\": {\"family\": \"inet\", \"table\": \"t\", \"name\": "
        "\"i\", \"type\": \"filter\", \"hook\": \"input\", \"policy\": \"drop\"}}, {\"rule\": "
        "{\"family\": \"inet\", \"table\": \"t\", \"chain\": \"i\", \"handle\": 7, \"expr\": "
        "[{\"xt\": {\"type\": \"match\", \"name\": \"conntrack\"}}, {\"accept\": null}]}}]}'\n";
    _folder.write("status", "0");
    EXPECT_EQ(state(rules), off);
    EXPECT_EQ(contentOf(record + "-a"), "-a list ruleset\n");
    _folder.write("status", "1");
    EXPECT_EQ(state(rules), unknown);
}

TEST_F(FirewallWithAProgram, UFWNeedsItsFilesAndItsUnit) {
    const PrivateBus bus;
    const auto service = [&bus](const std::string& activeState) {
        return std::make_unique<FakeService>(
            bus.address(), "org.freedesktop.systemd1",
            FakeService::Properties{
                {{"/unit/ufw", "org.freedesktop.systemd1.Unit", "ActiveState"}, activeState}},
            FakeService::Units{{"ufw.service", "/unit/ufw"}});
    };
    const auto files = [this](const std::string& enabled, const std::string& defaults) {
        _folder.write("etc/ufw/ufw.conf", "# on boot\nENABLED=" + enabled + "\nLOGLEVEL=low\n");
        _folder.write("etc/default/ufw", defaults);
    };
    const std::string denying = "IPV6=yes\nDEFAULT_INPUT_POLICY=\"DROP\"\n";
    auto manager = service("active");
    EXPECT_EQ(state(cannotRead, bus.address()), unknown) << "the unit alone proves nothing";
    files("no", denying);
    EXPECT_EQ(state(cannotRead, bus.address()), unknown);
    files("yes", denying);
    EXPECT_EQ(state(cannotRead, bus.address()), on);
    files("yes", "IPV6=yes\nDEFAULT_INPUT_POLICY=\"ACCEPT\"\n");
    EXPECT_EQ(state(cannotRead, bus.address()), unknown);
    files("yes", "IPV6=no\nDEFAULT_INPUT_POLICY=\"REJECT\"\n");
    EXPECT_EQ(state(cannotRead, bus.address()), unknown);
    _folder.write("proc/sys/net/core/somaxconn", "1\n");
    EXPECT_EQ(state(cannotRead, bus.address()), on) << "a kernel without IPv6";
    manager.reset();
    EXPECT_EQ(state(cannotRead, bus.address()), unknown);
    manager = service("inactive");
    EXPECT_EQ(state(cannotRead, bus.address()), unknown);
}

TEST(IPv6SwitchedOff, NeedsEveryInterface) {
    const TestFolder root;
    EXPECT_FALSE(vel::isIPv6SwitchedOff(root.path())) << "no /proc";
    const std::string folder = "proc/sys/net/ipv6/conf/";
    root.write(folder + "all/disable_ipv6", "1\n");
    root.write(folder + "default/disable_ipv6", "1\n");
    root.write(folder + "lo/disable_ipv6", "0\n");
    EXPECT_TRUE(vel::isIPv6SwitchedOff(root.path()));
    root.write(folder + "eth0/disable_ipv6", "0\n");
    EXPECT_FALSE(vel::isIPv6SwitchedOff(root.path()));
    root.write(folder + "eth0/disable_ipv6", "1\n");
    root.write(folder + "eth1/other", "1\n");
    EXPECT_FALSE(vel::isIPv6SwitchedOff(root.path()));
}

} // namespace
