// SPDX-License-Identifier: Apache-2.0
#include "Base/VELProcessListing.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace {

using Identifiers = std::vector<std::int64_t>;

const char* const listing = "  PID TTY           TIME CMD\n"
                            "    1 ??         0:09.12 launchd\n"
                            "  312 ??         0:01.00 Finder\n"
                            "  313 ??         0:00.01 MyFinder\n"
                            " 4567 ttys000    0:00.02 Finder Helper\n";

Identifiers find(const std::string& text, const std::string& name) {
    return vel::ProcessListing(text).processIDs(name);
}

TEST(VELProcessListing, CountsEveryPiece) {
    EXPECT_EQ(vel::ProcessListing(listing).lineCount(), 6U);
    EXPECT_EQ(vel::ProcessListing("").lineCount(), 1U);
    EXPECT_EQ(vel::ProcessListing("\n").lineCount(), 2U);
    EXPECT_EQ(vel::ProcessListing("1 a").lineCount(), 1U);
    EXPECT_EQ(vel::ProcessListing("1 a\r2 b").lineCount(), 1U);
    EXPECT_EQ(vel::ProcessListing(std::nullopt).lineCount(), 0U);
}

TEST(VELProcessListing, SelectsByTheEndOfTheLine) {
    EXPECT_EQ(find(listing, "launchd"), Identifiers{1});
    EXPECT_EQ(find(listing, "Finder"), (Identifiers{312, 313}));
    EXPECT_EQ(find(listing, "fINDER"), (Identifiers{312, 313}));
    EXPECT_EQ(find(listing, "MyFinder"), Identifiers{313});
    EXPECT_EQ(find(listing, " Finder"), Identifiers{312});
    EXPECT_EQ(find(listing, "Find"), Identifiers{});
    EXPECT_EQ(find(listing, "launchd\n"), Identifiers{});
    EXPECT_EQ(find(listing, "a name longer than every line of the whole listing is"),
              Identifiers{});
}

TEST(VELProcessListing, TakesTheHeadingForALine) {
    EXPECT_EQ(find(listing, "cmd"), Identifiers{0});
    EXPECT_EQ(find(listing, "TIME CMD"), Identifiers{0});
}

TEST(VELProcessListing, SelectsNothingByTheEmptyName) {
    EXPECT_EQ(find(listing, ""), Identifiers{});
    EXPECT_EQ(find("", ""), Identifiers{});
    EXPECT_EQ(vel::ProcessListing(std::nullopt).processIDs("launchd"), Identifiers{});
}

TEST(VELProcessListing, KeepsOrderAndDuplicates) {
    EXPECT_EQ(find("9 x\n3 x\n9 x", "x"), (Identifiers{9, 3, 9}));
}

TEST(VELProcessListing, DoesNotTrim) {
    EXPECT_EQ(find("7 x \n8 x\r\n9 x", "x"), Identifiers{9});
    EXPECT_EQ(find("7 x ", "x "), Identifiers{7});
}

TEST(VELProcessListing, ReadsOddNumbers) {
    EXPECT_EQ(find("\t-12x\n+3x\n- 4x\n99999999999999999999x\n12ax\nx", "x"),
              (Identifiers{-12, 3, 0, std::numeric_limits<std::int64_t>::max(), 12, 0}));
}

TEST(VELProcessListing, LowersFully) {
    EXPECT_EQ(find("5 ÉDITEUR\n6 éditeur", "éDITEUR"), (Identifiers{5, 6}));
    EXPECT_EQ(find("5 İ", "i\u0307"), Identifiers{5});
    EXPECT_EQ(find("5 STRASSE", "straße"), Identifiers{}); // lower case, not folded
    EXPECT_EQ(find("5 \u212A", "K"), Identifiers{5});
    EXPECT_EQ(find("5 ΟΔΟΣ\n6 οδος", "οδος"), (Identifiers{5, 6}));
    EXPECT_EQ(find("5 ΟΔΟΣ\n6 οδος", "ΟΔΟΣ"), (Identifiers{5, 6}));
}

} // namespace
