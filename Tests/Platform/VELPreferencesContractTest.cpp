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

template <typename Machine> class PreferencesContract : public PlatformContract<Machine> {
protected:
    void set(VELPreferencesScope scope, const char* values) {
        this->machine.setPreferences(scope, application, VELValue::parse(values));
    }
    Found copy(std::string_view key, VELPreferencesScope scope,
               std::string_view applicationID = application) {
        return this->machine.platform().preferences().copyValue(key, applicationID, scope);
    }
    /// The integer found, or nothing; checks that what is not found has the value 0.
    std::optional<std::int64_t> integer(std::string_view key,
                                        std::string_view applicationID = application) {
        const auto answer =
            this->machine.platform().preferences().appIntegerValue(key, applicationID);
        EXPECT_TRUE(answer.found || answer.value == 0);
        return answer.found ? std::optional(answer.value) : std::nullopt;
    }
};
TYPED_TEST_SUITE(PreferencesContract, ContractMachines, ContractMachineNames);

TYPED_TEST(PreferencesContract, NothingIsStored) {
    EXPECT_EQ(this->copy("deviceId", anyUser), std::nullopt);
    EXPECT_EQ(this->copy("deviceId", currentUser), std::nullopt);
    EXPECT_EQ(this->integer("globalstate"), std::nullopt);
}

TYPED_TEST(PreferencesContract, AMachineWideValueIsNoUsers) {
    this->set(anyUser, R"({"deviceId": "machine-7"})");
    EXPECT_EQ(this->copy("deviceId", anyUser), Found("machine-7"));
    EXPECT_EQ(this->copy("deviceId", currentUser), std::nullopt);
}

TYPED_TEST(PreferencesContract, AUsersValueIsNotMachineWide) {
    this->set(currentUser, R"({"deviceId": "user-7"})");
    EXPECT_EQ(this->copy("deviceId", anyUser), std::nullopt);
    EXPECT_EQ(this->copy("deviceId", currentUser), Found("user-7"));
}

TYPED_TEST(PreferencesContract, EachScopeHasItsValue) {
    this->set(anyUser, R"({"deviceId": "machine-7"})");
    this->set(currentUser, R"({"deviceId": "user-7"})");
    EXPECT_EQ(this->copy("deviceId", anyUser), Found("machine-7"));
    EXPECT_EQ(this->copy("deviceId", currentUser), Found("user-7"));
}

TYPED_TEST(PreferencesContract, AKeyIsLookedUpExactly) {
    this->set(anyUser, R"({"deviceId": "machine-7", "": "empty", "Über": 1})");
    EXPECT_EQ(this->copy("deviceid", anyUser), std::nullopt);
    EXPECT_EQ(this->copy("deviceId ", anyUser), std::nullopt);
    EXPECT_EQ(this->copy("other", anyUser), std::nullopt);
    EXPECT_EQ(this->copy(std::string_view("deviceId\0", 9), anyUser), std::nullopt);
    EXPECT_EQ(this->copy("", anyUser), Found("empty"));
    EXPECT_EQ(this->copy("Über", anyUser), Found(1));
}

TYPED_TEST(PreferencesContract, AnApplicationIsLookedUpExactly) {
    this->set(anyUser, R"({"deviceId": "machine-7"})");
    for (const char* other : {"com.example", "com.example.product.", "com.example.product.plist",
                              "COM.EXAMPLE.PRODUCT", "./com.example.product"}) {
        EXPECT_EQ(this->copy("deviceId", anyUser, other), std::nullopt) << other;
    }
}

TYPED_TEST(PreferencesContract, WhatNamesNoApplicationIsAbsent) {
    this->set(anyUser, R"({"deviceId": "machine-7", "state": 1})");
    const std::string withNUL = std::string(application) + '\0';
    for (const std::string& name :
         {std::string(), std::string("."), std::string(".."), std::string("/"),
          std::string("../preferences/") + application, withNUL, std::string(300, 'a')}) {
        for (const VELPreferencesScope scope : {anyUser, currentUser}) {
            EXPECT_EQ(this->copy("deviceId", scope, name), std::nullopt) << name;
        }
        EXPECT_EQ(this->integer("state", name), std::nullopt) << name;
    }
}

