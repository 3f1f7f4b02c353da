// SPDX-License-Identifier: Apache-2.0
#include "Tests/Support/ReadPropertyList.h"

#include <gtest/gtest.h>

#include <array>
#include <utility>

namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

using Cases = std::vector<std::pair<std::string, std::string>>;

std::string repeated(std::string_view text, std::size_t count) {
    std::string all;
    all.reserve(text.size() * count);
    while (count-- > 0) {
        all += text;
    }
    return all;
}

std::string plist(const std::string& content) {
    return "<plist version=\"1.0\">" + content + "</plist>";
}

std::string nestedArrays(std::size_t depth) {
    return repeated("<array>", depth) + repeated("</array>", depth);
}

void expectEachContent(const Cases& cases) {
    for (const auto& [content, expected] : cases) {
        EXPECT_EQ(readAsText(plist(content)), expected) << content.substr(0, 200);
    }
}

TEST(XMLPropertyList, ReadsAWholeFile) {
    constexpr std::string_view file = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<!-- status -->
<plist version="1.0">
<dict>
	<key>encryptionState</key>
	<string>1,1</string>
	<key>since</key>
	<date>2026-11-21T08:30:00Z</date>
	<key>key</key>
	<data>
	Zm9v
	YmE=
	</data>
	<key>disks</key>
	<array>
		<integer>-5</integer>
		<real>0.1</real>
		<true/>
		<false></false>
		<dict/>
		<array/>
	</array>
</dict>
</plist>
)";
    EXPECT_EQ(readAsText(file), R"({"disks":[-5,0.1,true,false,{},[]],"encryptionState":"1,1",)"
                                R"("key":"Zm9vYmE=","since":"2026-11-21T08:30:00Z"})");
}

TEST(XMLPropertyList, ReadsAUIDAtTheRootAsItsNumber) {
    EXPECT_EQ(readAsText("<plist><dict><key>CF$UID</key><integer>3</integer></dict></plist>"), "3");
}

TEST(XMLPropertyList, ReadsIntegers) {
    expectEachContent({
        {"<integer>0</integer>", "0"},
        {"<integer>-0</integer>", "0"},
        {"<integer>+7</integer>", "7"},
        {"<integer>007</integer>", "7"},
        {"<integer> \n-5\t</integer>", "-5"},
        {"<integer>0x1F</integer>", "31"},
        {"<integer>0Xff</integer>", "255"},
        {"<integer>-0x10</integer>", "-16"},
        {"<integer>9223372036854775807</integer>", "9223372036854775807"},
        {"<integer>9223372036854775808</integer>", "9223372036854775808"},
        {"<integer>18446744073709551615</integer>", "18446744073709551615"},
        {"<integer>0xFFFFFFFFFFFFFFFF</integer>", "18446744073709551615"},
        {"<integer>-9223372036854775808</integer>", "-9223372036854775808"},
        {"<integer>-0x8000000000000000</integer>", "-9223372036854775808"},
    });
}

TEST(XMLPropertyList, RefusesIntegersOutOfRange) {
    for (const std::string text :
         {"18446744073709551616", "0x10000000000000000", "-9223372036854775809",
          "-0x8000000000000001", "+99999999999999999999999"}) {
        EXPECT_EQ(readAsText(plist("\n<integer>" + text + "</integer>")),
                  "error: the integer \"" + text + "\" out of range at line 2");
    }
}

TEST(XMLPropertyList, RefusesWhatIsNoInteger) {
    for (const std::string text : {"", " ", "abc", "-", "+", "--5", "-+5", "+-5", "- 5", "5 5",
                                   "5x", "0x", "0x-5", "0xG", "1.0", "1e3", "٣"}) {
        EXPECT_EQ(readAsText(plist("<integer>" + text + "</integer>")),
                  "error: the invalid integer \"" + text + "\" at line 1");
    }
}

