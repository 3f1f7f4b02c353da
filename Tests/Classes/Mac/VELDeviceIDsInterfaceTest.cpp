// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELDeviceIDsInterface.h"

#include "Tests/Support/EngineTest.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using VELDeviceIDsInterfaceTest = EngineTest;

constexpr const char* application = "com.vel.deviceId";

TEST_F(VELDeviceIDsInterfaceTest, SerialNumber) {
    EXPECT_EQ(VELDeviceIDsInterface::getMacSerialNumber(*platform), std::nullopt);
    platform->hardwareSerialNumber = "C02EXAMPLE";
    EXPECT_EQ(VELDeviceIDsInterface::getMacSerialNumber(*platform), "C02EXAMPLE");
    platform->hardwareSerialNumber = "";
    EXPECT_EQ(VELDeviceIDsInterface::getMacSerialNumber(*platform), "");
    EXPECT_EQ(platform->serialNumberCalls, 3U);
}

TEST_F(VELDeviceIDsInterfaceTest, WithoutAStoredIdentifierItIsEmpty) {
    EXPECT_EQ(VELDeviceIDsInterface::getMacDeviceID(*platform), VELValue(""));
    EXPECT_EQ(platform->preferenceStore.copyValueCalls, 2U);
    // Other applications and keys do not count.
    platform->preferenceStore.machine["com.vel.deviceid"]["deviceId"] = "wrong application";
    platform->preferenceStore.user[application]["deviceID"] = "wrong key";
    EXPECT_EQ(VELDeviceIDsInterface::getMacDeviceID(*platform), VELValue(""));
}

TEST_F(VELDeviceIDsInterfaceTest, TheCurrentUsersIsFound) {
    platform->preferenceStore.user[application]["deviceId"] = "user";
    EXPECT_EQ(VELDeviceIDsInterface::getMacDeviceID(*platform), VELValue("user"));
}

TEST_F(VELDeviceIDsInterfaceTest, TheMachinesWins) {
    platform->preferenceStore.user[application]["deviceId"] = "user";
    platform->preferenceStore.machine[application]["deviceId"] = "machine";
    EXPECT_EQ(VELDeviceIDsInterface::getMacDeviceID(*platform), VELValue("machine"));
    // The user is not even asked.
    EXPECT_EQ(platform->preferenceStore.copyValueCalls, 1U);
    platform->preferenceStore.machine[application]["deviceId"] = "";
    EXPECT_EQ(VELDeviceIDsInterface::getMacDeviceID(*platform), VELValue(""));
    platform->preferenceStore.machine[application]["deviceId"] = nullptr;
    EXPECT_EQ(VELDeviceIDsInterface::getMacDeviceID(*platform), VELValue(nullptr));
}

TEST_F(VELDeviceIDsInterfaceTest, TheIdentifierIsReturnedAsStored) {
    for (const char* stored : {"5", "-0.5", "true", "null", R"(["a", {"b": 1}])", R"({"a": []})"}) {
        platform->preferenceStore.machine[application]["deviceId"] = json(stored);
        EXPECT_EQ(VELDeviceIDsInterface::getMacDeviceID(*platform), json(stored));
    }
}

} // namespace
