// SPDX-License-Identifier: Apache-2.0
#include "Platform/VELPreferences.h"
#include "Tests/Platform/ContractMachines.h"

#include <limits>
#include <nlohmann/json.hpp>
#include <vector>

namespace {

constexpr VELPreferencesScope anyUser = VELPreferencesScope::anyUser;
constexpr VELPreferencesScope currentUser = VELPreferencesScope::currentUser;
constexpr const char* application = "com.example.product";

using Found = std::optional<VELValue>;

class PreferencesContract : public ContractTest {
protected:
    void set(VELPreferencesScope scope, const char* values) {
        machine->setPreferences(scope, application, VELValue::parse(values));
    }
    Found copy(std::string_view key, VELPreferencesScope scope,
               std::string_view applicationID = application) {
        return machine->platform().preferences().copyValue(key, applicationID, scope);
    }
    /// The integer found, or nothing; checks that what is not found has the value 0.
    std::optional<std::int64_t> integer(std::string_view key,
                                        std::string_view applicationID = application) {
        const auto answer = machine->platform().preferences().appIntegerValue(key, applicationID);
        EXPECT_TRUE(answer.found || answer.value == 0);
        return answer.found ? std::optional(answer.value) : std::nullopt;
    }
};
INSTANTIATE_TEST_SUITE_P(, PreferencesContract, testing::ValuesIn(allMachines()), machineName);

TEST_P(PreferencesContract, NothingIsStored) {
    EXPECT_EQ(copy("deviceId", anyUser), std::nullopt);
    EXPECT_EQ(copy("deviceId", currentUser), std::nullopt);
    EXPECT_EQ(integer("globalstate"), std::nullopt);
}

TEST_P(PreferencesContract, AMachineWideValueIsNoUsers) {
    set(anyUser, R"({"deviceId": "machine-7"})");
    EXPECT_EQ(copy("deviceId", anyUser), Found("machine-7"));
    EXPECT_EQ(copy("deviceId", currentUser), std::nullopt);
}

TEST_P(PreferencesContract, AUsersValueIsNotMachineWide) {
    set(currentUser, R"({"deviceId": "user-7"})");
    EXPECT_EQ(copy("deviceId", anyUser), std::nullopt);
    EXPECT_EQ(copy("deviceId", currentUser), Found("user-7"));
}

TEST_P(PreferencesContract, EachScopeHasItsValue) {
    set(anyUser, R"({"deviceId": "machine-7"})");
    set(currentUser, R"({"deviceId": "user-7"})");
    EXPECT_EQ(copy("deviceId", anyUser), Found("machine-7"));
    EXPECT_EQ(copy("deviceId", currentUser), Found("user-7"));
}

TEST_P(PreferencesContract, AKeyIsLookedUpExactly) {
    set(anyUser, R"({"deviceId": "machine-7", "": "empty", "Über": 1})");
    EXPECT_EQ(copy("deviceid", anyUser), std::nullopt);
    EXPECT_EQ(copy("deviceId ", anyUser), std::nullopt);
    EXPECT_EQ(copy("other", anyUser), std::nullopt);
    EXPECT_EQ(copy(std::string_view("deviceId\0", 9), anyUser), std::nullopt);
    EXPECT_EQ(copy("", anyUser), Found("empty"));
    EXPECT_EQ(copy("Über", anyUser), Found(1));
}

TEST_P(PreferencesContract, AnApplicationIsLookedUpExactly) {
    set(anyUser, R"({"deviceId": "machine-7"})");
    for (const char* other : {"com.example", "com.example.product.", "com.example.product.plist",
                              "COM.EXAMPLE.PRODUCT", "./com.example.product"}) {
        EXPECT_EQ(copy("deviceId", anyUser, other), std::nullopt) << other;
    }
}

TEST_P(PreferencesContract, WhatNamesNoApplicationIsAbsent) {
    set(anyUser, R"({"deviceId": "machine-7", "state": 1})");
    const std::string withNUL = std::string(application) + '\0';
    for (const std::string& name :
         {std::string(), std::string("."), std::string(".."), std::string("/"),
          std::string("../preferences/") + application, withNUL, std::string(300, 'a')}) {
        for (const VELPreferencesScope scope : {anyUser, currentUser}) {
            EXPECT_EQ(copy("deviceId", scope, name), std::nullopt) << name;
        }
        EXPECT_EQ(integer("state", name), std::nullopt) << name;
    }
}

TEST_P(PreferencesContract, AValueIsReturnedAsStored) {
    const VELValue values = VELValue::parse(R"({
        "text": "machine-7", "empty": "", "integer": 42, "negative": -5, "real": 0.5,
        "yes": true, "no": false, "list": [1, "two", [], {"three": 3}], "dictionary": {"a": {}},
        "markup": "<&>\"'", "letters": "ßé漢😀"})");
    for (const VELPreferencesScope scope : {anyUser, currentUser}) {
        machine->setPreferences(scope, application, values);
        for (const auto& [key, value] : values.items()) {
            const Found found = copy(key, scope);
            ASSERT_EQ(found, Found(value)) << key;
            // 1, 1.0 and true compare equal or convert: the kind is part of the value.
            const bool sameKind = value.is_number_integer() ? found->is_number_integer()
                                                            : found->type() == value.type();
            EXPECT_TRUE(sameKind) << key;
        }
    }
}

