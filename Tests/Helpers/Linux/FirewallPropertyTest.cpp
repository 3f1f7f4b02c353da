// SPDX-License-Identifier: Apache-2.0
#include "Tests/Helpers/Linux/GeneratedRules.h"
#include "Tests/Helpers/Linux/InboundDefaultPrinter.h"
#include "Tests/Helpers/Linux/ToolRun.h"
#include "Tests/Support/Sanitized.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sstream>

namespace {

using generated::Packet;
using vel::InboundDefault;

constexpr unsigned onePercent = 655; // of 65,535 ports
constexpr unsigned rulesets = 1'000 / sampleStep;

/// Packets of every kind, each from several public addresses.
std::vector<Packet> packetsFromOutside() {
    std::vector<Packet> packets;
    for (const bool isTCP : {true, false}) {
        for (const char* source : {"8.8.8.8", "93.184.216.1", "200.1.2.3"}) {
            packets.push_back({false, isTCP, 0, source});
        }
        for (const char* source : {"2a00:1450::1", "3000::1", "2600::1"}) {
            packets.push_back({true, isTCP, 0, source});
        }
    }
    return packets;
}

unsigned mostOpenPorts(const generated::Rules& rules) {
    unsigned most = 0;
    for (Packet packet : packetsFromOutside()) {
        most = std::max(most, rules.openPorts([&](unsigned port) {
            packet.port = port;
            return rules.accept(packet);
        }));
    }
    return most;
}

TEST(FirewallProperty, WhatIsRefusedIsClosedToEveryPacket) {
    std::mt19937 random(1);
    unsigned refused = 0;
    for (unsigned count = 0; count < rulesets; ++count) {
        const generated::Rules rules = generated::makeRules(random, true);
        const auto answer = vel::inboundDefault(rules.json(), "", {{"eth0"}, true});
        ASSERT_TRUE(answer.has_value()) << rules.json();
        if (*answer == InboundDefault::refused) {
            ++refused;
            ASSERT_LE(mostOpenPorts(rules), onePercent) << rules.text();
        }
    }
    EXPECT_GT(refused, rulesets / 10) << "the rules are worth testing with";
    EXPECT_LT(refused, rulesets - rulesets / 10);
}

TEST(FirewallProperty, WithoutUnknownConditionsTheAnswerIsExact) {
    std::mt19937 random(2);
    unsigned refused = 0;
    for (unsigned count = 0; count < rulesets; ++count) {
        const generated::Rules rules = generated::makeRules(random, false);
        ASSERT_TRUE(rules.areKnown());
        const bool isClosed = mostOpenPorts(rules) <= onePercent;
        const auto answer = vel::inboundDefault(rules.json(), "", {{"eth0"}, true});
        ASSERT_EQ(answer, isClosed ? InboundDefault::refused : InboundDefault::letIn)
            << rules.text();
        refused += isClosed ? 1U : 0U;
    }
    EXPECT_GT(refused, rulesets / 10);
    EXPECT_LT(refused, rulesets - rulesets / 10);
}

/// What the kernel lets in, asked from a second network namespace: nothing leaves the machine.
class FirewallAgainstTheKernel : public testing::Test {
protected:
    void SetUp() override {
        const ToolRun attempt = runProgram(
            {"unshare", "-n", "sh", "-e", "-c",
             "ip link add eth0 type veth peer name outside0; nsenter -t $$ -n true; python3 -c ''\n"
             "nft 'table inet t { set s { type inet_service; flags dynamic; }; }; "
             "add chain inet t c { type filter hook input priority 0; }; "
             "add rule inet t c ct state new update @s { tcp dport }'"});
        if (attempt.status != 0) {
            GTEST_SKIP() << "needs root, nft, ip, nsenter, python3 and network namespaces: "
                         << attempt.diagnostics;
        }
    }

    /// Two namespaces with a cable between them. The machine has a public address, so that its
    /// neighbour does, too.
    static std::string cable() {
        return R"sh(
unshare -n sleep 600 & outside=$!
trap 'kill $outside' EXIT
while [ "$(readlink /proc/$outside/ns/net)" = "$(readlink /proc/$$/ns/net)" ]; do sleep 0.01; done
ip link add eth0 address 02:00:00:00:00:02 type veth peer name outside0 address 02:00:00:00:00:01
ip link set outside0 netns $outside
ip addr add 93.184.216.2/24 dev eth0
ip addr add 2a00:1450::2/64 dev eth0 nodad
ip link set eth0 up
from_outside() { nsenter -t $outside -n "$@"; }
from_outside ip addr add 93.184.216.1/24 dev outside0
from_outside ip addr add 2a00:1450::1/64 dev outside0 nodad
from_outside ip link set outside0 up
for address in 93.184.216.1 2a00:1450::1; do
    ip neigh replace $address lladdr 02:00:00:00:00:01 dev eth0 nud permanent
done
for address in 93.184.216.2 2a00:1450::2; do
    from_outside ip neigh replace $address lladdr 02:00:00:00:00:02 dev outside0 nud permanent
done
)sh";
    }

