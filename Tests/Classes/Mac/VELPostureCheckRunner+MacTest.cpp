// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELPostureCheckRunner+Mac.h"

#include "Tests/Support/EngineTest.h"
#include "Tests/Support/KeptDocuments.h"
#include "Tests/Support/LogExpectations.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <limits>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr const char* deviceIDs = "com.vel.deviceId";

ExpectedLogLine identityInput(const std::string& request) {
    return {1, "Input JSON with parameters: " + request,
            "-[VELPostureCheckRunner runGetIdentityParametersFromDictionary:]",
            "Classes/Mac/VELPostureCheckRunner+Mac.cpp", "Input JSON with parameters: %@"};
}

class IdentityRequest : public EngineTest {
protected:
    IdentityRequest() {
        platform->hardwareSerialNumber = "C02EXAMPLE";
        platform->preferenceStore.machine[deviceIDs]["deviceId"] = "device";
    }

    [[nodiscard]] std::string run(std::string_view request) const {
        return keepResult(macRunner()->runPostureCheckFromDocumentString(request));
    }
};

TEST_F(IdentityRequest, BothValues) {
    EXPECT_EQ(run(R"({"identity_params": ["device_serial_number", "device_id"]})"),
              R"({"identity_params":{"device_id":"device","device_serial_number":"C02EXAMPLE"},)"
              R"("metrics":{"total_ms":0.0}})");
    expectLogged(logger->take(),
                 {identityInput(R"({"identity_params":["device_serial_number","device_id"]})")});
}

TEST_F(IdentityRequest, AnEmptyListAsksForNothing) {
    EXPECT_EQ(run(R"({"identity_params": []})"),
              R"({"identity_params":{},"metrics":{"total_ms":0.0}})");
    EXPECT_EQ(platform->serialNumberCalls, 0U);
    EXPECT_EQ(platform->preferenceStore.copyValueCalls, 0U);
}

TEST_F(IdentityRequest, UnknownNamesAreIgnored) {
    EXPECT_EQ(run(R"({"identity_params": ["", "device", "device_id ", "deviceId", "device_ıd",
                                          "DEVİCE_ID"]})"),
              R"({"identity_params":{},"metrics":{"total_ms":0.0}})");
}

TEST_F(IdentityRequest, NamesInAnyCase) {
    EXPECT_EQ(run(R"({"identity_params": ["Device_Serial_Number", "DEVICE_ID"]})"),
              R"({"identity_params":{"device_id":"device","device_serial_number":"C02EXAMPLE"},)"
              R"("metrics":{"total_ms":0.0}})");
}

TEST_F(IdentityRequest, AnUnreadableSerialNumberIsLeftOut) {
    platform->hardwareSerialNumber.reset();
    platform->preferenceStore.machine.clear();
    EXPECT_EQ(run(R"({"identity_params": ["device_serial_number", "device_id"]})"),
              R"({"identity_params":{"device_id":""},"metrics":{"total_ms":0.0}})");
}

TEST_F(IdentityRequest, ARepeatedNameIsAskedAgain) {
    EXPECT_EQ(run(R"({"identity_params": ["device_id", "x", "Device_ID", "device_serial_number",
                                          "device_serial_number", "device_serial_number"]})"),
              R"({"identity_params":{"device_id":"device","device_serial_number":"C02EXAMPLE"},)"
              R"("metrics":{"total_ms":0.0}})");
    EXPECT_EQ(platform->serialNumberCalls, 3U);
    EXPECT_EQ(platform->preferenceStore.copyValueCalls, 2U);
}

TEST_F(IdentityRequest, ARepeatedNameOverwritesWhatWasFound) {
    platform->serialNumberDuration = std::chrono::nanoseconds(2);
    ASSERT_TRUE(platform->workQueue().after(std::chrono::nanoseconds(3), [this] {
        platform->hardwareSerialNumber.reset();
        platform->preferenceStore.machine[deviceIDs]["deviceId"] = "another";
    }));
    const VELValue result = json(run(R"({"identity_params": ["device_id", "device_serial_number",
                                        "device_serial_number", "device_id"]})"));
    EXPECT_EQ(result["identity_params"], json(R"({"device_id": "another"})"));
    EXPECT_EQ(platform->serialNumberCalls, 2U);
    EXPECT_EQ(platform->preferenceStore.copyValueCalls, 2U);
}

