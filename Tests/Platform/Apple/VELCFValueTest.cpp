// SPDX-License-Identifier: Apache-2.0
#include "Platform/Apple/VELCFValue.h"

#include "Tests/Platform/Apple/StandIns/StandInCoreFoundation.h"
#include "Tests/Platform/Apple/StandIns/StandInMac.h"
#include "Tests/Platform/Apple/StandIns/StandInValues.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

namespace {

using Found = std::optional<VELValue>;

/// What becomes of an object, which is released then.
Found converted(CFTypeRef object) {
    Found value = vel::valueOfObject(object);
    CFRelease(object);
    return value;
}

CFStringRef halfAPair() {
    const UniChar units[] = {'a', 0xDC00};
    return CFStringCreateWithCharacters(kCFAllocatorDefault, units, std::size(units));
}

CFTypeRef listOf(CFTypeRef element) {
    const CFTypeRef list = CFArrayCreate(kCFAllocatorDefault, &element, 1, &kCFTypeArrayCallBacks);
    CFRelease(element);
    return list;
}

CFTypeRef dictionaryOf(CFTypeRef key, CFTypeRef value) {
    const CFTypeRef dictionary =
        CFDictionaryCreate(kCFAllocatorDefault, &key, &value, 1, &kCFTypeDictionaryKeyCallBacks,
                           &kCFTypeDictionaryValueCallBacks);
    CFRelease(key);
    CFRelease(value);
    return dictionary;
}

class VELCFValueTest : public ::testing::Test {
protected:
    ~VELCFValueTest() override { EXPECT_EQ(StandInMac::leftAlive(), std::vector<std::string>()); }
};

TEST_F(VELCFValueTest, ValuesOfAPropertyListKeepTheirKinds) {
    const VELValue values[] = {"",
                               "text",
                               std::string("a\0b", 3),
                               "\u00FC\u6F22\U0001F600",
                               true,
                               false,
                               0,
                               -1,
                               0.5,
                               VELValue::array(),
                               VELValue::object(),
                               VELValue::parse(R"({"a": [1, "two", {"three": [true]}], "": 1.0})")};
    for (const VELValue& value : values) {
        const Found found = converted(standin::copyValue(value));
        ASSERT_TRUE(found) << value;
        EXPECT_EQ(found->dump(), value.dump());
    }
}

TEST_F(VELCFValueTest, IntegersOf64BitsStayExact) {
    using Signed = std::numeric_limits<std::int64_t>;
    for (const std::int64_t integer :
         {Signed::min(), Signed::min() + 1, std::int64_t{-1}, std::int64_t{0}, std::int64_t{1},
          (std::int64_t{1} << 53U) + 1, Signed::max() - 1, Signed::max()}) {
        const Found found = converted(standin::copyValue(integer));
        EXPECT_EQ(found, Found(integer));
        EXPECT_TRUE(found->is_number_integer());
    }
    constexpr std::uint64_t beyond = std::uint64_t{1} << 63U;
    for (const std::uint64_t integer :
         {beyond, beyond + 1, std::numeric_limits<std::uint64_t>::max()}) {
        const Found found = converted(standin::makeLargeNumber(integer));
        EXPECT_EQ(found, Found(integer));
        EXPECT_TRUE(found->is_number_unsigned());
    }
}

TEST_F(VELCFValueTest, WiderIntegersAreDoubles) {
    constexpr auto beyond = standin::WideInteger{1} << 64U;
    for (const auto& [integer, number] :
         {std::pair(beyond + 5, 0x1p64), std::pair(beyond + beyond / 2, 0x1.8p64),
          std::pair(-beyond - 1, -0x1p64)}) {
        const Found found = converted(standin::makeLargeNumber(integer));
        EXPECT_EQ(found, Found(number));
        EXPECT_TRUE(found->is_number_float());
    }
}

TEST_F(VELCFValueTest, FractionsAreDoublesAlsoWithoutAFraction) {
    for (const double number : {1.0, -0.1, 1e300, -1e-300, 0x1p63, -0x1p63}) {
        const Found found = converted(standin::copyValue(number));
        EXPECT_EQ(found, Found(number));
        EXPECT_TRUE(found->is_number_float());
    }
    EXPECT_TRUE(std::isnan(converted(standin::copyValue(NAN))->get<double>()));
    EXPECT_TRUE(std::isinf(converted(standin::copyValue(-INFINITY))->get<double>()));
}

TEST_F(VELCFValueTest, DatesAndDataAreTexts) {
    EXPECT_EQ(converted(CFDateCreate(kCFAllocatorDefault, 0)), Found("2001-01-01T00:00:00Z"));
    EXPECT_EQ(converted(CFDateCreate(kCFAllocatorDefault, 700'000'000)),
              Found("2023-03-08T20:26:40Z"));
    EXPECT_EQ(converted(CFDateCreate(kCFAllocatorDefault, 1e300)), std::nullopt);
    EXPECT_EQ(converted(CFDateCreate(kCFAllocatorDefault, NAN)), std::nullopt);
    EXPECT_EQ(converted(standin::copyData(std::string_view("\0\x01\xFF", 3))), Found("AAH/"));
    EXPECT_EQ(converted(standin::copyData("")), Found(""));
}

TEST_F(VELCFValueTest, WhatNoPropertyListHoldsIsAbsent) {
    EXPECT_EQ(vel::valueOfObject(nullptr), std::nullopt);
    EXPECT_EQ(vel::valueOfObject(kCFNull), std::nullopt);
    const UInt8 path[] = {'/'};
    EXPECT_EQ(
        converted(CFURLCreateFromFileSystemRepresentation(kCFAllocatorDefault, path, 1, true)),
        std::nullopt);
}

TEST_F(VELCFValueTest, HalfASurrogatePairIsNoText) {
    EXPECT_EQ(converted(halfAPair()), std::nullopt);
    const CFStringRef string = halfAPair();
    EXPECT_EQ(vel::textOfObject(string), std::nullopt);
    CFRelease(string);
}

TEST_F(VELCFValueTest, AContainerWithOneUnreadableValueIsAbsent) {
    EXPECT_EQ(converted(listOf(halfAPair())), std::nullopt);
    EXPECT_EQ(converted(listOf(CFRetain(kCFNull))), std::nullopt);
    EXPECT_EQ(converted(listOf(listOf(CFRetain(kCFNull)))), std::nullopt);
    EXPECT_EQ(converted(dictionaryOf(standin::copyString("key"), CFRetain(kCFNull))), std::nullopt);
    EXPECT_EQ(converted(dictionaryOf(halfAPair(), standin::copyString("value"))), std::nullopt);
    EXPECT_EQ(converted(dictionaryOf(standin::copyValue(VELValue(1)), standin::copyString("one"))),
              std::nullopt);
}

/// Lists in one another, `depth` of them.
CFTypeRef nested(int depth) {
    CFTypeRef object = standin::copyValue(VELValue::array());
    for (int level = 1; level < depth; ++level) {
        object = listOf(object);
    }
    return object;
}

TEST_F(VELCFValueTest, ContainersAreReadToTheDepthOfAPropertyList) {
    EXPECT_TRUE(converted(nested(512)));
    EXPECT_EQ(converted(nested(513)), std::nullopt);
}

TEST_F(VELCFValueTest, TextsAndBytesAreThoseOfTheirTypeAlone) {
    const CFStringRef string = standin::copyString("text");
    const CFDataRef data = standin::copyData("bytes");
    EXPECT_EQ(vel::textOfObject(string), "text");
    EXPECT_EQ(vel::textOfObject(data), std::nullopt);
    EXPECT_EQ(vel::textOfObject(nullptr), std::nullopt);
    EXPECT_EQ(vel::bytesOfObject(data), "bytes");
    EXPECT_EQ(vel::bytesOfObject(string), std::nullopt);
    EXPECT_EQ(vel::bytesOfObject(nullptr), std::nullopt);
    CFRelease(string);
    CFRelease(data);
}

TEST_F(VELCFValueTest, StringsAreMadeOfUTF8Alone) {
    EXPECT_FALSE(vel::stringOfText("\xFF"));
    EXPECT_EQ(vel::textOfObject(vel::stringOfText("a\u00FC").get()), "a\u00FC");
    EXPECT_EQ(vel::textOfObject(vel::stringOfText("").get()), "");
}

TEST_F(VELCFValueTest, ContainersAreMadeOfWhatIsThere) {
    EXPECT_FALSE(vel::arrayOfOne(nullptr));
    EXPECT_FALSE(vel::dictionaryOf({{CFSTR("key"), nullptr}}));
    EXPECT_FALSE(vel::dictionaryOf({{nullptr, kCFNull}}));
    const auto dictionary =
        vel::dictionaryOf({{CFSTR("a"), kCFBooleanTrue}, {CFSTR("b"), kCFNull}});
    EXPECT_EQ(standin::readable(dictionary.get()), VELValue({{"a", true}, {"b", nullptr}}));
}

TEST_F(VELCFValueTest, AnErrorKeepsDomainCodeAndText) {
    const CFTypeRef information = dictionaryOf(CFRetain(kCFErrorLocalizedDescriptionKey),
                                               standin::copyString("it is \u00FC"));
    const CFErrorRef error = CFErrorCreate(kCFAllocatorDefault, CFSTR("domain"), -67843,
                                           static_cast<CFDictionaryRef>(information));
    const VELError found = vel::errorOfObject(error);
    EXPECT_EQ(found.domain(), "domain");
    EXPECT_EQ(found.code(), -67843);
    EXPECT_EQ(found.userInfo(), VELValue({{"NSLocalizedDescription", "it is \u00FC"}}));
    CFRelease(error);
    CFRelease(information);
}

TEST_F(VELCFValueTest, NoErrorIsAnErrorOfItsOwn) {
    const VELError found = vel::errorOfObject(nullptr);
    EXPECT_EQ(found.domain(), "NSOSStatusErrorDomain");
    EXPECT_EQ(found.code(), -2070);
    EXPECT_EQ(found.userInfo(),
              VELValue({{"NSLocalizedDescription", "An internal component failed."}}));
}

} // namespace
