// SPDX-License-Identifier: Apache-2.0
#include "vel_device_trust/VELPostureCheckErrors.h"
#include "Tests/Support/EngineTest.h"
#include "Tests/Support/LogExpectations.h"
#include "vel_device_trust/vel_device_trust.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <limits>

namespace {

class SetPostureCheckErrorTest : public EngineTest {
protected:
    SetPostureCheckErrorTest() { VELDTLogger::setLogger(logger); }
};

TEST_F(SetPostureCheckErrorTest, StoresTheErrorThenLogsIt) {
    std::optional<VELError> error;
    SetPostureCheckError(&error, VELPostureCheckErrorGeneral, "Error getting firewall state.");
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), "com.vel.posturecheck");
    EXPECT_EQ(error->code(), 0);
    EXPECT_EQ(error->userInfo(), json(R"({
        "com.vel.posturecheck.unlocalized-description": "Error getting firewall state."})"));
    expectLogged(logger->take(), {logged::checkError(0, "Error getting firewall state.")});
}

/// Looks, when it is told something, whether the error stands already.
class ErrorWatchingLogger final : public VELHostLogger {
public:
    explicit ErrorWatchingLogger(const std::optional<VELError>& error) : _error(error) {}

    void logMessage(std::string_view, std::int64_t, const char*, const char*,
                    std::int32_t) noexcept override {
        seen = _error;
    }

    std::optional<VELError> seen;

private:
    const std::optional<VELError>& _error;
};

TEST_F(SetPostureCheckErrorTest, TheErrorIsStoredBeforeTheLogLine) {
    std::optional<VELError> error;
    const auto watching = std::make_shared<ErrorWatchingLogger>(error);
    VELDTLogger::setLogger(watching);
    SetPostureCheckError(&error, 5, "now");
    ASSERT_TRUE(watching->seen);
    EXPECT_EQ(watching->seen->message(), "now");
}

TEST_F(SetPostureCheckErrorTest, ReplacesWhatWasThere) {
    std::optional<VELError> error = VELError("other", 9, {{"k", "v"}});
    SetPostureCheckError(&error, std::numeric_limits<std::int64_t>::max(), "second");
    EXPECT_EQ(error->domain(), "com.vel.posturecheck");
    EXPECT_EQ(error->code(), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(error->message(), "second");
    EXPECT_EQ(error->userInfo().size(), 1U);
    EXPECT_FALSE(error->userInfo().contains("NSLocalizedDescription"));
}

TEST_F(SetPostureCheckErrorTest, MakesTheMessageUTF8) {
    std::optional<VELError> error;
    SetPostureCheckError(&error, 2, "Error launching task /opt/\xFF/tool: none");
    EXPECT_EQ(error->userInfo(), (VELDictionary{{kUnlocalizedDescriptionKey,
                                                 "Error launching task /opt/\uFFFD/tool: none"}}));
}

TEST_F(SetPostureCheckErrorTest, WithoutAnOutParameterNothingHappens) {
    SetPostureCheckError(nullptr, 7, "nobody hears this");
    expectLogged(logger->take(), {});
}

TEST_F(SetPostureCheckErrorTest, WithoutALoggerTheErrorIsStored) {
    VELDTLogger::setLogger(nullptr);
    std::optional<VELError> error;
    SetPostureCheckError(&error, 7, "quiet");
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), 7);
}

TEST(ExportedConstants, Values) {
    EXPECT_STREQ(kVELPostureCheckErrorDomain, "com.vel.posturecheck");
    EXPECT_STREQ(kUnlocalizedDescriptionKey, "com.vel.posturecheck.unlocalized-description");
    EXPECT_STREQ(kIDParams, "identity_params");
    EXPECT_STREQ(kMacSerialNumberKey, "device_serial_number");
    EXPECT_STREQ(kDeviceIDKey, "device_id");
    EXPECT_EQ(vel_device_trustVersionNumber, 1.0);
    EXPECT_STREQ(vel_device_trustVersionString, "vel_device_trust 1.0.0");
}

TEST(ExportedConstants, ErrorCodesAndLogLevels) {
    EXPECT_EQ(VELPostureCheckErrorGeneral, 0);
    EXPECT_EQ(VELPostureCheckErrorUnknownCheckType, 1);
    EXPECT_EQ(VELPostureCheckErrorTaskLaunch, 2);
    EXPECT_EQ(VELPostureCheckErrorTaskExitStatus, 3);
    EXPECT_EQ(VELPostureCheckErrorKeychain, 5);
    EXPECT_EQ(VELPostureCheckErrorMissingParameter, 6);
    EXPECT_EQ(VELPostureCheckErrorInvalidParameter, 7);
    EXPECT_EQ(VELPostureCheckErrorCodeSigningMismatch, 8);
    EXPECT_EQ(VELPostureCheckErrorStatusFileFormat, 11);
    EXPECT_EQ(VELLogLevel::trace, 0);
    EXPECT_EQ(VELLogLevel::information, 1);
    EXPECT_EQ(VELLogLevel::warning, 2);
    EXPECT_EQ(VELLogLevel::error, 3);
}

} // namespace