TEST_P(PreferencesContract, AnIntegerIsFoundMachineWide) {
    set(anyUser, R"({"globalstate": 2, "zero": 0, "negative": -5})");
    EXPECT_EQ(integer("globalstate"), 2);
    EXPECT_EQ(integer("zero"), 0);
    EXPECT_EQ(integer("negative"), -5);
    EXPECT_EQ(integer("other"), std::nullopt);
}

TEST_P(PreferencesContract, IntegersOf64BitsAreExact) {
    set(anyUser, R"({"largest": 9223372036854775807, "smallest": -9223372036854775808})");
    EXPECT_EQ(integer("largest"), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(integer("smallest"), std::numeric_limits<std::int64_t>::min());
}

TEST_P(PreferencesContract, AnIntegerThat64SignedBitsDoNotHoldIsNotFound) {
    set(anyUser, R"({"above": 9223372036854775808, "most": 18446744073709551615})");
    if (machine->asksMacServices()) {
        // The Mac's call wraps it: what is too large is negative, and never more than zero.
        EXPECT_EQ(integer("above"), std::numeric_limits<std::int64_t>::min());
        EXPECT_EQ(integer("most"), -1);
    } else {
        EXPECT_EQ(integer("above"), std::nullopt);
        EXPECT_EQ(integer("most"), std::nullopt);
    }
    EXPECT_EQ(copy("most", anyUser), Found(std::numeric_limits<std::uint64_t>::max()));
}

TEST_P(PreferencesContract, NothingButAnIntegerIsOne) {
    const VELValue values = VELValue::parse(R"({
        "text": "1", "empty": "", "yes": true, "no": false, "real": 1.0, "fraction": 1.5,
        "list": [1], "dictionary": {"1": 1}})");
    machine->setPreferences(anyUser, application, values);
    for (const auto& [key, value] : values.items()) {
        // The Mac's call takes a text that is wholly an integer.
        const bool isTakenByMac = machine->asksMacServices() && key == "text";
        EXPECT_EQ(integer(key), isTakenByMac ? std::optional<std::int64_t>(1) : std::nullopt)
            << key;
        EXPECT_EQ(copy(key, anyUser), Found(value)) << key;
    }
}

TEST_P(PreferencesContract, EveryLookUpReadsTheStoreAfresh) {
    set(anyUser, R"({"deviceId": "before", "state": 1})");
    EXPECT_EQ(copy("deviceId", anyUser), Found("before"));
    EXPECT_EQ(integer("state"), 1);
    set(anyUser, R"({"state": 2})");
    EXPECT_EQ(copy("deviceId", anyUser), std::nullopt);
    EXPECT_EQ(integer("state"), 2);
}

} // namespace
