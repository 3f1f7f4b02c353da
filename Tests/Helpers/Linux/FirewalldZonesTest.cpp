// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELFirewalldZones.h"
#include "Tests/Helpers/Linux/PrivateBus.h"

#include <gtest/gtest.h>

namespace {

using Settings = FakeService::Settings;
using Texts = std::vector<std::string>;
using Pairs = FakeService::Pairs;

/// A daemon with the zones and the policy that it comes with.
class FirewalldZones : public testing::Test {
protected:
    std::optional<bool> refuses(const std::vector<std::string>& interfaces = {"eth0"}) {
        Texts zones;
        Texts policies;
        for (const auto& [name, settings] : _zones) {
            zones.push_back(name);
            _answers[{"getZoneSettings2", name}] = settings;
        }
        for (const auto& [name, settings] : _policies) {
            policies.push_back(name);
            _answers[{"getPolicySettings", name}] = settings;
        }
        _answers[{"getZones", ""}] = zones;
        _answers[{"getPolicies", ""}] = policies;
        for (const auto& refused : _refused) {
            _answers.erase(refused);
        }
        const FakeService service(_bus.address(), "org.fedoraproject.FirewallD1", {}, {}, _answers);
        return vel::doesFirewalldRefuse(*vel::SystemBus::connect(_bus.address()), interfaces);
    }

