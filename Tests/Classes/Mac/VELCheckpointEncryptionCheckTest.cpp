// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELCheckpointEncryptionCheck.h"
#include "Classes/Shared/VELDTLogger.h"
#include "Platform/Simulated/VELSimulatedPlatform.h"
#include "Tests/Support/PropertyListText.h"
#include "Tests/Support/RecordingLogger.h"
#include "Tests/Support/StatusFile.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using Lines = std::vector<LogLine>;

constexpr const char* function = "-[VELCheckpointEncryptionCheck isCheckpointEncryptionEnabled:]";

const LogLine formatError = {
    3,
    "Error: Error Domain=com.vel.posturecheck Code=11 UserInfo="
    R"({"com.vel.posturecheck.unlocalized-description":)"
    R"("Checkpoint encryption status file was not in the expected format."})",
    "SetPostureCheckError"};

LogLine information(const std::string& message) {
    return {1, message, function};
}

class CheckpointEncryptionCheck : public ::testing::Test {
protected:
    void SetUp() override { VELDTLogger::setLogger(_logger); }
    void TearDown() override { VELDTLogger::setLogger(nullptr); }

    VELSimulatedFiles& files() { return _platform->fileStore; }

    bool check() {
        error.reset();
        const bool passes = VELCheckpointEncryptionCheck(_platform).runCheckWithParameters(
            VELValue::parse(R"({"type": "fullDiskEncryption"})"), &error);
        lines = _logger->take();
        return passes;
    }

    bool checkOf(std::optional<std::string> bytes) {
        files().contents[statusFile] = std::move(bytes);
        return check();
    }

    /// The answer for a status file with this state; the line that names it is checked.
    bool checkOfState(const std::string& state) {
        const bool passes = checkOf(propertyListXML({{"encryptionState", state}}));
        EXPECT_FALSE(error) << state;
        EXPECT_EQ(lines.at(0), information("Encryption status file: " +
                                           VELValue{{"encryptionState", state}}.dump()));
        return passes;
    }

    void expectFormatError(const std::string& loggedFile) {
        ASSERT_TRUE(error);
        EXPECT_EQ(error->domain(), "com.vel.posturecheck");
        EXPECT_EQ(error->code(), 11);
        EXPECT_EQ(
            error->userInfo(),
            (VELDictionary{{"com.vel.posturecheck.unlocalized-description",
                            "Checkpoint encryption status file was not in the expected format."}}));
        EXPECT_EQ(lines,
                  (Lines{information("Encryption status file: " + loggedFile), formatError}));
    }

    std::optional<VELError> error;
    Lines lines;

private:
    std::shared_ptr<VELSimulatedPlatform> _platform = std::make_shared<VELSimulatedPlatform>();
    std::shared_ptr<RecordingLogger> _logger = std::make_shared<RecordingLogger>();
};

TEST_F(CheckpointEncryptionCheck, WithoutAStatusFileTheAnswerIsNo) {
    EXPECT_FALSE(check());
    EXPECT_FALSE(error);
    EXPECT_EQ(lines, (Lines{information("Status file deosn't exist!")}));
    EXPECT_EQ(files().existsCalls, 1U);
    EXPECT_EQ(files().readCalls, 0U);
}

TEST_F(CheckpointEncryptionCheck, PassesWhenEveryStateIsOne) {
    for (const char* state : {"1", "1,1,1", "1, 1", " 1,\t1,\n 1", "01", "1.5", "+1", "1x", "1 2",
                              "00000000000000000000001"}) {
        EXPECT_TRUE(checkOfState(state)) << state;
        EXPECT_EQ(lines.size(), 1U) << state;
    }
    EXPECT_EQ(files().readCalls, 10U);
}

TEST_F(CheckpointEncryptionCheck, FailsAtTheFirstStateThatIsNotOne) {
    struct Failing {
        const char* state;
        const char* index;
    };
    const Failing failing[] = {
        {"1,0", "1"},
        {"0,1", "0"},
        {"", "0"},
        {"1,", "1"},
        {"1,,1", "1"},
        {"2", "0"},
        {"-1", "0"},
        {"10", "0"},
        {"1,1,1,x,0", "3"},
        {",", "0"},
        {"one", "0"},
        {"1;1,0", "1"},
        {"x1", "0"},
        {"+ 1", "0"},
        {"--1", "0"},
        {"0x1", "0"},
        {"1,1,4294967297", "2"},
        {"18446744073709551617", "0"},
    };
    for (const auto& [state, index] : failing) {
        EXPECT_FALSE(checkOfState(state)) << state;
        ASSERT_EQ(lines.size(), 2U) << state;
        EXPECT_EQ(lines[1], information("Index of failing individualDiskEncryptionState " +
                                        std::string(index)))
            << state;
    }
}

