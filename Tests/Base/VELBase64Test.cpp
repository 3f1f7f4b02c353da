// SPDX-License-Identifier: Apache-2.0
#include "Base/VELBase64.h"

#include <gtest/gtest.h>

#include <array>
#include <utility>

namespace {

using vel::base64Text;
using vel::bytesOfBase64;

constexpr std::array<std::pair<std::string_view, std::string_view>, 8> vectors = {{
    {"", ""},
    {"f", "Zg=="},
    {"fo", "Zm8="},
    {"foo", "Zm9v"},
    {"foob", "Zm9vYg=="},
    {"fooba", "Zm9vYmE="},
    {"foobar", "Zm9vYmFy"},
    {"\xFB\xEF\xBE\xFF\xFF\xFF", "++++////"},
}};

TEST(Base64, GoesBothWays) {
    for (const auto& [bytes, text] : vectors) {
        EXPECT_EQ(base64Text(bytes), text);
        EXPECT_EQ(bytesOfBase64(text), bytes);
    }
}

TEST(Base64, HoldsEveryByte) {
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte) {
        bytes += static_cast<char>(byte);
    }
    const std::string text = base64Text(bytes);
    EXPECT_EQ(text.size(), 344U);
    EXPECT_EQ(text.substr(0, 8), "AAECAwQF");
    EXPECT_EQ(text.substr(336), "/P3+/w==");
    EXPECT_EQ(bytesOfBase64(text), bytes);
}

TEST(Base64, LeavesWhiteSpaceOut) {
    EXPECT_EQ(bytesOfBase64(" \t\n\v\f\rZ m\n8 =\n"), "fo");
    EXPECT_EQ(bytesOfBase64(" \n"), "");
}

TEST(Base64, LeavesUnusedBitsOut) {
    EXPECT_EQ(bytesOfBase64("Zh=="), "f");
    EXPECT_EQ(bytesOfBase64("Zm9="), "fo");
}

TEST(Base64, RefusesWhatItIsNot) {
    for (const std::string_view text :
         {"Z", "Zg", "Zg=", "Zm8", "Zg===", "Z===", "====", "=", "Zg==Zg==", "Z=g=", "Zm8=Zm9v",
          "Zm9v====", "Zm9-", "Zm9_", "Zm9v!", "Zm9\xC3", "Zm9v\x80==="}) {
        EXPECT_EQ(bytesOfBase64(text), std::nullopt) << text;
    }
    EXPECT_EQ(bytesOfBase64(std::string_view("Zm\0v", 4)), std::nullopt);
}

TEST(Base64IgnoringUnknown, SkipsWhatIsOutsideTheAlphabet) {
    for (const auto& [bytes, text] : vectors) {
        EXPECT_EQ(vel::bytesOfBase64IgnoringUnknown(text), bytes);
    }
    for (const std::string_view text :
         {"Zm9vYg==", "Zm9v\nYg==\n", " Z m 9 v Y g = = ", "-Zm9v_Yg=!=", "Zm9v\xFF\x80Yg==",
          "Zm9vYg====", "Zm9vYh==", "Z\u00E4m9vYg=\u20AC="}) {
        EXPECT_EQ(vel::bytesOfBase64IgnoringUnknown(text), "foob") << text;
    }
    EXPECT_EQ(vel::bytesOfBase64IgnoringUnknown("Zm9v="), "foo");
    EXPECT_EQ(vel::bytesOfBase64IgnoringUnknown("Zm9v===="), "foo");
    EXPECT_EQ(vel::bytesOfBase64IgnoringUnknown(""), "");
    EXPECT_EQ(vel::bytesOfBase64IgnoringUnknown("-_ \n"), "");
}

TEST(Base64IgnoringUnknown, RefusesWhatIsCutShort) {
    for (const std::string_view text : {"AQIDBA", "AQIDBAU", "AAAAA", "AA=", "A", "A===", "=",
                                        "====", "-=", "AA==AAAA", "AAA=A"}) {
        EXPECT_EQ(vel::bytesOfBase64IgnoringUnknown(text), std::nullopt) << text;
    }
}

} // namespace
