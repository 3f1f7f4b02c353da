// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELOutsideInterfaces.h"
#include "Platform/POSIX/VELDescriptor.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <functional>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <map>
#include <net/if.h>
#include <set>
#include <string_view>
#include <sys/socket.h>
#include <sys/time.h>
#include <utility>

namespace vel {
namespace {

struct Interface {
    std::string name;
    bool isLoopback = false;
    bool hasDevice = false;
};

/// The content of a fixed header at the start of `bytes`; zeros when there is too little.
template <typename Header> Header headerIn(std::string_view bytes) {
    Header header = {};
    std::memcpy(&header, bytes.data(), std::min(sizeof header, bytes.size()));
    return header;
}

std::string_view after(std::string_view bytes, std::size_t length) {
    return bytes.substr(std::min(NLMSG_ALIGN(length), bytes.size()));
}

/// The attributes of a message by their numbers.
std::map<int, std::string_view> attributes(std::string_view bytes) {
    std::map<int, std::string_view> found;
    while (bytes.size() >= sizeof(rtattr)) {
        const auto header = headerIn<rtattr>(bytes);
        if (header.rta_len < sizeof(rtattr) || header.rta_len > bytes.size()) {
            break;
        }
        found[header.rta_type & NLA_TYPE_MASK] =
            bytes.substr(RTA_LENGTH(0), header.rta_len - RTA_LENGTH(0));
        bytes = after(bytes, header.rta_len);
    }
    return found;
}

bool setReceiveTimeout(int socket) {
    const timeval timeout = {.tv_sec = 2, .tv_usec = 0};
    return ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout) == 0;
}

/// Asks the kernel for a list and calls `take` with the content of each entry. False when it does
/// not give the whole list.
bool list(std::uint16_t type, const std::function<void(std::string_view)>& take) {
    const VELDescriptor socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
    struct {
        nlmsghdr header;
        rtgenmsg family;
    } request = {};
    request.header.nlmsg_len = NLMSG_LENGTH(sizeof(rtgenmsg));
    request.header.nlmsg_type = type;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    if (!socket || !setReceiveTimeout(socket.get()) ||
        ::send(socket.get(), &request, request.header.nlmsg_len, 0) < 0) {
        return false;
    }
    std::array<char, std::size_t{1} << 16U> buffer; // NOLINT: filled by recv
    while (true) {
        const ssize_t count = ::recv(socket.get(), buffer.data(), buffer.size(), 0);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        std::string_view bytes(buffer.data(),
                               static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        if (bytes.empty()) {
            return false;
        }
        while (bytes.size() >= sizeof(nlmsghdr)) {
            const auto header = headerIn<nlmsghdr>(bytes);
            if (header.nlmsg_len < sizeof(nlmsghdr) || header.nlmsg_len > bytes.size() ||
                header.nlmsg_type == NLMSG_ERROR || (header.nlmsg_flags & NLM_F_DUMP_INTR) != 0) {
                return false;
            }
            if (header.nlmsg_type == NLMSG_DONE) {
                return true;
            }
            take(bytes.substr(NLMSG_HDRLEN, header.nlmsg_len - NLMSG_HDRLEN));
            bytes = after(bytes, header.nlmsg_len);
        }
    }
}

std::optional<std::map<int, Interface>> interfaces() {
    std::map<int, Interface> found;
    const bool isWhole = list(RTM_GETLINK, [&found](std::string_view entry) {
        const auto link = headerIn<ifinfomsg>(entry);
        auto all = attributes(after(entry, sizeof link));
        const std::string_view name = all[IFLA_IFNAME];
        const bool isLoopback = (link.ifi_flags & IFF_LOOPBACK) != 0;
        const auto described = attributes(all[IFLA_LINKINFO]);
        // Kernels before 5.14 do not name the device: there it is what no driver made on demand.
        const bool hasDevice = all.contains(IFLA_PARENT_DEV_NAME) ||
                               (!isLoopback && !described.contains(IFLA_INFO_KIND));
        found[link.ifi_index] = {std::string(name.substr(0, name.find('\0'))), isLoopback,
                                 hasDevice};
    });
    return isWhole ? std::optional(std::move(found)) : std::nullopt;
}

/// Whether a route leads to the Internet at large: everywhere, half of it, or all public addresses
/// of IPv6.
bool isDefault(const rtmsg& route) {
    return route.rtm_type == RTN_UNICAST &&
           ((route.rtm_family == AF_INET && route.rtm_dst_len <= 1) ||
            (route.rtm_family == AF_INET6 && route.rtm_dst_len <= 3));
}

std::optional<std::set<int>> interfacesOfDefaultRoutes() {
    std::set<int> found;
    bool areNamed = true;
    const bool isWhole = list(RTM_GETROUTE, [&](std::string_view entry) {
        const auto route = headerIn<rtmsg>(entry);
        if (!isDefault(route)) {
            return;
        }
        auto all = attributes(after(entry, sizeof route));
        if (const auto output = all.find(RTA_OIF); output != all.end()) {
            found.insert(headerIn<int>(output->second));
        }
        for (std::string_view hops = all[RTA_MULTIPATH]; hops.size() >= sizeof(rtnexthop);) {
            const auto hop = headerIn<rtnexthop>(hops);
            found.insert(hop.rtnh_ifindex);
            hops = after(hops, std::max<std::size_t>(hop.rtnh_len, sizeof hop));
        }
        // Where the kernel is told to, it names a nexthop object alone.
        areNamed = areNamed && (all.contains(RTA_OIF) || !all[RTA_MULTIPATH].empty());
    });
    return isWhole && areNamed ? std::optional(std::move(found)) : std::nullopt;
}

} // namespace

std::optional<std::vector<std::string>> outsideInterfaces() {
    const auto all = interfaces();
    const auto routed = interfacesOfDefaultRoutes();
    if (!all || !routed) {
        return std::nullopt;
    }
    std::vector<std::string> outside;
    std::vector<std::string> others;
    for (const auto& [index, interface] : *all) {
        if (interface.hasDevice || routed->contains(index)) {
            outside.push_back(interface.name);
        } else if (!interface.isLoopback) {
            others.push_back(interface.name);
        }
    }
    return outside.empty() ? others : outside;
}

} // namespace vel
