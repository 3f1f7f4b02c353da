// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELAddressRange.h"

#include <gtest/gtest.h>

namespace {

using vel::Coverage;

Coverage publicIn(const char* address, unsigned length) {
    return vel::publicAddressesIn(vel::addressPrefix(address, length).value());
}

Coverage hostsIn(const char* address, unsigned length) {
    return vel::hostAddressesIn(vel::addressPrefix(address, length).value());
}

TEST(AddressRange, NeedsTwoAddressesOfOneFamily) {
    EXPECT_TRUE(vel::addressRange("1.2.3.4", "1.2.3.5").has_value());
    EXPECT_TRUE(vel::addressRange("::1", "::2").has_value());
    EXPECT_FALSE(vel::addressRange("1.2.3.4", "::1").has_value());
    EXPECT_FALSE(vel::addressRange("::1", "1.2.3.4").has_value());
    EXPECT_FALSE(vel::addressRange("", "").has_value());
    EXPECT_FALSE(vel::addressRange("host", "host").has_value());
    EXPECT_TRUE(vel::addressPrefix("1.2.3.4", 32).has_value());
    EXPECT_FALSE(vel::addressPrefix("1.2.3.4", 33).has_value());
    EXPECT_TRUE(vel::addressPrefix("::", 128).has_value());
    EXPECT_FALSE(vel::addressPrefix("::", 129).has_value());
}

TEST(AddressRange, APrefixHoldsItsAddresses) {
    const auto range = vel::addressPrefix("10.77.3.4", 12).value();
    const auto expected = vel::addressRange("10.64.0.0", "10.79.255.255").value();
    EXPECT_EQ(range.first, expected.first);
    EXPECT_EQ(range.last, expected.last);
}

TEST(AddressRange, SpecialAddressesAreNotPublic) {
    for (const auto& [address, length] :
         {std::pair("0.0.0.0", 8), std::pair("10.0.0.0", 8), std::pair("100.64.0.0", 10),
          std::pair("127.0.0.0", 8), std::pair("169.254.0.0", 16), std::pair("172.16.0.0", 12),
          std::pair("192.0.0.0", 24), std::pair("192.0.2.0", 24), std::pair("192.168.0.0", 16),
          std::pair("198.18.0.0", 15), std::pair("198.51.100.0", 24), std::pair("203.0.113.0", 24),
          std::pair("224.0.0.0", 3), std::pair("2001:db8::", 32)}) {
        EXPECT_EQ(publicIn(address, static_cast<unsigned>(length)), Coverage::none) << address;
        EXPECT_EQ(publicIn(address, static_cast<unsigned>(length) - 1), Coverage::part) << address;
    }
}

TEST(AddressRange, SoAreThoseOfIPv6OutsideItsPublicPart) {
    EXPECT_EQ(publicIn("::", 16), Coverage::none);
    EXPECT_EQ(publicIn("4000::", 2), Coverage::none);
    EXPECT_EQ(publicIn("fc00::", 7), Coverage::none);
    EXPECT_EQ(publicIn("fe80::", 10), Coverage::none);
    EXPECT_EQ(publicIn("ff00::", 8), Coverage::none);
}

TEST(AddressRange, TheRestIs) {
    for (const char* address : {"1.0.0.0", "9.255.255.255", "11.0.0.0", "172.15.255.255",
                                "172.32.0.0", "223.255.255.255", "8.8.8.8"}) {
        EXPECT_EQ(publicIn(address, 32), Coverage::part) << address;
    }
    for (const char* address :
         {"2000::", "2001:db7:ffff::", "2001:db9::", "64:ff9b::1", "3fff:ffff::"}) {
        EXPECT_EQ(publicIn(address, 128), Coverage::part) << address;
    }
    EXPECT_EQ(publicIn("0.0.0.0", 0), Coverage::all);
    EXPECT_EQ(publicIn("0.0.0.0", 1), Coverage::part);
    EXPECT_EQ(publicIn("128.0.0.0", 1), Coverage::part);
    EXPECT_EQ(publicIn("::", 0), Coverage::all);
    EXPECT_EQ(publicIn("2000::", 3), Coverage::part);
}

TEST(AddressRange, AHostHasOneOfItsOwn) {
    EXPECT_EQ(hostsIn("0.0.0.0", 0), Coverage::all);
    EXPECT_EQ(hostsIn("10.0.0.1", 32), Coverage::part);
    EXPECT_EQ(hostsIn("127.0.0.0", 8), Coverage::none);
    EXPECT_EQ(hostsIn("224.0.0.251", 32), Coverage::none);
    EXPECT_EQ(hostsIn("255.255.255.255", 32), Coverage::none);
    EXPECT_EQ(hostsIn("::", 0), Coverage::all);
    EXPECT_EQ(hostsIn("fe80::", 64), Coverage::part);
    EXPECT_EQ(hostsIn("::1", 128), Coverage::none);
    EXPECT_EQ(hostsIn("ff02::fb", 128), Coverage::none);
}

} // namespace