TEST(XMLPropertyList, ReadsReals) {
    expectEachContent({
        {"<real>0</real>", "0.0"},
        {"<real>-0</real>", "-0.0"},
        {"<real>+1.5</real>", "1.5"},
        {"<real> 2.5\n</real>", "2.5"},
        {"<real>.5</real>", "0.5"},
        {"<real>5.</real>", "5.0"},
        {"<real>-1E-3</real>", "-0.001"},
        {"<real>0.10000000000000001</real>", "0.1"},
        {"<real>1.7976931348623157e308</real>", "1.7976931348623157e+308"},
        {"<real>4.9e-324</real>", "5e-324"},
    });
}

TEST(XMLPropertyList, RefusesRealsThatNoFiniteDoubleHolds) {
    for (const std::string text : {"1e309", "-1e309", "1e-400", "nan", "NaN", "inf", "-infinity"}) {
        EXPECT_EQ(readAsText(plist("<real>" + text + "</real>")),
                  "error: the real \"" + text + "\" out of range at line 1");
    }
}

TEST(XMLPropertyList, RefusesWhatIsNoReal) {
    for (const std::string text :
         {"", "abc", ".", "1e", "1,5", "0x1p3", "0x10", "+-1", "-+1", "++1", "1 2", "1.5f"}) {
        EXPECT_EQ(readAsText(plist("<real>" + text + "</real>")),
                  "error: the invalid real \"" + text + "\" at line 1");
    }
}

TEST(XMLPropertyList, ReadsDates) {
    for (const std::string text :
         {"2001-01-01T00:00:00Z", "2024-02-29T23:59:59Z", "2000-02-29T12:00:00Z",
          "0000-01-01T00:00:00Z", "9999-12-31T23:59:59Z"}) {
        EXPECT_EQ(readAsText(plist("<date> " + text + "\n</date>")), '"' + text + '"');
    }
}

TEST(XMLPropertyList, RefusesWhatIsNoDate) {
    for (const std::string text :
         {"", "2026-11-21", "2026-11-21T08:30:00", "2026-11-21T08:30:00+01:00",
          "2026-11-21t08:30:00Z", "2026-11-21T08:30:00.5Z", "2026-13-01T00:00:00Z",
          "2026-00-01T00:00:00Z", "2026-01-00T00:00:00Z", "2026-04-31T00:00:00Z",
          "2023-02-29T00:00:00Z", "1900-02-29T00:00:00Z", "2026-01-01T24:00:00Z",
          "2026-01-01T00:60:00Z", "2026-01-01T00:00:60Z", "-001-01-01T00:00:00Z",
          "2026-1-01T00:00:000Z", "2026-01-01T+1:00:00Z", "2026-01-01T00:00: 1Z"}) {
        EXPECT_EQ(readAsText(plist("\n\n<date>" + text + "</date>")),
                  "error: the invalid date \"" + text + "\" at line 3");
    }
}

TEST(XMLPropertyList, ReadsData) {
    expectEachContent({
        {"<data></data>", R"("")"},
        {"<data/>", R"("")"},
        {"<data>\n\t Z\tg =\r\n=</data>", R"("Zg==")"},
        {"<data>Zm9=</data>", R"("Zm8=")"},
        {"\n<data>\nZg\n</data>", "error: data that are not base64 at line 2"},
        {"<data>Zm9v!</data>", "error: data that are not base64 at line 1"},
        {"<data>Zg==Zg==</data>", "error: data that are not base64 at line 1"},
    });
}