TEST_F(CheckpointEncryptionCheck, AFileThatIsNoPropertyListIsCode11) {
    for (const std::string bytes :
         {"", "encryptionState=1", "{\"encryptionState\": \"1\"}", "<plist><dict>", "bplist00"}) {
        EXPECT_FALSE(checkOf(bytes)) << bytes;
        expectFormatError("(null)");
    }
}

TEST_F(CheckpointEncryptionCheck, AFileThatCannotBeReadIsCode11) {
    EXPECT_FALSE(checkOf(std::nullopt));
    expectFormatError("(null)");
}

TEST_F(CheckpointEncryptionCheck, ARootThatIsNoDictionaryIsCode11) {
    for (const VELValue& root : {VELValue::array({"1"}), VELValue("1"), VELValue(1)}) {
        EXPECT_FALSE(checkOf(propertyListXML(root)));
        expectFormatError("(null)");
    }
}

TEST_F(CheckpointEncryptionCheck, ADictionaryWithoutTheStateIsCode11) {
    EXPECT_FALSE(checkOf(propertyListXML(VELValue::object())));
    expectFormatError("{}");
    EXPECT_FALSE(checkOf(propertyListXML({{"EncryptionState", "1"}, {"version", 3}})));
    expectFormatError(R"({"EncryptionState":"1","version":3})");
}

TEST_F(CheckpointEncryptionCheck, AStateThatIsNoTextIsCode11) {
    for (const VELValue& state :
         {VELValue(1), VELValue(1.5), VELValue(true), VELValue::array({"1"}), VELValue::object()}) {
        EXPECT_FALSE(checkOf(propertyListXML({{"encryptionState", state}})));
        expectFormatError(R"({"encryptionState":)" + state.dump() + "}");
    }
}

TEST_F(CheckpointEncryptionCheck, ABinaryStatusFileIsReadAlike) {
    // {"encryptionState": "1,0"}
    const std::string bytes("bplist00\xD1\x01\x02\x5F\x10\x0F"
                            "encryptionStateS1,0"
                            "\x08\x0B\x1D"
                            "\0\0\0\0\0\0\x01\x01\0\0\0\0\0\0\0\x03\0\0\0\0\0\0\0\0"
                            "\0\0\0\0\0\0\0\x21",
                            8 + 3 + 3 + 15 + 4 + 3 + 32);
    EXPECT_FALSE(checkOf(bytes));
    EXPECT_FALSE(error);
    EXPECT_EQ(lines, (Lines{information(R"(Encryption status file: {"encryptionState":"1,0"})"),
                            information("Index of failing individualDiskEncryptionState 1")}));
}

TEST_F(CheckpointEncryptionCheck, TheWholeFileIsLogged) {
    EXPECT_TRUE(checkOf(
        propertyListXML({{"encryptionState", "1"}, {"disks", VELValue::array({"disk0", "Öl"})}})));
    EXPECT_EQ(lines,
              (Lines{information(
                  R"(Encryption status file: {"disks":["disk0","Öl"],"encryptionState":"1"})")}));
}

TEST_F(CheckpointEncryptionCheck, NeedsNoErrorOutParameter) {
    const auto platform = std::make_shared<VELSimulatedPlatform>();
    const auto logger = std::make_shared<RecordingLogger>();
    VELDTLogger::setLogger(logger);
    platform->fileStore.contents[statusFile] = "no property list";
    EXPECT_FALSE(VELCheckpointEncryptionCheck(platform).isCheckpointEncryptionEnabled(nullptr));
    EXPECT_EQ(logger->take(), (Lines{information("Encryption status file: (null)")}));
}

TEST_F(CheckpointEncryptionCheck, AnErrorOfTheCallerIsLeftAloneUnlessItIsItsOwn) {
    const VELError earlier("earlier", 7, {});
    const auto platform = std::make_shared<VELSimulatedPlatform>();
    const VELCheckpointEncryptionCheck checkpoint(platform);
    std::optional<VELError> kept = earlier;
    EXPECT_FALSE(checkpoint.isCheckpointEncryptionEnabled(&kept));
    EXPECT_EQ(kept->domain(), "earlier");
    platform->fileStore.contents[statusFile] = propertyListXML({{"encryptionState", "1,0"}});
    EXPECT_FALSE(checkpoint.isCheckpointEncryptionEnabled(&kept));
    EXPECT_EQ(kept->domain(), "earlier");
    platform->fileStore.contents[statusFile] = propertyListXML({{"encryptionState", "1"}});
    EXPECT_TRUE(checkpoint.isCheckpointEncryptionEnabled(&kept));
    EXPECT_EQ(kept->domain(), "earlier");
    platform->fileStore.contents[statusFile] = propertyListXML(VELValue::object());
    EXPECT_FALSE(checkpoint.isCheckpointEncryptionEnabled(&kept));
    EXPECT_EQ(kept->code(), 11);
}

} // namespace
