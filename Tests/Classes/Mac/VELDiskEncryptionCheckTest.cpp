// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELDiskEncryptionCheck.h"
#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Classes/Shared/VELDTLogger.h"
#include "Platform/Simulated/VELSimulatedPlatform.h"
#include "Tests/Support/PropertyListText.h"
#include "Tests/Support/RecordingLogger.h"
#include "Tests/Support/StatusFile.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using Lines = std::vector<LogLine>;

const LogLine noSession = {1, "Failed to create session",
                           "-[VELFileVaultEncryptionCheck allInternalOrBootVolumesEncrypted]"};

LogLine passedBy(const std::string& className) {
    return {1, "Kind of disk encryption check passed: " + className,
            "-[VELDiskEncryptionCheck runCheckWithParameters:error:]"};
}

LogLine ofCheckpoint(const std::string& message) {
    return {1, message, "-[VELCheckpointEncryptionCheck isCheckpointEncryptionEnabled:]"};
}

class DiskEncryptionCheck : public ::testing::Test {
protected:
    void SetUp() override { VELDTLogger::setLogger(logger); }
    void TearDown() override { VELDTLogger::setLogger(nullptr); }

    void failScan() { platform->disks.sessionAvailable = false; }
    void keepStatus(const VELValue& status) {
        platform->fileStore.contents[statusFile] = propertyListXML(status);
    }

    bool check(const VELDictionary& parameters = VELValue::object()) {
        return VELDiskEncryptionCheck(platform).runCheckWithParameters(parameters, &error);
    }

    std::shared_ptr<VELSimulatedPlatform> platform = std::make_shared<VELSimulatedPlatform>();
    std::shared_ptr<RecordingLogger> logger = std::make_shared<RecordingLogger>();
    std::optional<VELError> error;
};

TEST_F(DiskEncryptionCheck, AScanThatPassesDecidesAndTheStatusFileIsNotLookedAt) {
    keepStatus({{"encryptionState", "0"}});
    EXPECT_TRUE(check());
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), (Lines{passedBy("VELFileVaultEncryptionCheck")}));
    EXPECT_EQ(platform->fileStore.existsCalls, 0U);
    EXPECT_EQ(platform->fileStore.readCalls, 0U);
}

TEST_F(DiskEncryptionCheck, TheStatusFileDecidesWhenTheScanFails) {
    failScan();
    keepStatus({{"encryptionState", "1,1"}});
    EXPECT_TRUE(check());
    EXPECT_FALSE(error);
    EXPECT_EQ(
        logger->take(),
        (Lines{noSession, ofCheckpoint(R"(Encryption status file: {"encryptionState":"1,1"})"),
               passedBy("VELCheckpointEncryptionCheck")}));
}

TEST_F(DiskEncryptionCheck, NoMethodThatPassesIsAPlainNo) {
    failScan();
    EXPECT_FALSE(check());
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), (Lines{noSession, ofCheckpoint("Status file deosn't exist!")}));
    keepStatus({{"encryptionState", "1,0"}});
    EXPECT_FALSE(check());
    EXPECT_FALSE(error);
    EXPECT_EQ(
        logger->take(),
        (Lines{noSession, ofCheckpoint(R"(Encryption status file: {"encryptionState":"1,0"})"),
               ofCheckpoint("Index of failing individualDiskEncryptionState 1")}));
}

TEST_F(DiskEncryptionCheck, AStatusFileWithoutTheStateIsCode11) {
    failScan();
    keepStatus(VELValue::object());
    EXPECT_FALSE(check());
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), 11);
    EXPECT_EQ(error->message(),
              "Checkpoint encryption status file was not in the expected format.");
    EXPECT_EQ(logger->take(),
              (Lines{noSession,
                     ofCheckpoint("Encryption status file: {}"),
                     {3,
                      "Error: Error Domain=com.vel.posturecheck Code=11 UserInfo="
                      R"({"com.vel.posturecheck.unlocalized-description":)"
                      R"("Checkpoint encryption status file was not in the expected format."})",
                      "SetPostureCheckError"}}));
}

TEST_F(DiskEncryptionCheck, APassClearsAnErrorThatStoodThere) {
    error = VELError("earlier", 7, {});
    EXPECT_TRUE(check());
    EXPECT_FALSE(error);
    failScan();
    keepStatus({{"encryptionState", "1"}});
    error = VELError("earlier", 7, {});
    EXPECT_TRUE(check());
    EXPECT_FALSE(error);
}

TEST_F(DiskEncryptionCheck, APlainNoLeavesAnErrorAsItStood) {
    failScan();
    error = VELError("earlier", 7, {});
    EXPECT_FALSE(check());
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), "earlier");
    EXPECT_EQ(error->code(), 7);
}

TEST_F(DiskEncryptionCheck, NeedsNoErrorOutParameter) {
    const VELDiskEncryptionCheck diskEncryption(platform);
    EXPECT_TRUE(diskEncryption.runCheckWithParameters(VELValue::object(), nullptr));
    EXPECT_EQ(logger->take(), (Lines{passedBy("VELFileVaultEncryptionCheck")}));
    failScan();
    keepStatus(VELValue::object());
    EXPECT_FALSE(diskEncryption.runCheckWithParameters(VELValue::object(), nullptr));
    EXPECT_EQ(logger->take(), (Lines{noSession, ofCheckpoint("Encryption status file: {}")}));
    keepStatus({{"encryptionState", "1"}});
    EXPECT_TRUE(diskEncryption.runCheckWithParameters(VELValue::object(), nullptr));
}

TEST_F(DiskEncryptionCheck, ParametersDoNotMatter) {
    EXPECT_EQ(VELDiskEncryptionCheck(platform).requiredParameters(), std::nullopt);
    for (const char* parameters : {"{}", R"({"pass": false, "encryptionState": "1"})"}) {
        platform->disks.sessionAvailable = true;
        EXPECT_TRUE(check(VELValue::parse(parameters)));
        failScan();
        EXPECT_FALSE(check(VELValue::parse(parameters)));
    }
}

TEST_F(DiskEncryptionCheck, IsInTheCatalogue) {
    const auto runner = VELPlatformRunnerFactory::macPostureCheckRunner(logger, platform);
    const auto resultOf = [&runner] {
        VELValue result = VELValue::parse(runner->runPostureCheckFromDocumentString(
            R"({"mac": [{"type": "fullDiskEncryption"}]})"));
        result.erase("metrics");
        return result.dump();
    };
    EXPECT_EQ(resultOf(), R"({"checks":[{"pass":true,"type":"fullDiskEncryption"}],"pass":true})");
    failScan();
    EXPECT_EQ(resultOf(),
              R"({"checks":[{"pass":false,"type":"fullDiskEncryption"}],"pass":false})");
    keepStatus(VELValue::object());
    EXPECT_EQ(resultOf(),
              R"({"checks":[{"error":"Checkpoint encryption status file was not in the expected )"
              R"(format.","type":"fullDiskEncryption"}],"pass":false})");
}

} // namespace
