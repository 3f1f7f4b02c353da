// SPDX-License-Identifier: Apache-2.0
#include "Platform/X509/VELDERReader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>

namespace {

using namespace std::string_literals;
namespace der = vel::der;

/// The length of the first element's content; nothing when there is none.
std::optional<std::size_t> lengthOfFirst(const std::string& bytes) {
    const auto element = der::Reader(bytes).next();
    return element ? std::optional(element->content.size()) : std::nullopt;
}

TEST(DERReader, ReadsOneElementAfterAnother) {
    const std::string bytes = "\x04\x01\x61\x30\x00\x9E\x02\x62\x63"s;
    der::Reader reader(bytes);
    EXPECT_FALSE(reader.next(der::sequence)) << "nothing is passed";
    const auto first = reader.next(der::octetString);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->tag, der::octetString);
    EXPECT_EQ(first->content, "a");
    EXPECT_EQ(first->whole, "\x04\x01\x61");
    EXPECT_EQ(reader.next().value().content, "");
    EXPECT_FALSE(reader.atEnd());
    EXPECT_EQ(reader.next(der::contextPrimitive(30)).value().content, "bc");
    EXPECT_TRUE(reader.atEnd());
    EXPECT_FALSE(reader.next());
    EXPECT_FALSE(reader.next(0));
}

TEST(DERReader, KnowsTagsOfOneByteAlone) {
    for (const char tag : {'\x1F', '\x3F', '\x5F', '\x7F', '\x9F', '\xBF', '\xDF', '\xFF'}) {
        EXPECT_EQ(lengthOfFirst(tag + "\x00"s), std::nullopt);
        EXPECT_EQ(lengthOfFirst(static_cast<char>(tag - 1) + "\x00"s), 0U);
    }
}

TEST(DERReader, KnowsLengthsInTheirShortestForm) {
    const auto length = [](const std::string& bytes, std::size_t content) {
        return lengthOfFirst("\x04" + bytes + std::string(content, 'a'));
    };
    EXPECT_EQ(length("", 0), std::nullopt);
    EXPECT_EQ(length("\x7F", 127), 127U);
    EXPECT_EQ(length("\x7F", 126), std::nullopt);
    EXPECT_EQ(length("\x80", 128), std::nullopt) << "an indefinite length";
    EXPECT_EQ(length("\x80\x00\x00"s, 0), std::nullopt);
    EXPECT_EQ(length("\x81", 0), std::nullopt);
    EXPECT_EQ(length("\x81\x7F", 127), std::nullopt);
    EXPECT_EQ(length("\x81\x80", 128), 128U);
    EXPECT_EQ(length("\x81\x80", 127), std::nullopt);
    EXPECT_EQ(length("\x81\xFF", 255), 255U);
    EXPECT_EQ(length("\x82\x00\xFF"s, 255), std::nullopt);
    EXPECT_EQ(length("\x82\x01\x00"s, 256), 256U);
    EXPECT_EQ(length("\x82\x01", 0), std::nullopt);
    EXPECT_EQ(length("\x83\x01\x00\x00"s, 0x10000), 0x10000U);
    EXPECT_EQ(length("\x84\x00\x01\x00\x00"s, 0x10000), std::nullopt);
    EXPECT_EQ(length("\x84\x01\x00\x00\x00"s, 0x1000000), 0x1000000U);
    EXPECT_EQ(length("\x84\xFF\xFF\xFF\xFF"s, 255), std::nullopt);
    EXPECT_EQ(length("\x85\x00\x00\x00\x00\x80"s, 128), std::nullopt);
    EXPECT_EQ(length("\x89\x01\x00\x00\x00\x00\x00\x00\x00\x80"s, 128), std::nullopt);
    EXPECT_EQ(length("\xFF\x80", 255), std::nullopt);
}

TEST(DERReader, ReadsBooleans) {
    EXPECT_EQ(der::booleanValue("\x00"s), false);
    EXPECT_EQ(der::booleanValue("\xFF"), true);
    for (const std::string& content : {""s, "\x01"s, "\xFE"s, "\x00\x00"s, "\xFF\xFF"s}) {
        EXPECT_EQ(der::booleanValue(content), std::nullopt);
    }
}

TEST(DERReader, ReadsNumbersOf32Bits) {
    EXPECT_EQ(der::unsignedValue("\x00"s), 0U);
    EXPECT_EQ(der::unsignedValue("\x01"), 1U);
    EXPECT_EQ(der::unsignedValue("\x7F"), 127U);
    EXPECT_EQ(der::unsignedValue("\x00\x80"s), 128U);
    EXPECT_EQ(der::unsignedValue("\x01\x80"), 384U);
    EXPECT_EQ(der::unsignedValue("\x01\x00"s), 256U);
    EXPECT_EQ(der::unsignedValue("\x7F\xFF\xFF\xFF"), 0x7FFFFFFFU);
    EXPECT_EQ(der::unsignedValue("\x00\xFF\xFF\xFF\xFF"s),
              std::numeric_limits<std::uint32_t>::max());
    for (const std::string& content :
         {""s, "\x80"s, "\xFF"s, "\x80\x00"s, "\x00\x7F"s, "\x00\x00"s, "\x00\x00\x80"s,
          "\x01\x00\x00\x00\x00"s, "\x00\x80\x00\x00\x00\x00"s}) {
        EXPECT_EQ(der::unsignedValue(content), std::nullopt);
    }
}

TEST(DERReader, WritesWhatItReads) {
    EXPECT_EQ(der::header(der::sequence, 0), "\x30\x00"s);
    EXPECT_EQ(der::header(der::sequence, 127), "\x30\x7F");
    EXPECT_EQ(der::header(der::sequence, 128), "\x30\x81\x80");
    EXPECT_EQ(der::header(der::sequence, 255), "\x30\x81\xFF");
    EXPECT_EQ(der::header(der::sequence, 256), "\x30\x82\x01\x00"s);
    EXPECT_EQ(der::header(der::sequence, 0x10000), "\x30\x83\x01\x00\x00"s);
    for (const std::size_t size : {0U, 1U, 127U, 128U, 255U, 256U, 65'535U, 65'536U}) {
        EXPECT_EQ(lengthOfFirst(der::element(der::octetString, std::string(size, 'a'))), size);
    }
}

} // namespace
