// SPDX-License-Identifier: Apache-2.0
//
// What the stand-ins for the Mac's services refuse, and where CoreFoundation has its own ways.
#include "Tests/Platform/Apple/StandIns/StandInCoreFoundation.h"
#include "Tests/Platform/Apple/StandIns/StandInMac.h"
#include "Tests/Platform/Apple/StandIns/StandInValues.h"

#include <IOKit/IOKitLib.h>
#include <Security/Security.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

namespace {

using Types = std::vector<std::string>;

class StandInsDeathTest : public ::testing::Test {
protected:
    StandInsDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
    StandInMac mac;
};

TEST_F(StandInsDeathTest, EndTheProgramAtAReferenceThatIsNone) {
    EXPECT_DEATH(CFRelease(nullptr), "stand-in: release of NULL");
    EXPECT_DEATH(CFRetain(nullptr), "stand-in: retain of NULL");
    EXPECT_DEATH(CFGetTypeID(nullptr), "stand-in: use of NULL");
    const int noObject = 0;
    EXPECT_DEATH(CFRelease(&noObject), "stand-in: release of what is no object");
}

TEST_F(StandInsDeathTest, EndTheProgramAtADeadObject) {
    const CFStringRef string = standin::copyString("text");
    CFRetain(string);
    CFRelease(string);
    EXPECT_EQ(StandInMac::leftAlive(), Types({"CFString"}));
    CFRelease(string);
    EXPECT_EQ(StandInMac::leftAlive(), Types());
    EXPECT_DEATH(CFRelease(string), "stand-in: release of a dead CFString");
    EXPECT_DEATH(CFRetain(string), "stand-in: retain of a dead CFString");
    EXPECT_DEATH(CFStringGetLength(string), "stand-in: use of a dead CFString");
}

TEST_F(StandInsDeathTest, EndTheProgramAtTheReleaseOfWhatIsOnlyBorrowed) {
    const auto releaseBorrowed = [] {
        const CFTypeRef array = standin::copyValue(VELValue::array({"text"}));
        CFRelease(CFArrayGetValueAtIndex(static_cast<CFArrayRef>(array), 0));
        CFRelease(array);
    };
    EXPECT_DEATH(releaseBorrowed(), "stand-in: release of a dead CFString");
}

TEST_F(StandInsDeathTest, EndTheProgramAtACastToAnotherType) {
    const CFTypeRef number = standin::copyValue(VELValue(1));
    EXPECT_DEATH(CFStringGetLength(static_cast<CFStringRef>(number)),
                 "stand-in: a CFNumber where a CFString belongs");
    EXPECT_DEATH(CFNumberIsFloatType(static_cast<CFNumberRef>(CFRetain(kCFBooleanTrue))),
                 "stand-in: a CFBoolean where a CFNumber belongs");
    CFRelease(number);
}

TEST_F(StandInsDeathTest, CountTheReferencesOfConstants) {
    EXPECT_DEATH(CFRelease(CFSTR("constant")), "stand-in: release of a constant CFString");
    EXPECT_DEATH(CFRelease(kCFNull), "stand-in: release of a constant CFNull");
    CFRetain(kCFBooleanTrue);
    EXPECT_EQ(StandInMac::leftAlive(), Types({"CFBoolean"}));
    CFRelease(kCFBooleanTrue);
    EXPECT_EQ(StandInMac::leftAlive(), Types());
    EXPECT_EQ(CFSTR("constant"), CFSTR("constant"));
}

TEST_F(StandInsDeathTest, EndTheProgramAtAPortThatIsNone) {
    const io_service_t expert = IOServiceGetMatchingService(
        kIOMainPortDefault, IOServiceMatching("IOPlatformExpertDevice"));
    EXPECT_EQ(StandInMac::leftAlive(), Types({"io_object_t"}));
    EXPECT_EQ(IOObjectRelease(expert), KERN_SUCCESS);
    EXPECT_EQ(StandInMac::leftAlive(), Types());
    EXPECT_DEATH(IOObjectRelease(expert), "stand-in: release of what is no io_object_t");
    EXPECT_DEATH(IOObjectRelease(IO_OBJECT_NULL), "stand-in: release of what is no io_object_t");
}

TEST_F(StandInsDeathTest, ConsumeTheDictionaryThatAServiceIsMatchedBy) {
    const CFMutableDictionaryRef matching = IOServiceMatching("IONoSuchDevice");
    EXPECT_EQ(IOServiceGetMatchingService(kIOMainPortDefault, matching), IO_OBJECT_NULL);
    EXPECT_EQ(StandInMac::leftAlive(), Types());
    EXPECT_DEATH(CFRelease(matching), "stand-in: release of a dead CFDictionary");
    EXPECT_EQ(IOServiceGetMatchingService(kIOMainPortDefault, nullptr), IO_OBJECT_NULL);
}

TEST_F(StandInsDeathTest, EndTheProgramAtAContainerThatDoesNotRetain) {
    const void* value = kCFNull;
    EXPECT_DEATH(CFArrayCreate(kCFAllocatorDefault, &value, 1, nullptr),
                 "stand-in: a container that does not retain what it holds");
}

TEST_F(StandInsDeathTest, AnswerForOneMacAtATime) {
    EXPECT_DEATH(StandInMac(), "stand-in: a second Mac");
}

struct Conversions {
    bool isSame;
    std::int64_t integer;
    bool isSameAsDouble;
    double real;
};

Conversions conversionsOf(const CFNumberRef number) {
    Conversions values = {};
    values.isSame = CFNumberGetValue(number, kCFNumberSInt64Type, &values.integer);
    values.isSameAsDouble = CFNumberGetValue(number, kCFNumberDoubleType, &values.real);
    CFRelease(number);
    return values;
}

CFNumberRef numberOf(const VELValue& value) {
    return static_cast<CFNumberRef>(standin::copyValue(value));
}

TEST(StandInNumbers, WrapBeyond64BitsWithSignAndSayThatTheyAreTheSame) {
    const Conversions most = conversionsOf(standin::makeLargeNumber(UINT64_MAX));
    EXPECT_TRUE(most.isSame);
    EXPECT_EQ(most.integer, -1);
    EXPECT_FALSE(most.isSameAsDouble);
    EXPECT_EQ(most.real, 0x1p64);
    const Conversions large = conversionsOf(standin::makeLargeNumber(std::uint64_t{1} << 63U));
    EXPECT_TRUE(large.isSame);
    EXPECT_EQ(large.integer, INT64_MIN);
    EXPECT_TRUE(large.isSameAsDouble);
    EXPECT_EQ(large.real, 0x1p63);
}

TEST(StandInNumbers, SayWhetherAConversionKeepsThem) {
    const Conversions largest = conversionsOf(numberOf(INT64_MAX));
    EXPECT_TRUE(largest.isSame);
    EXPECT_EQ(largest.integer, INT64_MAX);
    EXPECT_FALSE(largest.isSameAsDouble);
    const Conversions half = conversionsOf(numberOf(-1.5));
    EXPECT_FALSE(half.isSame);
    EXPECT_EQ(half.integer, -1);
    EXPECT_TRUE(half.isSameAsDouble);
    const Conversions whole = conversionsOf(numberOf(4.0));
    EXPECT_TRUE(whole.isSame);
    EXPECT_EQ(whole.integer, 4);
    const CFNumberRef wide = numberOf(std::int64_t{1} << 40U);
    std::int32_t narrow = -1;
    EXPECT_FALSE(CFNumberGetValue(wide, kCFNumberIntType, &narrow));
    EXPECT_EQ(narrow, 0);
    CFRelease(wide);
}

TEST(StandInStrings, AreUnitsOfUTF16) {
    const CFStringRef string = standin::copyString("\uFEFFa\u00FC\u6F22\U0001F600");
    EXPECT_EQ(CFStringGetLength(string), 5) << "a byte order mark is dropped, a pair is two";
    EXPECT_EQ(standin::textOf(string), "a\u00FC\u6F22\U0001F600");
    CFRelease(string);
    EXPECT_EQ(standin::copyString("\xC3"), nullptr);
    EXPECT_EQ(standin::copyString("\xED\xA0\x80"), nullptr);
}

TEST(StandInStrings, AreConvertedUpToHalfAPair) {
    const UniChar units[] = {'a', 0xD83D, 'b'};
    const CFStringRef string =
        CFStringCreateWithCharacters(kCFAllocatorDefault, units, std::size(units));
    CFIndex used = -1;
    UInt8 bytes[8] = {};
    EXPECT_EQ(CFStringGetBytes(string, CFRangeMake(0, 3), kCFStringEncodingUTF8, 0, false, bytes,
                               std::size(bytes), &used),
              1);
    EXPECT_EQ(used, 1);
    CFRelease(string);
}

TEST(StandInPreferences, ReadATextThatIsWhollyAnInteger) {
    StandInMac mac;
    const auto integer = [&](const VELValue& value) {
        mac.described.preferenceStore.machine["app"]["key"] = value;
        Boolean isValid = 7;
        const CFIndex found = CFPreferencesGetAppIntegerValue(CFSTR("key"), CFSTR("app"), &isValid);
        return isValid != 0 ? std::to_string(found) : "invalid " + std::to_string(found);
    };
    EXPECT_EQ(integer("1"), "1");
    EXPECT_EQ(integer(" \t-12"), "-12");
    EXPECT_EQ(integer("+3"), "3");
    EXPECT_EQ(integer("1099511627776"), "2147483647");
    EXPECT_EQ(integer("-99999999999999999999"), "-2147483648");
    for (const VELValue& value : {VELValue("1x"), VELValue(""), VELValue("1 "), VELValue("0x1"),
                                  VELValue(true), VELValue(1.0), VELValue::array({1})}) {
        EXPECT_EQ(integer(value), "invalid 0") << value;
    }
    EXPECT_EQ(integer(INT64_MAX), "9223372036854775807");
    EXPECT_EQ(integer(std::uint64_t{1} << 63U), "-9223372036854775808");
}

TEST(StandInKeychain, RefusesQueriesOfAnotherForm) {
    StandInMac mac;
    CFTypeRef result = nullptr;
    const auto query = [](const VELValue& entries) {
        return static_cast<CFDictionaryRef>(standin::copyValue(entries));
    };
    const VELValue certificates = {
        {"kSecClass", "kSecClassCertificate"}, {"kSecMatchLimit", 1000}, {"kSecReturnData", true}};
    const CFDictionaryRef good = query(certificates);
    EXPECT_EQ(SecItemCopyMatching(good, &result), errSecItemNotFound);
    CFRelease(good);
    for (const auto& [key, value] :
         std::vector<std::pair<std::string, VELValue>>{{"kSecReturnData", false},
                                                       {"kSecMatchLimit", 0},
                                                       {"kSecMatchLimit", "kSecMatchLimitAll"},
                                                       {"kSecClass", "kSecClassIdentity"},
                                                       {"kSecReturnRef", true}}) {
        VELValue changed = certificates;
        changed[key] = value;
        const CFDictionaryRef wrong = query(changed);
        EXPECT_EQ(SecItemCopyMatching(wrong, &result), errSecParam) << changed;
        CFRelease(wrong);
    }
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(StandInMac::leftAlive(), Types());
}

} // namespace
