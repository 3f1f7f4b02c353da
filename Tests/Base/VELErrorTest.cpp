// SPDX-License-Identifier: Apache-2.0
#include "vel_device_trust/VELError.h"

#include "Base/VELText.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <limits>

namespace {

constexpr const char* unlocalizedKey = "com.vel.posturecheck.unlocalized-description";

TEST(VELError, KeepsWhatItWasMadeOf) {
    const VELError error("domain", std::numeric_limits<std::int64_t>::min(), {{"key", 1}});
    const VELError copy = error; // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(copy.domain(), "domain");
    EXPECT_EQ(copy.code(), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(copy.userInfo(), VELValue({{"key", 1}}));
    EXPECT_EQ(copy.description(),
              R"(Error Domain=domain Code=-9223372036854775808 UserInfo={"key":1})");
}

TEST(VELError, WithLocalizedDescription) {
    const auto error = VELError::withLocalizedDescription("NSCocoaErrorDomain", 3840, "no JSON");
    EXPECT_EQ(error.domain(), "NSCocoaErrorDomain");
    EXPECT_EQ(error.code(), 3840);
    EXPECT_EQ(error.userInfo(), VELValue({{"NSLocalizedDescription", "no JSON"}}));
    EXPECT_EQ(error.message(), "no JSON");
    EXPECT_EQ(error.description(), "Error Domain=NSCocoaErrorDomain Code=3840 "
                                   R"(UserInfo={"NSLocalizedDescription":"no JSON"})");
}

TEST(VELError, TheLibrarysTextWinsOverTheLocalizedOne) {
    const VELError both("d", 1, {{unlocalizedKey, "ours"}, {"NSLocalizedDescription", "theirs"}});
    EXPECT_EQ(both.message(), "ours");
    const VELError empty("d", 1, {{unlocalizedKey, ""}, {"NSLocalizedDescription", "theirs"}});
    EXPECT_EQ(empty.message(), "");
}

TEST(VELError, ATextThatIsNoStringIsShownAsText) {
    const VELError number("d", 1, {{unlocalizedKey, 5}, {"NSLocalizedDescription", "theirs"}});
    EXPECT_EQ(number.message(), "5");
    const VELError null("d", 1, {{unlocalizedKey, nullptr}});
    EXPECT_EQ(null.message(), "null");
    const VELError localized("d", 1, {{"NSLocalizedDescription", VELValue::array({"x", true})}});
    EXPECT_EQ(localized.message(), R"(["x",true])");
}

TEST(VELError, AMessageIsAlwaysUTF8) {
    EXPECT_EQ(VELError("d", 1, {{unlocalizedKey, "/opt/\xFF/tool"}}).message(), "/opt/\uFFFD/tool");
    EXPECT_EQ(VELError::withLocalizedDescription("d", 1, "\xC3").message(), "\uFFFD");
}

TEST(VELError, WithoutTextTheMessageIsTheDescription) {
    const VELError empty("d", -7, VELValue::object());
    EXPECT_EQ(empty.message(), "Error Domain=d Code=-7 UserInfo={}");
    const VELError noDictionary("d", 0, nullptr);
    EXPECT_EQ(noDictionary.message(), "Error Domain=d Code=0 UserInfo=null");
}

TEST(VELError, ADescriptionIsAlwaysUTF8) {
    const VELError error("d\xFF", 1, {{"key", "\xFE"}});
    EXPECT_EQ(error.description(), "Error Domain=d\uFFFD Code=1 UserInfo={\"key\":\"\uFFFD\"}");
}

} // namespace