TEST(XMLPropertyList, ReadsStrings) {
    expectEachContent({
        {"<string></string>", R"("")"},
        {"<string/>", R"("")"},
        {"<string> a\r\n b\t</string>", R"(" a\n b\t")"},
        {"<string>&lt;&amp;&gt;&quot;&apos;&#65;&#x1F600;</string>", R"("<&>\"'A😀")"},
        {"<string><![CDATA[<a>&b;]]>c</string>", R"("<a>&b;c")"},
        {"<string>a<!-- b --><?c d?>e</string>", R"("ae")"},
        {"<string>Grüße 😀 \xEF\xBF\xBD</string>", "\"Grüße 😀 \xEF\xBF\xBD\""},
        {"<string>&#0;</string>", "error: reference to invalid character number at line 1"},
        {"<string>&#xD800;</string>", "error: reference to invalid character number at line 1"},
        {"<string>\xED\xA0\x80</string>", "error: not well-formed (invalid token) at line 1"},
        {"<string>\xC0\xAF</string>", "error: not well-formed (invalid token) at line 1"},
        {"<string>\xFF</string>", "error: not well-formed (invalid token) at line 1"},
        {"<string>a\0b</string>"s, "error: not well-formed (invalid token) at line 1"},
        {"<string>\n\x01</string>", "error: not well-formed (invalid token) at line 2"},
    });
}

TEST(XMLPropertyList, ReadsDictionaries) {
    expectEachContent({
        {"<dict></dict>", "{}"},
        {"<dict><key/><true/></dict>", R"({"":true})"},
        {"<dict><key>a</key><integer>1</integer><key>a</key><string>2</string></dict>",
         R"({"a":"2"})"},
        {"<dict><key>a</key><dict><key>b</key><array><dict/></array></dict></dict>",
         R"({"a":{"b":[{}]}})"},
        {"<dict><key>a</key><dict><key>CF$UID</key><integer>3</integer></dict></dict>",
         R"({"a":{"CF$UID":3}})"},
    });
}

TEST(XMLPropertyList, RefusesAnotherStructure) {
    expectEachContent({
        {"", "error: no value at line 1"},
        {"\n", "error: no value at line 2"},
        {"<true/>\n<true/>", "error: more than one value at line 2"},
        {"<dict/><key>a</key>", "error: more than one value at line 1"},
        {"<key>a</key>", "error: the element \"key\" where a value belongs at line 1"},
        {"<array><key>a</key></array>",
         "error: the element \"key\" where a value belongs at line 1"},
        {"<dict>\n<true/></dict>", "error: the element \"true\" where a key belongs at line 2"},
        {"<dict><key>a</key><key>b</key></dict>",
         "error: the element \"key\" where a value belongs at line 1"},
        {"<dict><key>a</key><true/><true/></dict>",
         "error: the element \"true\" where a key belongs at line 1"},
        {"<dict><key>a</key>\n</dict>", "error: a key without a value at line 2"},
        {"<dict><key>a</key><true/><key>b</key></dict>", "error: a key without a value at line 1"},
        {"<plist><true/></plist>", "error: the unknown element \"plist\" at line 1"},
        {"<null/>", "error: the unknown element \"null\" at line 1"},
        {"<Dict/>", "error: the unknown element \"Dict\" at line 1"},
        {"<string><true/></string>", "error: the element \"true\" within \"string\" at line 1"},
        {"<true><b/></true>", "error: the element \"b\" within \"true\" at line 1"},
        {"<dict><key><string/></key></dict>",
         "error: the element \"string\" within \"key\" at line 1"},
        {"<" + std::string(70, 'x') + "/>",
         "error: the unknown element \"" + std::string(64, 'x') + "…\" at line 1"},
    });
}

TEST(XMLPropertyList, RefusesStrayText) {
    expectEachContent({
        {"<true/> x", "error: the text \"x\" where none belongs at line 1"},
        {"1", "error: the text \"1\" where none belongs at line 1"},
        {"<array>\n\n a b <true/></array>", "error: the text \"a b\" where none belongs at line 3"},
        {"<dict>x</dict>", "error: the text \"x\" where none belongs at line 1"},
        {"<dict><key>a</key>x<true/></dict>", "error: the text \"x\" where none belongs at line 1"},
        {"<true>yes</true>", "error: the text \"yes\" where none belongs at line 1"},
        {"<false>\n</false>", "false"},
        {"<array><![CDATA[x]]></array>", "error: the text \"x\" where none belongs at line 1"},
        {"<array>&#xA0;</array>", "error: the text \"\u00A0\" where none belongs at line 1"},
    });
}

