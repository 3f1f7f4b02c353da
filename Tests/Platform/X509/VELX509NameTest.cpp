// SPDX-License-Identifier: Apache-2.0
#include "Platform/X509/VELX509Name.h"

#include "Platform/X509/VELDERReader.h"
#include "Tests/Support/AllocationCount.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace std::string_literals;
using namespace vel;
using namespace vel::x509;

const std::string commonName = "\x55\x04\x03";
const std::string organization = "\x55\x04\x0A";
const std::string organizationalUnit = "\x55\x04\x0B";
const std::string description = "\x55\x04\x0D";
const std::string country = "\x55\x04\x06";
const std::string emailAddress = "\x2A\x86\x48\x86\xF7\x0D\x01\x09\x01";

std::string attribute(const std::string& type, std::uint8_t tag, const std::string& value) {
    return der::element(der::sequence,
                        der::element(der::objectIdentifier, type) + der::element(tag, value));
}

std::string relativeName(const std::string& attributes) {
    return der::element(der::set, attributes);
}

std::string nameOf(const std::vector<std::string>& attributes) {
    std::string content;
    for (const std::string& one : attributes) {
        content += relativeName(one);
    }
    return der::element(der::sequence, content);
}

std::string nameOf(std::uint8_t tag, const std::string& value) {
    return nameOf({attribute(commonName, tag, value)});
}

using Names = std::optional<std::vector<std::string>>;

TEST(NormalizedName, FoldsPrintableStringsAlone) {
    const std::pair<std::string, std::string> folded[] = {
        {"Corp", "CORP"}, {"  a \t b  ", "A B"}, {"\tx\t", "X"},
        {"", ""},         {"   ", ""},           {"a-z 0.9 \xE4", "A-Z 0.9 \xE4"},
        {"a\nb", "A\nB"}};
    for (const auto& [value, normalized] : folded) {
        EXPECT_EQ(normalizedName(nameOf(der::printableString, value)),
                  nameOf(der::printableString, normalized));
        for (const std::uint8_t tag : {der::utf8String, der::ia5String, der::teletexString,
                                       der::bmpString, der::numericString}) {
            EXPECT_EQ(normalizedName(nameOf(tag, value)), nameOf(tag, value));
        }
    }
}

TEST(NormalizedName, WritesTheLengthsAnew) {
    // Two spaces less bring each length from two bytes down to one.
    const std::string value = "a  " + std::string(115, 'b');
    EXPECT_EQ(normalizedName(nameOf(der::printableString, value)),
              nameOf(der::printableString, "A " + std::string(115, 'B')));
}

TEST(NormalizedName, KeepsOrderAndEveryTypeOfAttribute) {
    const auto name = [](const std::string& first, const std::string& second) {
        return der::element(der::sequence,
                            relativeName(attribute(organization, der::printableString, first) +
                                         attribute(country, der::printableString, second)) +
                                relativeName(attribute(commonName, der::utf8String, "Mixed")));
    };
    EXPECT_EQ(normalizedName(name("zeta", "alpha")), name("ZETA", "ALPHA"));
}

TEST(NormalizedName, TheEmptyNameIsOne) {
    EXPECT_EQ(normalizedName("\x30\x00"s), "\x30\x00"s);
}

TEST(NormalizedName, IsAbsentForWhatIsNoName) {
    const std::string good = attribute(commonName, der::utf8String, "x");
    const std::string type = der::element(der::objectIdentifier, commonName);
    const std::string value = der::element(der::utf8String, "x");
    const std::pair<const char*, std::string> refused[] = {
        {"nothing", ""},
        {"no sequence", relativeName(good)},
        {"bytes that follow", nameOf({good}) + "x"},
        {"an empty relative name", nameOf({""})},
        {"no set", der::element(der::sequence, good)},
        {"no pair", nameOf({type + value})},
        {"no type", nameOf({der::element(der::sequence, value)})},
        {"an empty type", nameOf({attribute("", der::utf8String, "x")})},
        {"no value", nameOf({der::element(der::sequence, type)})},
        {"two values", nameOf({der::element(der::sequence, type + value + value)})},
        {"cut short", nameOf({good}).substr(0, nameOf({good}).size() - 1)},
    };
    for (const auto& [what, name] : refused) {
        EXPECT_EQ(normalizedName(name), std::nullopt) << what;
        EXPECT_EQ(commonNamesOfName(name), std::nullopt) << what;
        EXPECT_EQ(nameSummary(name).text, std::nullopt) << what;
    }
}

