// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/check/CheckOutcome.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using Kind = CheckOutcome::Kind;

/// A result of these entries.
VELValue resultOf(const VELArray& entries, bool pass) {
    VELValue details = VELValue::array();
    for (std::size_t index = 0; index < entries.size(); ++index) {
        details.push_back({{"check", {{"total_ms", 1.5}}}});
    }
    return {{"checks", entries},
            {"pass", pass},
            {"metrics", {{"total_ms", 2.0}, {"details", details}}}};
}

CheckOutcome outcomeOf(const VELValue& entry, const VELValue& asked) {
    return checkOutcomes(resultOf({entry, {{"type", "x"}, {"pass", false}}}, false),
                         {{"mac", {asked, {{"type", "x"}}}}})
        .front();
}

TEST(CheckOutcome, AnErrorOfTheRequestIsNoError) {
    const VELValue asked = {{"type", "x"}, {"error", "mine"}};
    EXPECT_EQ(outcomeOf({{"type", "x"}, {"error", "mine"}, {"pass", true}}, asked).kind,
              Kind::pass);
    EXPECT_EQ(outcomeOf({{"type", "x"}, {"error", "mine"}, {"pass", false}}, asked).kind,
              Kind::fail);
    const CheckOutcome erred = outcomeOf({{"type", "x"}, {"error", "why"}}, asked);
    EXPECT_EQ(erred.kind, Kind::error);
    EXPECT_EQ(erred.error, "why");
    EXPECT_EQ(outcomeOf({{"type", "x"}, {"error", "mine"}, {"pass", true}}, asked).parameters,
              "error: mine");
}

TEST(CheckOutcome, APassOfTheRequestIsNoPass) {
    const VELValue asked = {{"type", "x"}, {"pass", true}};
    EXPECT_EQ(outcomeOf({{"type", "x"}, {"error", "why"}, {"pass", true}}, asked).kind,
              Kind::error);
    EXPECT_EQ(outcomeOf({{"type", "x"}, {"pass", false}}, asked).kind, Kind::fail);
    EXPECT_EQ(outcomeOf({{"type", "x"}, {"pass", true}}, asked).kind, Kind::pass);
}

TEST(CheckOutcome, WhatCannotBeToldApartIsAnError) {
    const VELValue both = {{"type", "x"}, {"error", "mine"}, {"pass", true}};
    EXPECT_EQ(outcomeOf(both, both).kind, Kind::error);
    EXPECT_EQ(outcomeOf({{"type", "x"}, {"error", "mine"}, {"pass", false}}, both).kind,
              Kind::fail);
    EXPECT_EQ(outcomeOf(both, VELValue()).kind, Kind::error);
    EXPECT_EQ(checkOutcomes(resultOf(VELValue::array({both}), true), VELValue()).front().kind,
              Kind::pass)
        << "a request that passed has no error";
}

TEST(CheckOutcome, AnEntryIsToldFromOthers) {
    const auto identification = [](const VELValue& entry) {
        return outcomeOf(entry, entry).identification;
    };
    VELValue entry = {{"type", "x"}, {"zone", 7}, {"title", "T"}, {"pass", false}};
    EXPECT_EQ(identification(entry), "title: T");
    entry["name"] = "N";
    EXPECT_EQ(identification(entry), "name: N");
    entry["id"] = "a\x1b";
    EXPECT_EQ(identification(entry), "id: a\\u001b");
    EXPECT_EQ(identification({{"type", "x"}, {"zone", 7}, {"area", {1, "b"}}, {"pass", false}}),
              "area: [1, \"b\"]");
    EXPECT_EQ(identification({{"type", "x"}, {"pass", false}}), "");
}

TEST(CheckOutcome, ExitStatuses) {
    const VELValue pass = {{"type", "x"}, {"pass", true}};
    const VELValue fail = {{"type", "x"}, {"pass", false}};
    const VELValue error = {{"type", "x"}, {"error", "why"}};
    const auto statuses = [](const VELValue& result) {
        return std::pair(exitStatus(result, VELValue(), false),
                         exitStatus(result, VELValue(), true));
    };
    EXPECT_EQ(statuses(resultOf(VELValue::array({pass}), true)), std::pair(0, 0));
    EXPECT_EQ(statuses(resultOf({pass, error}, false)), std::pair(1, 3));
    EXPECT_EQ(statuses(resultOf({fail, error}, false)), std::pair(1, 1));
    EXPECT_EQ(statuses({{"error", "why"}}), std::pair(2, 2));
    EXPECT_EQ(statuses({{"identity_params", VELValue::object()}}), std::pair(0, 0));
    const std::vector<int> fromWorst = {2, 1, 3, 0};
    for (std::size_t left = 0; left < 4; ++left) {
        for (std::size_t right = 0; right < 4; ++right) {
            EXPECT_EQ(worseStatus(fromWorst[left], fromWorst[right]),
                      fromWorst[std::min(left, right)]);
        }
    }
}

} // namespace
