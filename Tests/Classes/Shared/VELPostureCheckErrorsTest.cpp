// SPDX-License-Identifier: Apache-2.0
#include "vel_device_trust/VELPostureCheckErrors.h"
#include "Classes/Shared/VELDTLogger.h"
#include "Tests/Support/RecordingLogger.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

TEST(SetPostureCheckError, StoresTheErrorThenLogsIt) {
    const auto logger = std::make_shared<RecordingLogger>();
    VELDTLogger::setLogger(logger);
    std::optional<VELError> error;
    SetPostureCheckError(&error, VELPostureCheckErrorGeneral, "Error getting firewall state.");
    VELDTLogger::setLogger(nullptr);

    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), "com.vel.posturecheck");
    EXPECT_EQ(error->code(), 0);
    EXPECT_EQ(error->userInfo(), VELValue::parse(R"({
        "com.vel.posturecheck.unlocalized-description": "Error getting firewall state."})"));
    const std::vector<LogLine> expected = {
        {3,
         "Error: Error Domain=com.vel.posturecheck Code=0 UserInfo="
         R"({"com.vel.posturecheck.unlocalized-description":"Error getting firewall state."})",
         "SetPostureCheckError"}};
    EXPECT_EQ(logger->take(), expected);
}

} // namespace
