// SPDX-License-Identifier: Apache-2.0
#include "Tests/Support/ReadPropertyList.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <limits>
#include <utility>

namespace {

using namespace std::string_literals;

using Cases = std::vector<std::pair<std::string, std::string>>;

std::string bigEndian(std::uint64_t number, std::size_t size) {
    std::string bytes;
    while (size-- > 0) {
        bytes += size < 8 ? static_cast<char>(number >> (8 * size) & 0xFFU) : '\0';
    }
    return bytes;
}

/// A binary property list of these objects, each as its bytes; the first one is the root. What it
/// holds can be bent before `bytes()` puts it together.
struct BinaryFile {
    std::vector<std::string> objects;
    std::size_t offsetSize = 4;
    std::size_t referenceSize = 1;
    std::uint64_t root = 0;
    std::string header = "bplist00";
    std::optional<std::uint64_t> objectCount = {};
    std::optional<std::uint64_t> offsetTable = {};
    std::vector<std::uint64_t> offsets = {}; // in place of the true ones

    [[nodiscard]] std::string bytes() const {
        std::string all = header;
        std::string table;
        for (std::size_t index = 0; index < objects.size(); ++index) {
            table += bigEndian(index < offsets.size() ? offsets[index] : all.size(), offsetSize);
            all += objects[index];
        }
        const std::uint64_t tableOffset = offsetTable.value_or(all.size());
        return all + table + std::string(6, '\0') + bigEndian(offsetSize, 1) +
               bigEndian(referenceSize, 1) + bigEndian(objectCount.value_or(objects.size()), 8) +
               bigEndian(root, 8) + bigEndian(tableOffset, 8);
    }
};

std::string readObjects(std::vector<std::string> objects) {
    return readAsText(BinaryFile{.objects = std::move(objects)}.bytes());
}

void expectEachObject(const Cases& cases) {
    for (const auto& [object, expected] : cases) {
        EXPECT_EQ(readObjects({object}), expected) << testing::PrintToString(object);
    }
}

std::string real(double value) {
    return "\x23" + bigEndian(std::bit_cast<std::uint64_t>(value), 8);
}

std::string date(double value) {
    return "\x33" + bigEndian(std::bit_cast<std::uint64_t>(value), 8);
}

/// An object with a count of any size and its content.
std::string counted(unsigned kind, std::uint64_t count, const std::string& content) {
    return bigEndian(kind << 4U | 0xFU, 1) + "\x13" + bigEndian(count, 8) + content;
}

TEST(BinaryPropertyList, ReadsAWholeFile) {
    const std::string file = BinaryFile{
        .objects = {"\xD2\x01\x02\x03\x04", // {1: 3, 2: 4}
                    "\x51"
                    "a",
                    "\x61\x20\xAC", "\xA2\x01\x05", "\x09",
                    "\x10\x05"}}.bytes();
    EXPECT_EQ(readAsText(file), R"({"a":["a",5],"€":true})");
}

TEST(BinaryPropertyList, ReadsSingletons) {
    expectEachObject({
        {"\x00"s, "null"},
        {"\x08", "false"},
        {"\x09", "true"},
        {"\x01", "error: an object of an unknown kind at byte 8"},
        {"\x0C", "error: an object of an unknown kind at byte 8"},
        {"\x0F", "error: an object of an unknown kind at byte 8"},
    });
}

TEST(BinaryPropertyList, ReadsIntegers) {
    expectEachObject({
        {"\x10\x00"s, "0"},
        {"\x10\xFF", "255"},
        {"\x11\xFF\xFF", "65535"},
        {"\x12\xFF\xFF\xFF\xFF", "4294967295"},
        {"\x13" + bigEndian(5, 8), "5"},
        {"\x13" + bigEndian(0x7FFFFFFFFFFFFFFF, 8), "9223372036854775807"},
        {"\x13" + bigEndian(~std::uint64_t{0} - 4, 8), "-5"},
        {"\x13" + bigEndian(std::uint64_t{1} << 63U, 8), "-9223372036854775808"},
        {"\x14" + bigEndian(0, 8) + bigEndian(7, 8), "7"},
        {"\x14" + bigEndian(0, 8) + bigEndian(~std::uint64_t{0}, 8), "18446744073709551615"},
        {"\x14" + bigEndian(~std::uint64_t{0}, 8) + bigEndian(std::uint64_t{1} << 63U, 8),
         "-9223372036854775808"},
        {"\x14" + bigEndian(~std::uint64_t{0}, 8) + bigEndian(~std::uint64_t{0}, 8), "-1"},
        {"\x14" + bigEndian(~std::uint64_t{0}, 8) + bigEndian((std::uint64_t{1} << 63U) - 1, 8),
         "error: an integer out of range at byte 8"},
        {"\x14" + bigEndian(1, 8) + bigEndian(0, 8), "error: an integer out of range at byte 8"},
        {"\x14" + bigEndian(1, 8) + bigEndian(~std::uint64_t{0}, 8),
         "error: an integer out of range at byte 8"},
        {"\x15" + std::string(32, '\0'), "error: an integer of more than 16 bytes at byte 8"},
        {"\x1F" + std::string(32, '\0'), "error: an integer of more than 16 bytes at byte 8"},
        {"\x10", "error: an object that is cut off at byte 8"},
        {"\x13" + bigEndian(0, 7), "error: an object that is cut off at byte 8"},
        {"\x14" + bigEndian(0, 15), "error: an object that is cut off at byte 8"},
    });
}

TEST(BinaryPropertyList, ReadsReals) {
    expectEachObject({
        {real(0.1), "0.1"},
        {real(-0.0), "-0.0"},
        {real(5), "5.0"},
        {real(std::numeric_limits<double>::max()), "1.7976931348623157e+308"},
        {real(std::numeric_limits<double>::denorm_min()), "5e-324"},
        {"\x22\x3F\x80\x00\x00"s, "1.0"},
        {"\x22\x3D\xCC\xCC\xCD", "0.10000000149011612"},
        {real(std::numeric_limits<double>::infinity()),
         "error: a real that is not finite at byte 8"},
        {real(std::numeric_limits<double>::quiet_NaN()),
         "error: a real that is not finite at byte 8"},
        {"\x22\xFF\x80\x00\x00"s, "error: a real that is not finite at byte 8"},
        {"\x20\x00"s, "error: a real of 1 bytes at byte 8"},
        {"\x24" + std::string(16, '\0'), "error: a real of 16 bytes at byte 8"},
        {"\x23" + bigEndian(0, 7), "error: an object that is cut off at byte 8"},
        {"\x22\x00\x00\x00"s, "error: an object that is cut off at byte 8"},
    });
}

TEST(BinaryPropertyList, ReadsDates) {
    expectEachObject({
        {date(0), R"("2001-01-01T00:00:00Z")"},
        {date(-0.5), R"("2000-12-31T23:59:59Z")"},
        {date(0.999), R"("2001-01-01T00:00:00Z")"},
        {date(816942600), R"("2026-11-21T08:30:00Z")"},
        {date(-63113904000), R"("0001-01-01T00:00:00Z")"},
        {date(-63114076800), R"("0000-12-30T00:00:00Z")"},
        {date(-63145526400), R"("0000-01-01T00:00:00Z")"},
        {date(252423993599), R"("9999-12-31T23:59:59Z")"},
        {date(-63145526401), "error: a date out of range at byte 8"},
        {date(252423993600), "error: a date out of range at byte 8"},
        {date(1e300), "error: a date out of range at byte 8"},
        {date(-std::numeric_limits<double>::infinity()), "error: a date out of range at byte 8"},
        {date(std::numeric_limits<double>::quiet_NaN()), "error: a date out of range at byte 8"},
        {"\x32\x00\x00\x00\x00"s, "error: an object of an unknown kind at byte 8"},
        {"\x33" + bigEndian(0, 7), "error: an object that is cut off at byte 8"},
    });
}

TEST(BinaryPropertyList, ReadsData) {
    expectEachObject({
        {"\x40", R"("")"},
        {"\x41"
         "f",
         R"("Zg==")"},
        {counted(0x4, 6, "foobar"), R"("Zm9vYmFy")"},
        {"\x42"
         "f",
         "error: an object that is cut off at byte 8"},
    });
}

TEST(BinaryPropertyList, ReadsStrings) {
    expectEachObject({
        {"\x50", R"("")"},
        {"\x60", R"("")"},
        {"\x53"
         "a\0\x7F"s,
         "\"a\\u0000\x7F\""},
        {"\x5F\x10\x10"
         "sixteen letters!",
         R"("sixteen letters!")"},
        {"\x5F\x11\x00\x01"
         "a"s,
         R"("a")"},
        {"\x51\x80", "error: a string that is not ASCII at byte 8"},
        {"\x62\x00\x00\x20\xAC"s, R"("\u0000€")"},
        {"\x62\xD8\x3D\xDE\x00"s, R"("😀")"},
        {"\x63\xD8\x00\xDC\x00\x00"
         "a"s,
         R"("𐀀a")"},
        {"\x62\xDB\xFF\xDF\xFF", "\"\xF4\x8F\xBF\xBF\""},
        {"\x61\xFF\xFF", "\"\xEF\xBF\xBF\""},
        {"\x63\x00\xE9\xD7\xFF\xE0\x00"s, "\"é\xED\x9F\xBF\xEE\x80\x80\""},
        {"\x61\xD8\x3D", "error: a string with half a surrogate pair at byte 8"},
        {"\x61\xDE\x00"s, "error: a string with half a surrogate pair at byte 8"},
        {"\x62\xD8\x3D\x00"
         "a"s,
         "error: a string with half a surrogate pair at byte 8"},
        {"\x62\xD8\x3D\xD8\x3D", "error: a string with half a surrogate pair at byte 8"},
        {"\x62\xD8\x3D\xE0\x00"s, "error: a string with half a surrogate pair at byte 8"},
        {"\x62\xDE\x00\xD8\x3D"s, "error: a string with half a surrogate pair at byte 8"},
        {"\x61\x00"s, "error: an object that is cut off at byte 8"},
        {"\x71"
         "a",
         "error: an object of an unknown kind at byte 8"},
    });
}

TEST(BinaryPropertyList, ReadsUIDs) {
    EXPECT_EQ(readObjects({"\xA1\x01", "\x80\x03"}), R"([{"CF$UID":3}])");
}

TEST(BinaryPropertyList, ReadsAUIDAtTheRootAsItsNumber) {
    expectEachObject({
        {"\x80\x03", "3"},
        {"\x81\x01\x00"s, "256"},
        {"\x82\x01\x00\x00"s, "65536"},
        {"\x87" + bigEndian(~std::uint64_t{0}, 8), "18446744073709551615"},
        {"\x88" + std::string(9, '\0'), "error: a UID of 9 bytes at byte 8"},
        {"\x81\x01", "error: an object that is cut off at byte 8"},
    });
}

TEST(BinaryPropertyList, ReadsContainers) {
    EXPECT_EQ(readObjects({"\xA0"}), "[]");
    EXPECT_EQ(readObjects({"\xD0"}), "{}");
    EXPECT_EQ(readObjects({"\xA3\x01\x01\x02", "\xA1\x02", "\x09"}), "[[true],[true],true]");
    EXPECT_EQ(readObjects({"\xD2\x01\x01\x02\x03",
                           "\x51"
                           "k",
                           "\x08", "\x09"}),
              R"({"k":true})");
    EXPECT_EQ(readObjects({counted(0xA, 1, "\x01"), "\x09"}), "[true]");
}

TEST(BinaryPropertyList, RefusesOtherContainers) {
    for (const std::string object : {"\xB0", "\xC0", "\x90", "\xE0", "\xF0"}) {
        EXPECT_EQ(readObjects({object}), "error: an object of an unknown kind at byte 8");
    }
    EXPECT_EQ(readObjects({"\xD1\x01\x01", "\x10\x05"}),
              "error: a key that is not a string at byte 11");
    EXPECT_EQ(readObjects({"\xD1\x01\x01", "\x61\xD8\x00"s}),
              "error: a string with half a surrogate pair at byte 11");
    EXPECT_EQ(readObjects({"\xD1\x00\x00"s}), "error: a key that is not a string at byte 8");
}

TEST(BinaryPropertyList, ReadsEverySizeOfOffsetAndReference) {
    for (std::size_t size = 1; size <= 8; ++size) {
        const BinaryFile file{
            .objects = {"\xA2" + bigEndian(1, size) + bigEndian(2, size), "\x08", "\x09"},
            .offsetSize = size,
            .referenceSize = size};
        EXPECT_EQ(readAsText(file.bytes()), "[false,true]") << size;
    }
    EXPECT_EQ(readAsText(BinaryFile{.objects = {"\x08", "\x09"}, .root = 1}.bytes()), "true");
}

TEST(BinaryPropertyList, RefusesABentHeaderOrTrailer) {
    const std::vector<std::pair<BinaryFile, std::string>> cases = {
        {{.objects = {"\x09"}, .header = "bplist01"}, "a version other than 00 at byte 6"},
        {{.objects = {"\x09"}, .header = "bplist"}, "a version other than 00 at byte 6"},
        {{.objects = {"\x09"}, .offsetSize = 0}, "offsets of 0 bytes at byte 15"},
        {{.objects = {"\x09"}, .offsetSize = 9}, "offsets of 9 bytes at byte 24"},
        {{.objects = {"\x09"}, .referenceSize = 0}, "references of 0 bytes at byte 20"},
        {{.objects = {"\x09"}, .referenceSize = 9}, "references of 9 bytes at byte 20"},
        {{.objects = {}}, "the misplaced offset table 8 at byte 32"},
        {{.objects = {"\x09"}, .offsetTable = 0}, "the misplaced offset table 0 at byte 37"},
        {{.objects = {"\x09"}, .offsetTable = 8}, "the misplaced offset table 8 at byte 37"},
        {{.objects = {"\x09"}, .offsetTable = 13}, "the misplaced offset table 13 at byte 37"},
        {{.objects = {"\x09"}, .offsetTable = ~std::uint64_t{0}},
         "the misplaced offset table 18446744073709551615 at byte 37"},
        {{.objects = {"\x09"}, .objectCount = 0},
         "an offset table that does not hold 0 offsets at byte 9"},
        {{.objects = {"\x09"}, .objectCount = 2},
         "an offset table that does not hold 2 offsets at byte 9"},
        {{.objects = {"\x09"}, .objectCount = ~std::uint64_t{0}},
         "an offset table that does not hold 18446744073709551615 offsets at byte 9"},
        // Times the size of an offset, this count is 4 again.
        {{.objects = {"\x09"}, .objectCount = (std::uint64_t{1} << 62U) + 1},
         "an offset table that does not hold 4611686018427387905 offsets at byte 9"},
        {{.objects = {"\x09"}, .offsetTable = 10},
         "an offset table that does not hold 1 offsets at byte 10"},
        {{.objects = {"\x09\x09"}, .offsetTable = 9},
         "an offset table that does not hold 1 offsets at byte 9"},
        {{.objects = {"\x09"}, .root = 1}, "the unknown object 1 at byte 29"},
        {{.objects = {"\x09"}, .root = ~std::uint64_t{0}},
         "the unknown object 18446744073709551615 at byte 29"},
        {{.objects = {"\x09"}, .offsets = {7}}, "the misplaced object 0 at byte 9"},
        {{.objects = {"\x09"}, .offsets = {9}}, "the misplaced object 0 at byte 9"},
        {{.objects = {"\x09"}, .offsetSize = 8, .offsets = {~std::uint64_t{0}}},
         "the misplaced object 0 at byte 9"},
        {{.objects = {"\x08", "\xA1\x02"}, .root = 1}, "the unknown object 2 at byte 9"},
        {{.objects = {"\x08", "\xD1\x02\x02"}, .root = 1}, "the unknown object 2 at byte 9"},
        {{.objects = {"\xA1\x01", "\x08"}, .offsets = {8, 10 + 1}},
         "the misplaced object 1 at byte 15"},
    };
    for (const auto& [file, expected] : cases) {
        EXPECT_EQ(readAsText(file.bytes()), "error: " + expected);
    }
    EXPECT_EQ(readAsText("bplist00"), "error: no trailer at byte 8");
    EXPECT_EQ(readAsText("bplist00" + std::string(31, '\0')), "error: no trailer at byte 39");
    EXPECT_EQ(readAsText("bplist00" + std::string(32, '\0')),
              "error: offsets of 0 bytes at byte 14");
}

TEST(BinaryPropertyList, RefusesHugeCounts) {
    for (const unsigned kind : {0x4U, 0x5U, 0x6U, 0xAU, 0xDU}) {
        for (const std::uint64_t count :
             {std::uint64_t{3}, std::uint64_t{1} << 31U, std::uint64_t{1} << 63U,
              (std::uint64_t{1} << 63U) + 1, ~std::uint64_t{0}, ~std::uint64_t{0} / 2,
              ~std::uint64_t{0} - 9}) {
            EXPECT_EQ(readObjects({counted(kind, count, "")}),
                      "error: an object that is cut off at byte 8");
        }
        const std::string marker = bigEndian(kind << 4U | 0xFU, 1);
        EXPECT_EQ(readObjects({marker}), "error: an object that is cut off at byte 8");
        EXPECT_EQ(readObjects({marker + "\x13"}), "error: an object that is cut off at byte 9");
        EXPECT_EQ(readObjects({marker + "\x14" + std::string(16, '\0')}),
                  "error: a count that is not an integer at byte 9");
        EXPECT_EQ(readObjects({marker + "\x09"}),
                  "error: a count that is not an integer at byte 9");
        EXPECT_EQ(readObjects({marker + "\x50"}),
                  "error: a count that is not an integer at byte 9");
    }
}

TEST(BinaryPropertyList, RefusesCycles) {
    EXPECT_EQ(readObjects({"\xA1\x00"s}), "error: a container that contains itself at byte 8");
    EXPECT_EQ(readObjects({"\xA1\x01", "\xA2\x02\x00"s, "\x09"}),
              "error: a container that contains itself at byte 8");
    EXPECT_EQ(readObjects({"\xA1\x01", "\xD1\x02\x01",
                           "\x51"
                           "k"}),
              "error: a container that contains itself at byte 10");
}

/// A root of arrays in arrays: `depth` of them, and in the innermost one `core`.
BinaryFile nestedArrays(std::size_t depth, const std::string& core) {
    BinaryFile file{.objects = {}, .referenceSize = 4};
    for (std::size_t level = 1; level <= depth; ++level) {
        file.objects.push_back("\xA1" + bigEndian(level, 4));
    }
    file.objects.push_back(core);
    return file;
}

TEST(BinaryPropertyList, IsBoundedInDepth) {
    const auto expected = [](std::size_t depth, const std::string& core) {
        return std::string(depth, '[') + core + std::string(depth, ']');
    };
    const std::string tooDeep = "error: dictionaries and arrays nested deeper than 512 at byte ";
    EXPECT_EQ(readAsText(nestedArrays(512, "\x09").bytes()), expected(512, "true"));
    EXPECT_EQ(readAsText(nestedArrays(511, "\xD0").bytes()), expected(511, "{}"));
    EXPECT_EQ(readAsText(nestedArrays(511, "\x80\x07").bytes()), expected(511, R"({"CF$UID":7})"));
    for (const std::string core : {"\xD0", "\xA0", "\x80\x07"}) {
        EXPECT_EQ(readAsText(nestedArrays(512, core).bytes()), tooDeep + "2568");
    }
    EXPECT_EQ(readAsText(nestedArrays(100'000, "\x09").bytes()), tooDeep + "2568");
}

TEST(BinaryPropertyList, IsBoundedInValues) {
    const auto arrayOf = [](std::uint64_t count, const std::string& element) {
        return BinaryFile{.objects = {counted(0xA, count, std::string(count, '\1')), element}};
    };
    std::string expected = "[true";
    for (int index = 1; index < 99'999; ++index) {
        expected += ",true";
    }
    EXPECT_EQ(readAsText(arrayOf(99'999, "\x09").bytes()), expected + "]");
    EXPECT_EQ(readAsText(arrayOf(100'000, "\x09").bytes()),
              "error: more than 100000 values at byte 100018");
    EXPECT_EQ(readAsText(arrayOf(100'000, "\xA0").bytes()),
              "error: more than 100000 values at byte 100018");
    // A UID is two values.
    EXPECT_EQ(readAsText(arrayOf(50'000, "\x80\x01").bytes()),
              "error: more than 100000 values at byte 50018");
}

TEST(BinaryPropertyList, RefusesToExpandSharedContainers) {
    BinaryFile file;
    for (std::uint64_t level = 1; level <= 40; ++level) {
        file.objects.push_back("\xA2" + bigEndian(level, 1) + bigEndian(level, 1));
    }
    file.objects.emplace_back("\x09");
    EXPECT_EQ(readAsText(file.bytes()), "error: more than 100000 values at byte 119");
}

/// An array of `count` times the object 1, and once the last object.
std::string sharing(std::uint64_t count, std::vector<std::string> objects) {
    const std::string last(1, static_cast<char>(objects.size()));
    const std::string references = std::string(count, '\1') + last;
    objects.insert(objects.begin(), counted(0xA, count + 1, references));
    return BinaryFile{.objects = std::move(objects)}.bytes();
}

std::optional<std::size_t> lengthOfArray(const std::string& bytes) {
    const auto value = vel::readPropertyList(bytes, nullptr);
    return value ? std::optional(value->size()) : std::nullopt;
}

TEST(BinaryPropertyList, IsBoundedInText) {
    // 256 times these 64 KiB are all that is allowed.
    const std::string letters(65'536, 'x');
    const std::string text = counted(0x5, letters.size(), letters);
    const std::string tooMuch =
        "error: more than 16777216 bytes of keys, strings, dates and data at byte ";
    EXPECT_EQ(lengthOfArray(sharing(256, {text, "\x50"})), 257);
    EXPECT_EQ(readAsText(sharing(256, {text, "\x51"
                                             "y"})),
              tooMuch + "65821");
    EXPECT_EQ(readAsText(sharing(99'000, {text, "\x50"})), tooMuch + "99019");

    const std::string bytes = counted(0x4, 49'152, std::string(49'152, '\0'));
    EXPECT_EQ(lengthOfArray(sharing(256, {bytes, "\x40"})), 257);
    EXPECT_EQ(readAsText(sharing(256, {bytes, "\x41"
                                              "y"})),
              tooMuch + "49437");

    const std::string dictionary = "\xD1\x02\x03";
    EXPECT_EQ(lengthOfArray(sharing(256, {dictionary, text, "\x09"})), 257);
    EXPECT_EQ(readAsText(sharing(257, {dictionary, text, "\x09"})), tooMuch + "279");
}

TEST(BinaryPropertyList, IsBoundedInBytes) {
    const auto file = [](std::size_t size) {
        return sharing(0, {counted(0x5, size, std::string(size, 'x'))});
    };
    const std::size_t largest = (1U << 20U) - file(0).size();
    EXPECT_EQ(readAsText(file(largest)).size(), largest + 4);
    EXPECT_EQ(readAsText(file(largest + 1)), "error: more than 1048576 bytes");
}

TEST(BinaryPropertyList, FailsWhereverItIsCutOff) {
    const std::string file = BinaryFile{
        .objects = {"\xD2\x01\x02\x03\x04",
                    "\x51"
                    "a",
                    "\x61\x20\xAC", "\xA2\x01\x05", "\x09", "\x10\x05", real(0.5),
                    date(0)}}.bytes();
    ASSERT_EQ(readAsText(file), R"({"a":["a",5],"€":true})");
    for (std::size_t length = 0; length < file.size(); ++length) {
        EXPECT_TRUE(readAsText(file.substr(0, length)).starts_with("error: ")) << length;
    }
}

} // namespace
