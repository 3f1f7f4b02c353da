// SPDX-License-Identifier: Apache-2.0
#include "Base/VELXMLText.h"

#include <gtest/gtest.h>

namespace {

TEST(XMLText, MarkupAndCarriageReturnsAreEscaped) {
    EXPECT_EQ(vel::escapedForXML(""), "");
    EXPECT_EQ(vel::escapedForXML("a]]>b & <c>\r\n\t\"d' ö"),
              "a]]&gt;b &amp; &lt;c&gt;&#13;\n\t\"d' ö");
    EXPECT_EQ(vel::escapedForXML("&amp;"), "&amp;amp;");
}

} // namespace