TEST_F(IdentityRequest, TheUsersIdentifierAndTheMachines) {
    platform->preferenceStore.user[deviceIDs]["deviceId"] = "user";
    EXPECT_EQ(json(run(R"({"identity_params": ["device_id"]})"))["identity_params"]["device_id"],
              "device");
    platform->preferenceStore.machine.clear();
    EXPECT_EQ(json(run(R"({"identity_params": ["device_id"]})"))["identity_params"]["device_id"],
              "user");
}

TEST_F(IdentityRequest, TheIdentifierIsCopiedAsStored) {
    platform->preferenceStore.machine[deviceIDs]["deviceId"] = json(R"({"a":[1,2.5,null]})");
    EXPECT_EQ(run(R"({"identity_params": ["device_id"]})"),
              R"({"identity_params":{"device_id":{"a":[1,2.5,null]}},"metrics":{"total_ms":0.0}})");
}

TEST_F(IdentityRequest, AValueThatCannotBeWritten) {
    const char* const request = R"({"identity_params":["device_id"]})";
    platform->preferenceStore.machine[deviceIDs]["deviceId"] =
        std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(run(request), R"({"error":"a number that is not finite cannot be written as JSON"})");
    expectLogged(logger->take(),
                 {identityInput(request),
                  logged::errorResult("a number that is not finite cannot be written as JSON")});
    platform->preferenceStore.machine[deviceIDs]["deviceId"] = "a\xFF";
    EXPECT_EQ(run(request), R"({"error":"invalid UTF-8 byte at index 1: 0xFF"})");
    expectLogged(logger->take(), {identityInput(request),
                                  logged::errorResult("invalid UTF-8 byte at index 1: 0xFF")});
}

TEST_F(IdentityRequest, TheChecksAreNotRun) {
    const auto check = answering(true);
    const auto runner = runnerWith({{"check", check}});
    EXPECT_EQ(runner->runPostureCheckFromDocumentString(
                  R"({"mac": [{"type": "check"}], "identity_params": ["device_id"]})"),
              R"({"identity_params":{"device_id":"device"},"metrics":{"total_ms":0.0}})");
    EXPECT_EQ(check->runs, 0U);
}

TEST_F(IdentityRequest, ItsTimeIsMeasured) {
    platform->serialNumberDuration = std::chrono::nanoseconds(2'500'000);
    EXPECT_EQ(run(R"({"identity_params": ["device_id"]})"),
              R"({"identity_params":{"device_id":"device"},"metrics":{"total_ms":0.0}})");
    EXPECT_EQ(run(R"({"identity_params": ["device_serial_number"]})"),
              R"({"identity_params":{"device_serial_number":"C02EXAMPLE"},)"
              R"("metrics":{"total_ms":2.5}})");
}

TEST_F(IdentityRequest, ADirectCallWithoutTheKey) {
    const auto runner = macRunner();
    const std::string text =
        runner->runGetIdentityParametersFromDictionary(json(R"({"mac": []})")).dump();
    EXPECT_EQ(keepResult(text), "{}");
    expectLogged(logger->take(),
                 {identityInput(R"({"mac":[]})"),
                  {3, "Input JSON is empty",
                   "-[VELPostureCheckRunner runGetIdentityParametersFromDictionary:]",
                   "Classes/Mac/VELPostureCheckRunner+Mac.cpp", "Input JSON is empty"}});
}

TEST_F(IdentityRequest, ADirectCall) {
    const auto runner = macRunner();
    const std::string text =
        runner
            ->runGetIdentityParametersFromDictionary(json(R"({"identity_params": ["DEVICE_ID"]})"))
            .dump();
    EXPECT_EQ(keepResult(text),
              R"({"identity_params":{"device_id":"device"},"metrics":{"total_ms":0.0}})");
}

TEST_F(IdentityRequest, ADirectCallWithAMalformedRequest) {
    const auto runner = macRunner();
    struct Row {
        const char* request;
        const char* error;
    };
    for (const Row& row :
         {Row{"[]", "the request is not an object"},
          Row{R"({"identity_params": null})", "identity_params is not an array"},
          Row{R"({"identity_params": ["device_id", 5]})", "identity_params[1] is not a string"}}) {
        try {
            static_cast<void>(runner->runGetIdentityParametersFromDictionary(json(row.request)));
            ADD_FAILURE() << "nothing was thrown for " << row.request;
        } catch (const std::invalid_argument& exception) {
            EXPECT_STREQ(exception.what(), row.error);
        }
    }
    expectLogged(logger->take(), {});
    EXPECT_EQ(platform->preferenceStore.copyValueCalls, 0U);
}