TYPED_TEST(PreferencesContract, AValueIsReturnedAsStored) {
    const VELValue values = VELValue::parse(R"({
        "text": "machine-7", "empty": "", "integer": 42, "negative": -5, "real": 0.5,
        "yes": true, "no": false, "list": [1, "two", [], {"three": 3}], "dictionary": {"a": {}},
        "markup": "<&>\"'", "letters": "ßé漢😀"})");
    for (const VELPreferencesScope scope : {anyUser, currentUser}) {
        this->machine.setPreferences(scope, application, values);
        for (const auto& [key, value] : values.items()) {
            const Found found = this->copy(key, scope);
            ASSERT_EQ(found, Found(value)) << key;
            // 1, 1.0 and true compare equal or convert: the kind is part of the value.
            const bool sameKind = value.is_number_integer() ? found->is_number_integer()
                                                            : found->type() == value.type();
            EXPECT_TRUE(sameKind) << key;
        }
    }
}

TYPED_TEST(PreferencesContract, AnIntegerIsFoundMachineWide) {
    this->set(anyUser, R"({"globalstate": 2, "zero": 0, "negative": -5})");
    EXPECT_EQ(this->integer("globalstate"), 2);
    EXPECT_EQ(this->integer("zero"), 0);
    EXPECT_EQ(this->integer("negative"), -5);
    EXPECT_EQ(this->integer("other"), std::nullopt);
}

TYPED_TEST(PreferencesContract, IntegersOf64BitsAreExact) {
    this->set(anyUser, R"({"largest": 9223372036854775807, "smallest": -9223372036854775808})");
    EXPECT_EQ(this->integer("largest"), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(this->integer("smallest"), std::numeric_limits<std::int64_t>::min());
}

TYPED_TEST(PreferencesContract, AnIntegerThat64SignedBitsDoNotHoldIsNotFound) {
    this->set(anyUser, R"({"above": 9223372036854775808, "most": 18446744073709551615})");
    if (std::is_base_of_v<AppleMachine, TypeParam>) {
        // The Mac's call wraps it: what is too large is negative, and never more than zero.
        EXPECT_EQ(this->integer("above"), std::numeric_limits<std::int64_t>::min());
        EXPECT_EQ(this->integer("most"), -1);
    } else {
        EXPECT_EQ(this->integer("above"), std::nullopt);
        EXPECT_EQ(this->integer("most"), std::nullopt);
    }
    EXPECT_EQ(this->copy("most", anyUser), Found(std::numeric_limits<std::uint64_t>::max()));
}

TYPED_TEST(PreferencesContract, NothingButAnIntegerIsOne) {
    const VELValue values = VELValue::parse(R"({
        "text": "1", "empty": "", "yes": true, "no": false, "real": 1.0, "fraction": 1.5,
        "list": [1], "dictionary": {"1": 1}})");
    this->machine.setPreferences(anyUser, application, values);
    for (const auto& [key, value] : values.items()) {
        // The Mac's call takes a text that is wholly an integer.
        const bool isTakenByMac = std::is_base_of_v<AppleMachine, TypeParam> && key == "text";
        EXPECT_EQ(this->integer(key), isTakenByMac ? std::optional<std::int64_t>(1) : std::nullopt)
            << key;
        EXPECT_EQ(this->copy(key, anyUser), Found(value)) << key;
    }
}

TYPED_TEST(PreferencesContract, EveryLookUpReadsTheStoreAfresh) {
    this->set(anyUser, R"({"deviceId": "before", "state": 1})");
    EXPECT_EQ(this->copy("deviceId", anyUser), Found("before"));
    EXPECT_EQ(this->integer("state"), 1);
    this->set(anyUser, R"({"state": 2})");
    EXPECT_EQ(this->copy("deviceId", anyUser), std::nullopt);
    EXPECT_EQ(this->integer("state"), 2);
}

} // namespace
