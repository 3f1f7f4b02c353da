// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/NearMiss.h"

#include <gtest/gtest.h>

namespace {

using Name = std::optional<std::string>;

const std::vector<std::string> types = {"certificatePresent", "localFirewall", "minimumOSVersion",
                                        "perDeviceCertificatePresent"};

TEST(NearMiss, OverlooksLetterCaseAndSeparators) {
    EXPECT_EQ(nearestName("localfirewall", types), Name("localFirewall"));
    EXPECT_EQ(nearestName("LOCAL_FIREWALL", types), Name("localFirewall"));
    EXPECT_EQ(nearestName("local-fire wall", types), Name("localFirewall"));
}

TEST(NearMiss, OverlooksAFewSlips) {
    EXPECT_EQ(nearestName("localFirewal", types), Name("localFirewall"));
    EXPECT_EQ(nearestName("lcoalFierwall", types), Name("localFirewall"));
    EXPECT_EQ(nearestName("minOSVersion", types), Name("minimumOSVersion"));
    EXPECT_EQ(nearestName("shal", {"sha1", "type"}), Name("sha1"));
    EXPECT_EQ(nearestName("sha512", {"sha1", "type"}), Name());
    EXPECT_EQ(nearestName("comment", types), Name());
}

TEST(NearMiss, FindsAPartOfAName) {
    EXPECT_EQ(nearestName("firewall", types), Name("localFirewall"));
    EXPECT_EQ(nearestName("checkType", {"type"}), Name("type"));
    EXPECT_EQ(nearestName("macOS", {"mac"}), Name("mac"));
    EXPECT_EQ(nearestName("machine", {"mac"}), Name());
    EXPECT_EQ(nearestName("ma", {"mac"}), Name("mac"));
    EXPECT_EQ(nearestName("os", types), Name());
}

TEST(NearMiss, PrefersTheNearest) {
    EXPECT_EQ(nearestName("certificate", types), Name("certificatePresent"));
    EXPECT_EQ(nearestName("deviceCertificatePresent", types), Name("perDeviceCertificatePresent"));
}

TEST(NearMiss, IsNearToNothingWithoutLettersOrWithVeryMany) {
    EXPECT_EQ(nearestName("", types), Name());
    EXPECT_EQ(nearestName("--", types), Name());
    EXPECT_EQ(nearestName("localFirewall", {}), Name());
    EXPECT_EQ(nearestName("localFirewall" + std::string(60, ' '), types), Name());
    EXPECT_EQ(nearestName("\xff\xfe", types), Name());
}

} // namespace
