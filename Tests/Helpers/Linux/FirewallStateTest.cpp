// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELFirewallState.h"
#include "Tests/Helpers/Linux/PrivateBus.h"
#include "Tests/Helpers/Linux/ToolRun.h"

#include <filesystem>
#include <gtest/gtest.h>

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

    TestFolder _folder;
};

const std::string cannotRead = "echo 'Operation not permitted' >&2; exit 1";

TEST_F(FirewallWithAProgram, IsRunWithFixedArgumentsAndNoEnvironment) {
    const std::string record = _folder.path() + "/arguments";
    EXPECT_EQ(state("echo \"$* [$DBUS_SYSTEM_BUS_ADDRESS]\" > " + record + "\nexit 1"), unknown);
    EXPECT_EQ(readTestFile(record), "-j list ruleset []\n");
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
    EXPECT_EQ(state("exec /bin/sleep 100"), unknown);
    EXPECT_EQ(state("exec /bin/cat /dev/zero"), unknown);
    EXPECT_EQ(runProgram({toolProgram("firewall-state"), "--getglobalstate", "--nft",
                          "/nonexistent", "--bus", "unix:path=/nonexistent"}),
              unknown);
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
    const FakeService firewalld(bus.address(), "org.fedoraproject.FirewallD1");
    EXPECT_EQ(state(cannotRead, bus.address()), on);
    EXPECT_EQ(state("echo '{\"nftables\": []}'", bus.address()), off)
        << "rules that can be read come first";
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