using MacRunner = EngineTest;

TEST_F(MacRunner, ListsItsChecksUnderMac) {
    platform->productVersionRecord = "14.5";
    const char* const entries = R"([{"type": "minimumOSVersion", "version": "14"}])";
    EXPECT_EQ(resultOf(*macRunner(), std::string(R"({"mac": )") + entries + "}")["checks"].size(),
              1U);
    EXPECT_EQ(resultOf(*macRunner(), std::string(R"({"Mac": )") + entries + "}")["checks"].size(),
              0U);
}

TEST_F(MacRunner, EachCatalogueIsNew) {
    const auto first = macPostureCheckCatalogue(platform);
    const auto second = macPostureCheckCatalogue(platform);
    for (const auto& [type, check] : first) {
        EXPECT_NE(check, nullptr) << type;
        EXPECT_NE(check, second.at(type)) << type;
    }
}

TEST_F(MacRunner, KnowsExactlySevenTypes) {
    using Names = std::optional<std::vector<std::string>>;
    const std::map<std::string, Names> expected = {
        {"localFirewall", std::nullopt},
        {"fullDiskEncryption", std::nullopt},
        {"certificatePresent", Names{{"sha1"}}},
        {"minimumOSVersion", Names{{"version"}}},
        {"anyProcessRunning", Names{{"processes"}}},
        {"joinedToDomain", Names{{"names"}}},
        {"perDeviceCertificatePresent", Names{{"cert"}}},
    };
    std::map<std::string, Names> found;
    for (const auto& [type, check] : macPostureCheckCatalogue(platform)) {
        found.emplace(type, check->requiredParameters());
    }
    EXPECT_EQ(found, expected);
}

TEST_F(MacRunner, TakesNoTypeInAnotherCaseAndNoEncryptionMethod) {
    std::vector<std::string> types = {"localfirewall",
                                      "LOCALFIREWALL",
                                      "localFirewall ",
                                      "fileVault",
                                      "checkpoint",
                                      "VELFileVaultEncryptionCheck",
                                      "VELCheckpointEncryptionCheck",
                                      "VELDiskEncryptionCheck",
                                      "VELFirewallCheck"};
    const std::string firewall = "localFirewall";
    for (std::size_t at = 0; at < firewall.size(); ++at) {
        std::string& type = types.emplace_back(firewall);
        type[at] = static_cast<char>(type[at] ^ 0x20); // the other letter case
    }
    for (const std::string& type : types) {
        const VELValue result = resultOf(*macRunner(), R"({"mac": [{"type": ")" + type + R"("}]})");
        EXPECT_EQ(result["checks"],
                  VELValue::array(
                      {{{"type", type}, {"error", "Unknown posture check type: " + type + "."}}}));
        EXPECT_EQ(result["pass"], false);
    }
}

TEST_F(MacRunner, WithoutALoggerNobodyLogs) {
    const auto logging = macRunner();
    static_cast<void>(logging->runPostureCheckFromDocumentString("{}"));
    EXPECT_EQ(logger->take().size(), 2U);
    const auto quiet = VELPostureCheckRunner::macPostureCheckRunner(nullptr);
    static_cast<void>(logging->runPostureCheckFromDocumentString("{}"));
    static_cast<void>(quiet->runPostureCheckFromDocumentString("{}"));
    expectLogged(logger->take(), {});
}

TEST(HostRunner, AnswersFromThisMachine) {
    const auto runner = VELPostureCheckRunner::macPostureCheckRunner(nullptr);
    const VELValue result = resultOf(*runner, R"({"identity_params": ["device_id"]})");
    EXPECT_TRUE(result["identity_params"].contains("device_id"));
    EXPECT_GE(result["metrics"]["total_ms"].get<double>(), 0.0);
    const double before = runner->getTimestamp();
    const double after = runner->getTimestamp();
    EXPECT_GT(before, 0.0);
    EXPECT_GE(after, before);
}

} // namespace
