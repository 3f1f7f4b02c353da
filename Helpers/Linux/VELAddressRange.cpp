// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELAddressRange.h"

#include <algorithm>
#include <arpa/inet.h>
#include <span>

namespace vel {
namespace {

struct Text {
    const char* first;
    const char* last;
};

constexpr std::array publicIPv4 = std::to_array<Text>({
    {"1.0.0.0", "9.255.255.255"},
    {"11.0.0.0", "100.63.255.255"},
    {"100.128.0.0", "126.255.255.255"},
    {"128.0.0.0", "169.253.255.255"},
    {"169.255.0.0", "172.15.255.255"},
    {"172.32.0.0", "191.255.255.255"},
    {"192.0.1.0", "192.0.1.255"},
    {"192.0.3.0", "192.167.255.255"},
    {"192.169.0.0", "198.17.255.255"},
    {"198.20.0.0", "198.51.99.255"},
    {"198.51.101.0", "203.0.112.255"},
    {"203.0.114.0", "223.255.255.255"},
});
constexpr std::array publicIPv6 = std::to_array<Text>({
    {"64:ff9b::", "64:ff9b::ffff:ffff"},
    {"2000::", "2001:db7:ffff:ffff:ffff:ffff:ffff:ffff"},
    {"2001:db9::", "3fff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"},
});
constexpr std::array hostIPv4 = std::to_array<Text>({
    {"1.0.0.0", "126.255.255.255"},
    {"128.0.0.0", "223.255.255.255"},
});
constexpr std::array hostIPv6 = std::to_array<Text>({
    {"::2", "feff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"},
});

std::optional<AddressBytes> parse(const std::string& text, bool isIPv6) {
    AddressBytes bytes = {};
    return ::inet_pton(isIPv6 ? AF_INET6 : AF_INET, text.c_str(), bytes.data()) == 1
               ? std::optional(bytes)
               : std::nullopt;
}

Coverage coverage(const AddressRange& range, std::span<const Text> parts) {
    bool isAll = true;
    bool isAny = false;
    for (const Text& part : parts) {
        const AddressBytes first = parse(part.first, range.isIPv6).value();
        const AddressBytes last = parse(part.last, range.isIPv6).value();
        isAny |= range.first <= last && first <= range.last;
        isAll &= range.first <= first && last <= range.last;
    }
    return isAll ? Coverage::all : isAny ? Coverage::part : Coverage::none;
}

} // namespace

std::optional<AddressRange> addressRange(const std::string& first, const std::string& last) {
    const bool isIPv6 = first.find(':') != std::string::npos;
    const auto low = parse(first, isIPv6);
    const auto high = parse(last, isIPv6);
    return low && high ? std::optional(AddressRange{isIPv6, *low, *high}) : std::nullopt;
}

std::optional<AddressRange> addressPrefix(const std::string& address, unsigned length) {
    auto range = addressRange(address, address);
    if (!range || length > (range->isIPv6 ? 128U : 32U)) {
        return std::nullopt;
    }
    const unsigned bytes = range->isIPv6 ? 16 : 4;
    for (unsigned bit = length; bit < bytes * 8; ++bit) {
        const auto mask = static_cast<std::uint8_t>(0x80U >> (bit % 8));
        range->first[bit / 8] &= static_cast<std::uint8_t>(~mask);
        range->last[bit / 8] |= mask;
    }
    return range;
}

Coverage publicAddressesIn(const AddressRange& range) {
    return range.isIPv6 ? coverage(range, publicIPv6) : coverage(range, publicIPv4);
}

Coverage hostAddressesIn(const AddressRange& range) {
    return range.isIPv6 ? coverage(range, hostIPv6) : coverage(range, hostIPv4);
}

} // namespace vel