TEST(XMLPropertyList, RefusesOtherDocuments) {
    const Cases cases = {
        {"", "error: no bytes"},
        {" ", "error: no element found at line 1"},
        {"not a property list", "error: syntax error at line 1"},
        {"{ a = b; }", "error: not well-formed (invalid token) at line 1"},
        {"<true/>", "error: the root element \"true\" at line 1"},
        {"\n<dict><key>a</key><true/></dict>", "error: the root element \"dict\" at line 2"},
        {"<html>\n</html>", "error: the root element \"html\" at line 1"},
        {"<p:plist><true/></p:plist>", "error: the root element \"p:plist\" at line 1"},
        {"<plist><array></plist>", "error: mismatched tag at line 1"},
        {"<plist><true/>", "error: no element found at line 1"},
        {"<plist><true/></plist>x", "error: junk after document element at line 1"},
        {"<plist><true/></plist><plist/>", "error: junk after document element at line 1"},
        {"<plist a='1' a='2'><true/></plist>", "error: duplicate attribute at line 1"},
        {"<?xml version='1.0' encoding='EBCDIC'?><plist/>", "error: unknown encoding at line 1"},
    };
    for (const auto& [document, expected] : cases) {
        EXPECT_EQ(readAsText(document), expected) << document;
    }
}

TEST(XMLPropertyList, ReadsTheEncodingsOfXML) {
    constexpr std::u16string_view text = u"<plist><string>ü😀</string></plist>";
    std::string bigEndian = "\xFE\xFF";
    std::string littleEndian = "\xFF\xFE";
    for (const char16_t unit : text) {
        bigEndian += {static_cast<char>(unit >> 8U), static_cast<char>(unit & 0xFFU)};
        littleEndian += {static_cast<char>(unit & 0xFFU), static_cast<char>(unit >> 8U)};
    }
    EXPECT_EQ(readAsText(bigEndian), R"("ü😀")");
    EXPECT_EQ(readAsText(littleEndian), R"("ü😀")");
    EXPECT_EQ(readAsText("\xEF\xBB\xBF<plist><string>ü</string></plist>"), R"("ü")");
    EXPECT_EQ(readAsText("<?xml version='1.0' encoding='ISO-8859-1'?>"
                         "<plist><string>\xFC</string></plist>"),
              R"("ü")");
    EXPECT_EQ(readAsText("<?xml version='1.0' encoding='US-ASCII'?>"
                         "<plist><string>\xFC</string></plist>"),
              "error: not well-formed (invalid token) at line 1");
}

TEST(XMLPropertyList, RefusesDeclarations) {
    const std::string expected = "error: declarations within the document type at line ";
    EXPECT_EQ(readAsText("<!DOCTYPE plist [<!ENTITY a \"b\">]>" + plist("<string>&a;</string>")),
              expected + "1");
    EXPECT_EQ(readAsText("<!DOCTYPE plist\n[<!ENTITY a SYSTEM \"file:///etc/passwd\">]>" +
                         plist("<string>&a;</string>")),
              expected + "2");
    EXPECT_EQ(readAsText("<!DOCTYPE plist [<!ATTLIST true a CDATA \"\">]>" + plist("<true/>")),
              expected + "1");
    EXPECT_EQ(readAsText("<!DOCTYPE plist SYSTEM \"plist.dtd\" []>" + plist("<true/>")),
              expected + "1");
}

TEST(XMLPropertyList, RefusesABillionLaughs) {
    std::string document = "<!DOCTYPE plist [<!ENTITY l0 \"ha\">";
    for (int level = 1; level < 10; ++level) {
        document += "<!ENTITY l" + std::to_string(level) + " \"" +
                    repeated("&l" + std::to_string(level - 1) + ";", 10) + "\">";
    }
    EXPECT_EQ(readAsText(document + "]>" + plist("<string>&l9;</string>")),
              "error: declarations within the document type at line 1");
}