    PrivateBus _bus;
    std::map<std::string, Settings> _zones = {
        {"public",
         {{"target", "default"},
          {"version", 5U},
          {"services", Texts{"ssh", "dhcpv6-client"}},
          {"interfaces", Texts{}}}},
        {"home", {{"target", "default"}, {"services", Texts{"ssh"}}}},
        {"libvirt", {{"target", "ACCEPT"}, {"interfaces", Texts{"virbr0"}}}},
        {"trusted", {{"target", "ACCEPT"}}}};
    std::map<std::string, Settings> _policies = {
        {"allow-host-ipv6",
         {{"target", "CONTINUE"},
          {"ingress_zones", Texts{"ANY"}},
          {"egress_zones", Texts{"HOST"}},
          {"rich_rules", Texts{"rule family=\"ipv6\" icmp-type name=\"redirect\" accept"}}}}};
    FakeService::Answers _answers = {
        {{"getDefaultZone", ""}, "public"},
        {{"getServiceSettings2", "ssh"}, Settings{{"ports", Pairs{{"22", "tcp"}}}}},
        {{"getServiceSettings2", "dhcpv6-client"}, Settings{{"ports", Pairs{{"546", "udp"}}}}},
        {{"getServiceSettings2", "wide"}, Settings{{"ports", Pairs{{"1-700", "tcp"}}}}},
        {{"getServiceSettings2", "nested"}, Settings{{"includes", Texts{"wide"}}}}};
    std::vector<std::pair<std::string, std::string>> _refused;
};

TEST_F(FirewalldZones, TheShippedZonesRefuse) {
    EXPECT_EQ(refuses(), true);
    EXPECT_EQ(refuses({}), true);
}

TEST_F(FirewalldZones, WithoutTheServiceNothingIsKnown) {
    EXPECT_EQ(vel::doesFirewalldRefuse(*vel::SystemBus::connect(_bus.address()), {"eth0"}),
              std::nullopt);
}

TEST_F(FirewalldZones, WhatMayNotBeAskedIsNotKnown) {
    for (const auto& method : {std::pair<std::string, std::string>("getDefaultZone", ""),
                               {"getZones", ""},
                               {"getPolicies", ""},
                               {"getZoneSettings2", "public"},
                               {"getZoneSettings2", "trusted"},
                               {"getPolicySettings", "allow-host-ipv6"},
                               {"getServiceSettings2", "ssh"}}) {
        _refused = {method};
        EXPECT_EQ(refuses(), std::nullopt) << method.first;
        _answers[{"getServiceSettings2", "ssh"}] = Settings{{"ports", Pairs{{"22", "tcp"}}}};
        _answers[{"getDefaultZone", ""}] = "public";
    }
    _refused = {};
    EXPECT_EQ(refuses(), true);
    _answers[{"getDefaultZone", ""}] = "elsewhere";
    EXPECT_EQ(refuses(), std::nullopt);
}

TEST_F(FirewalldZones, AZoneThatAcceptsLetsIn) {
    _zones["trusted"]["interfaces"] = Texts{"eth1"};
    EXPECT_EQ(refuses(), true) << "of another interface";
    EXPECT_EQ(refuses({"eth0", "eth1"}), false);
    _zones["trusted"]["interfaces"] = Texts{"eth+"};
    EXPECT_EQ(refuses(), false);
    _zones["trusted"].erase("interfaces");
    _answers[{"getDefaultZone", ""}] = "trusted";
    EXPECT_EQ(refuses(), false);
    _answers[{"getDefaultZone", ""}] = "public";
    _zones["public"].erase("target");
    EXPECT_EQ(refuses(), std::nullopt);
}

TEST_F(FirewalldZones, AZoneOfPublicSourcesCounts) {
    for (const auto& [source, expected] :
         {std::pair("10.0.0.0/8", true), std::pair("192.168.1.7", true),
          std::pair("fe80::/10", true), std::pair("0.0.0.0/0", false), std::pair("8.8.8.8", false),
          std::pair("::/0", false), std::pair("00:11:22:33:44:55", false),
          std::pair("ipset:friends", false), std::pair("10.0.0.0/255.0.0.0", false)}) {
        _zones["trusted"]["sources"] = Texts{source};
        EXPECT_EQ(refuses(), expected) << source;
    }
}

TEST_F(FirewalldZones, ManyOpenPortsLetIn) {
    // With those of the services, 655 of each: one in a hundred of all ports.
    _zones["public"]["ports"] = Pairs{{"8000-8653", "tcp"}, {"1000-1653", "udp"}};
    EXPECT_EQ(refuses(), true);
    _zones["public"]["ports"] = Pairs{{"8000-8654", "tcp"}, {"1000-1653", "udp"}};
    EXPECT_EQ(refuses(), false);
    _zones["public"]["ports"] = Pairs{{"8000-8653", "tcp"}, {"1000-1654", "udp"}};
    EXPECT_EQ(refuses(), false);
    _zones["public"]["ports"] = Pairs{{"1025-65535", "udp"}};
    EXPECT_EQ(refuses(), false);
    _zones["public"]["ports"] = Pairs{{"many", "tcp"}};
    EXPECT_EQ(refuses(), false);
    _zones["public"]["ports"] = Pairs{{"1-65535", "sctp"}};
    EXPECT_EQ(refuses(), true);
    _zones["public"].erase("ports");
    _zones["public"]["services"] = Texts{"wide"};
    EXPECT_EQ(refuses(), false);
    _zones["public"]["services"] = Texts{"nested"};
    EXPECT_EQ(refuses(), std::nullopt);
}

TEST_F(FirewalldZones, OtherOpenings) {
    for (const auto& [name, value, expected] :
         {std::tuple<std::string, FakeService::Value, bool>("protocols", Texts{"gre"}, true),
          {"protocols", Texts{"tcp"}, false},
          {"source_ports", Pairs{{"53", "udp"}}, false},
          {"forward_ports", Pairs{{"1-700", "tcp"}}, false},
          {"forward_ports", Pairs{{"80", "tcp"}}, true},
          {"rules_str", Texts{"rule source address=\"1.2.3.4\" drop"}, true}}) {
        _zones["public"][name] = value;
        EXPECT_EQ(refuses(), expected) << name;
        _zones["public"].erase(name);
    }
    _zones["public"]["rules_str"] = Texts{"rule source address=\"1.2.3.4\" accept"};
    EXPECT_EQ(refuses(), std::nullopt);
}

TEST_F(FirewalldZones, OnlyTheActionOfARichRuleMakesItHarmless) {
    for (const auto& [rule, isHarmless] :
         {std::pair("rule family=\"ipv4\" drop", true),
          std::pair("rule service name=\"ssh\" log prefix=\"accept it\" drop limit value=\"1/m\"",
                    true),
          std::pair("rule family=\"ipv4\" reject type=\"icmp-net-prohibited\"", true),
          std::pair("rule icmp-block name=\"echo-request\"", true),
          std::pair("rule log prefix=\"no drop\" level=\"info\" accept", false),
          std::pair("rule log prefix=\"no reject here\" accept", false),
          std::pair("rule log prefix=\"an icmp-type \" accept", false),
          std::pair("rule service name=\"drop\" accept", false),
          std::pair("rule source ipset=\" dropped\" accept", false),
          std::pair("rule dropped accept", false), std::pair("rule log prefix=\" drop", false)}) {
        _zones["public"]["rich_rules"] = Texts{rule};
        EXPECT_EQ(refuses(), isHarmless ? std::optional(true) : std::nullopt) << rule;
    }
}

TEST_F(FirewalldZones, APolicyForThisMachineCounts) {
    Settings& policy = _policies["mine"];
    policy = {
        {"target", "ACCEPT"}, {"ingress_zones", Texts{"libvirt"}}, {"egress_zones", Texts{"HOST"}}};
    EXPECT_EQ(refuses(), true) << "from inside";
    policy["ingress_zones"] = Texts{"public"};
    EXPECT_EQ(refuses(), false);
    policy["egress_zones"] = Texts{"libvirt"};
    EXPECT_EQ(refuses(), true) << "not to this machine";
    policy["egress_zones"] = Texts{"ANY"};
    EXPECT_EQ(refuses(), false);
    policy["target"] = "CONTINUE";
    EXPECT_EQ(refuses(), true);
    policy["rich_rules"] = Texts{"rule accept"};
    EXPECT_EQ(refuses(), std::nullopt);
}

} // namespace