    /// Knocks at ports from the second namespace: one datagram and one connection each.
    static constexpr const char* knock = R"py(
import socket, sys
for address, family in (("93.184.216.2", socket.AF_INET), ("2a00:1450::2", socket.AF_INET6)):
    for port in map(int, sys.argv[1:]):
        for kind in (socket.SOCK_DGRAM, socket.SOCK_STREAM):
            with socket.socket(family, kind) as knocker:
                knocker.setblocking(False)
                try:
                    knocker.connect((address, port))
                    knocker.send(b"x")
                except OSError:
                    pass
)py";

    /// Behind all other rules: keeps the ports of what has passed.
    static constexpr const char* passage = R"(
table inet passage {
set tcp4 {
type inet_service; flags dynamic
}
set udp4 {
type inet_service; flags dynamic
}
set tcp6 {
type inet_service; flags dynamic
}
set udp6 {
type inet_service; flags dynamic
}
chain c {
type filter hook input priority 1000
ct state new meta nfproto ipv4 update @tcp4 { tcp dport }
ct state new meta nfproto ipv4 update @udp4 { udp dport }
ct state new meta nfproto ipv6 update @tcp6 { tcp dport }
ct state new meta nfproto ipv6 update @udp6 { udp dport }
}
}
)";

    struct Answer {
        bool isOn = false;
        std::map<std::string, std::set<unsigned>> passed = {}; // ports by name of the set
    };

    /// Loads each set of rules in turn, knocks, and reads what passed and what the helper says.
    static std::vector<Answer> answers(const std::vector<generated::Rules>& all) {
        const TestFolder folder;
        const std::string knocker = folder.write("knock.py", knock);
        std::string script = cable();
        for (std::size_t i = 0; i < all.size(); ++i) {
            const std::string rules = folder.write(std::to_string(i), all[i].text() + passage);
            std::string knocking = "from_outside python3 " + knocker;
            for (const unsigned edge : all[i].edges) {
                knocking += edge <= 65'535 ? " " + std::to_string(edge) : "";
            }
            script +=
                "nft flush ruleset\nif nft -f " + rules + " 2>/dev/null; then\n" + knocking + "\n";
            if (i == 0) { // where everything passes: until it has been seen to
                script += "tries=0\nuntil [ $tries = 200 ] || [ \"$(nft list ruleset | grep -c "
                          "'elements =')\" = 4 ]; do " +
                          knocking + "; tries=$((tries + 1)); done\n";
            }
            script += "echo \"$(" + toolProgram("firewall-state") +
                      " --getglobalstate --bus unix:path=/nonexistent)\"\n"
                      "nft -j list ruleset | tr -d '\\n'\necho\n"
                      "else echo refused by nft; echo '{\"nftables\": []}'; fi\n";
        }
        const ToolRun run = runProgram({"unshare", "-n", "sh", "-e", "-c", script});
        EXPECT_EQ(run.status, 0) << run.diagnostics;
        std::vector<Answer> answers;
        std::istringstream lines(run.output);
        for (std::string state, json; std::getline(lines, state) && std::getline(lines, json);) {
            Answer answer = {.isOn = state == "Firewall is enabled. (State = 1)"};
            // Some ask for two protocols in one rule, which nft does not load.
            EXPECT_TRUE(answer.isOn || state == "Firewall is disabled. (State = 0)" ||
                        state == "refused by nft")
                << state;
            const auto ruleset = nlohmann::json::parse(json);
            for (const auto& object : ruleset["nftables"]) {
                if (object.contains("set") && object["set"].contains("elem")) {
                    answer.passed[object["set"]["name"].get<std::string>()] =
                        object["set"]["elem"].get<std::set<unsigned>>();
                }
            }
            answers.push_back(std::move(answer));
        }
        EXPECT_EQ(answers.size(), all.size()) << run.diagnostics;
        return answers;
    }
};

TEST_F(FirewallAgainstTheKernel, WhatIsOnLetsNothingThrough) {
    std::mt19937 random(3);
    std::vector<generated::Rules> all(1);
    all[0].chains = {{.isBase = true}}; // no rule at all: everything passes
    for (int i = 0; i < 25; ++i) {
        all.push_back(generated::makeRules(random, i % 2 == 0));
    }
    const auto found = answers(all);
    ASSERT_EQ(found.size(), all.size());
    EXPECT_EQ(found[0].passed.size(), 4U) << "the passage is seen";
    int on = 0;
    for (std::size_t i = 0; i < all.size(); ++i) {
        on += found[i].isOn ? 1 : 0;
        for (const auto& passed : found[i].passed) {
            const auto& name = passed.first;
            const auto& ports = passed.second;
            const bool isIPv6 = name.ends_with('6');
            const unsigned open =
                all[i].openPorts([&ports](unsigned port) { return ports.contains(port); });
            EXPECT_TRUE(!found[i].isOn || open <= onePercent) << name << ": " << open << "\n"
                                                              << all[i].text();
            for (const unsigned port : ports) {
                EXPECT_TRUE(all[i].accept({isIPv6, name.starts_with("tcp"), port,
                                           isIPv6 ? "2a00:1450::1" : "93.184.216.1"}))
                    << "the interpreter refuses " << name << " " << port << "\n"
                    << all[i].text();
            }
        }
    }
    EXPECT_GT(on, 4) << "the rules are worth testing with";
}

} // namespace