TEST(XMLPropertyList, RefusesUnknownEntities) {
    EXPECT_EQ(readAsText(plist("<string>&a;</string>")), "error: undefined entity at line 1");
    EXPECT_EQ(readAsText("<!DOCTYPE plist SYSTEM \"file:///nowhere.dtd\">\n" +
                         plist("<string>1&a;</string>")),
              "error: the unknown entity \"a\" at line 2");
}

TEST(XMLPropertyList, LoadsNoDocumentType) {
    EXPECT_EQ(readAsText("<!DOCTYPE plist SYSTEM \"file:///nowhere.dtd\">" + plist("<true/>")),
              "true");
}

TEST(XMLPropertyList, IsBoundedInDepth) {
    EXPECT_EQ(readAsText(plist(nestedArrays(512))), repeated("[", 512) + repeated("]", 512));
    EXPECT_EQ(readAsText(plist(repeated("<array>", 511) + "\n<dict/>" + repeated("</array>", 511))),
              repeated("[", 511) + "{}" + repeated("]", 511));
    EXPECT_EQ(readAsText(plist(nestedArrays(513))),
              "error: dictionaries and arrays nested deeper than 512 at line 1");
    EXPECT_EQ(readAsText(plist(repeated("<array>", 512) + "\n<dict/>" + repeated("</array>", 512))),
              "error: dictionaries and arrays nested deeper than 512 at line 2");
    EXPECT_EQ(readAsText("<plist>" + repeated("<array>", 149'000)),
              "error: dictionaries and arrays nested deeper than 512 at line 1");
}

TEST(XMLPropertyList, IsBoundedInValues) {
    // The array is a value, too.
    const std::string all = repeated("<true/>", 99'999);
    EXPECT_EQ(readAsText(plist("<array>" + all + "</array>")),
              "[" + repeated("true,", 99'998) + "true]");
    EXPECT_EQ(readAsText(plist("<array>" + all + "\n<true/></array>")),
              "error: more than 100000 values at line 2");
    EXPECT_EQ(readAsText(plist("<array>" + all + "\n<dict/></array>")),
              "error: more than 100000 values at line 2");
}

TEST(XMLPropertyList, IsBoundedInBytes) {
    const std::size_t spaces = (1U << 20U) - plist("<true/>").size();
    EXPECT_EQ(readAsText(plist("<true/>" + std::string(spaces, ' '))), "true");
    EXPECT_EQ(readAsText(plist("<true/>" + std::string(spaces + 1, ' '))),
              "error: more than 1048576 bytes");
    EXPECT_EQ(readAsText("<plist>" + repeated("<array>", 1'000'000)),
              "error: more than 1048576 bytes");
}

TEST(XMLPropertyList, FailsWhereverItIsCutOff) {
    const std::string file =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist SYSTEM \"a.dtd\">\n" +
        plist("<dict><key>ä</key><array><integer>1</integer><!-- c --><true/></array></dict>");
    ASSERT_EQ(readAsText(file), R"({"ä":[1,true]})");
    for (std::size_t length = 0; length < file.size(); ++length) {
        EXPECT_TRUE(readAsText(std::string_view(file).substr(0, length)).starts_with("error: "))
            << length;
    }
}

TEST(PropertyList, LeavesTheErrorAloneOnSuccess) {
    std::optional<VELError> error;
    EXPECT_TRUE(vel::readPropertyList(plist("<true/>"), &error));
    EXPECT_FALSE(error);
}

TEST(PropertyList, NamesDomainCodeAndText) {
    std::optional<VELError> error;
    EXPECT_FALSE(vel::readPropertyList(plist(""), &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), "NSCocoaErrorDomain");
    EXPECT_EQ(error->code(), 3840);
    EXPECT_EQ(error->userInfo(),
              VELValue({{"NSLocalizedDescription",
                         "The property list cannot be read: no value at line 1"}}));
    EXPECT_FALSE(vel::readPropertyList(plist(""), nullptr));
}

} // namespace