TEST(TextOfValue, DecodesEachTypeOfString) {
    const std::string latin1 = "b\xFC"
                               "cher";
    EXPECT_EQ(textOfValue(der::utf8String, "b\u00FCcher"), "b\u00FCcher");
    EXPECT_EQ(textOfValue(der::utf8String, latin1), std::nullopt);
    for (const std::uint8_t tag : {der::teletexString, der::videotexString, der::visibleString}) {
        EXPECT_EQ(textOfValue(tag, latin1), "b\u00FCcher");
    }
    for (const std::uint8_t tag : {der::printableString, der::ia5String, der::numericString}) {
        EXPECT_EQ(textOfValue(tag, "plain"), "plain");
        EXPECT_EQ(textOfValue(tag, latin1), std::nullopt);
    }
    EXPECT_EQ(textOfValue(der::bmpString, "\x00\x62\x20\xAC"s), "b\u20AC");
    EXPECT_EQ(textOfValue(der::bmpString, "\xD8\x3D\xDE\x00"s), "\U0001F600");
    for (const std::string& broken :
         {"\x00"s, "\xD8\x3D"s, "\xDE\x00\xD8\x3D"s, "\xD8\x3D\x00\x41"s}) {
        EXPECT_EQ(textOfValue(der::bmpString, broken), std::nullopt);
    }
    EXPECT_EQ(textOfValue(der::universalString, "\x00\x01\xF6\x00"s), "\U0001F600");
    EXPECT_EQ(textOfValue(der::universalString, "\x00\x11\x00\x00"s), std::nullopt);
    EXPECT_EQ(textOfValue(der::universalString, "\x00\x00\xD8\x00"s), std::nullopt);
    EXPECT_EQ(textOfValue(der::universalString, "\x00\x00\x41"s), std::nullopt);
    const std::string letter = "\x00\x00\x00\x41"s;
    EXPECT_EQ(textOfValue(der::universalString, letter + "\x00\x10\xFF\xFF"s), "A\U0010FFFF");
    EXPECT_EQ(textOfValue(der::universalString, letter + "\x00\x00\xD7\xFF"s), "A\uD7FF");
    EXPECT_EQ(textOfValue(der::universalString, letter + "\x00\x00\xE0\x00"s), "A\uE000");
    for (const std::string& refused :
         {"\x00\x11\x00\x00"s, "\x80\x00\x00\x41"s, "\x00\x00\xD8\x00"s, "\x00\x00\xDF\xFF"s}) {
        EXPECT_EQ(textOfValue(der::universalString, letter + refused), std::nullopt);
    }
    EXPECT_EQ(textOfValue(der::octetString, "x"), std::nullopt);
    EXPECT_EQ(textOfValue(der::integer, "1"), std::nullopt);
}

TEST(TextOfValue, LeavesOneFinalNULOutAndRefusesNoText) {
    EXPECT_EQ(textOfValue(der::printableString, "x\0"s), "x");
    EXPECT_EQ(textOfValue(der::utf8String, "x\0\0"s), "x\0"s);
    for (const std::uint8_t tag : {der::utf8String, der::printableString, der::teletexString,
                                   der::bmpString, der::universalString}) {
        EXPECT_EQ(textOfValue(tag, ""), std::nullopt);
    }
    EXPECT_EQ(textOfValue(der::ia5String, "\0"s), std::nullopt);
}

TEST(CommonNames, StandInTheOrderOfTheName) {
    EXPECT_EQ(commonNamesOfName(nameOf({attribute(commonName, der::utf8String, "first"),
                                        attribute(organization, der::utf8String, "between"),
                                        attribute(commonName, der::printableString, "second")})),
              Names({"first", "second"}));
    EXPECT_EQ(commonNamesOfName(nameOf({attribute(organization, der::utf8String, "x")})),
              Names(std::in_place));
    EXPECT_EQ(commonNamesOfName("\x30\x00"s), Names(std::in_place));
}

TEST(CommonNames, OneWithoutTextTakesAllAway) {
    EXPECT_EQ(commonNamesOfName(nameOf({attribute(commonName, der::utf8String, "good"),
                                        attribute(commonName, der::bmpString, "odd")})),
              std::nullopt);
}

TEST(NameSummary, TakesTheBestTypeAndJoinsItsValuesBackwards) {
    const std::string cn1 = attribute(commonName, der::utf8String, "a");
    const std::string cn2 = attribute(commonName, der::utf8String, "b");
    const std::string unit = attribute(organizationalUnit, der::utf8String, "unit");
    const std::string firm = attribute(organization, der::utf8String, "firm");
    const std::string land = attribute(country, der::printableString, "NL");
    const std::string about = attribute(description, der::utf8String, "about");
    const std::string mail = attribute(emailAddress, der::ia5String, "m@example.com");
    const std::string odd = attribute(commonName, der::bmpString, "odd");
    const std::pair<std::vector<std::string>, std::optional<std::string>> summaries[] = {
        {{cn1, unit, cn2, firm}, "b, a"},
        {{firm, unit, unit, land}, "unit, unit"},
        {{land, firm}, "firm"},
        {{land, mail}, "m@example.com, NL"},
        {{about, cn1}, "a (about)"},
        {{about, about, cn1}, "a (about, about)"},
        {{about, firm}, "firm"},
        {{about}, std::nullopt},
        {{odd, firm}, "firm"},
        {{odd}, std::nullopt},
        {{}, std::nullopt},
    };
    for (const auto& [attributes, text] : summaries) {
        EXPECT_EQ(nameSummary(nameOf(attributes)).text, text);
    }
    EXPECT_TRUE(nameSummary(nameOf({firm, cn1})).isCommonName);
    EXPECT_FALSE(nameSummary(nameOf({firm, unit})).isCommonName);
    EXPECT_EQ(nameSummary(nameOf({firm, mail})).emailAddress, "m@example.com");
    const std::string otherMail = attribute(emailAddress, der::ia5String, "n@example.com");
    EXPECT_EQ(nameSummary(nameOf({firm, mail, otherMail})).emailAddress, "m@example.com");
    EXPECT_EQ(nameSummary(nameOf({firm})).emailAddress, std::nullopt);
}

TEST(NameSummary, OfVeryManyTextsIsNotCopiedForEachOfThem) {
    // A name of 4 MB, whose list grows to its length in a few steps.
    constexpr std::size_t count = 320'000;
    const std::vector<std::string> attributes(count, attribute(commonName, der::utf8String, "a"));
    const std::string name = nameOf(attributes);
    const AllocationFailure afterSome(200, 100'000);
    EXPECT_EQ(nameSummary(name).text.value().size(), 3 * count - 2);
}

} // namespace
