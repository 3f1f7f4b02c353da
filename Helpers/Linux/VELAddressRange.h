// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

/// Ranges of Internet addresses, and which addresses are public.
namespace vel {

/// An address in network order; one of IPv4 has its four bytes in front.
using AddressBytes = std::array<std::uint8_t, 16>;

struct AddressRange {
    bool isIPv6 = false;
    AddressBytes first = {};
    AddressBytes last = {};
};

/// Nullopt when a text is no address, or the two are not of one family.
std::optional<AddressRange> addressRange(const std::string& first, const std::string& last);

/// Nullopt when the text is no address or the length is longer than one.
std::optional<AddressRange> addressPrefix(const std::string& address, unsigned length);

enum class Coverage { none, part, all };

/// How much of the addresses that the Internet routes lies in a range. Private, shared, link-local,
/// multicast and documentation addresses are not among them.
Coverage publicAddressesIn(const AddressRange& range);

/// How much of the addresses that a machine can have lies in a range: every unicast one but the
/// loopback's.
Coverage hostAddressesIn(const AddressRange& range);

} // namespace vel
