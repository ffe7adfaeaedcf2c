// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Transport/DefaultRoute.h"

#include "TessivarCore/FileSystem.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <span>

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace fluvane::defaultRoute {

namespace {

using tessivar::Descriptor;
using Bytes = std::span<const std::byte>;

/// A structure at the start of the bytes; absent when they are too few.
template <class T>
std::optional<T> first(Bytes bytes) {
    T value{};
    if (bytes.size() < sizeof value) {
        return std::nullopt;
    }
    std::memcpy(&value, bytes.data(), sizeof value);
    return value;
}

/// Messages, attributes and next hops are alike: a length of all of it in front, the next one aligned to 4
/// bytes. Hands out each one's header and what is behind it, until `use` has seen enough and says true.
template <class Header, class Length, class Use>
bool anyOf(Bytes bytes, Length Header::*length, Use&& use) {
    while (const auto header = first<Header>(bytes)) {
        const std::size_t size = (*header).*length;
        if (size < sizeof(Header) || size > bytes.size()) {
            break;
        }
        if (use(*header, bytes.subspan(sizeof(Header), size - sizeof(Header)))) {
            return true;
        }
        bytes = bytes.subspan(std::min<std::size_t>(NLMSG_ALIGN(size), bytes.size()));
    }
    return false;
}

struct Interface {
    int index;
};

bool isRunning(int socket, Interface interface) {
    ifreq request{};
    request.ifr_ifindex = interface.index;
    if (::ioctl(socket, SIOCGIFNAME, &request) != 0 || ::ioctl(socket, SIOCGIFFLAGS, &request) != 0) {
        return false;
    }
    constexpr int working = IFF_UP | IFF_RUNNING; // the second: with a carrier
    return (request.ifr_flags & (working | IFF_LOOPBACK)) == working;
}

/// A route without an interface of its own names several: each may do.
bool leadsOut(int socket, Bytes attributes) {
    return anyOf(attributes, &rtattr::rta_len, [&](const rtattr& attribute, Bytes value) {
        if (attribute.rta_type == RTA_OIF) {
            const auto interface = first<int>(value);
            return interface && isRunning(socket, {*interface});
        }
        return attribute.rta_type == RTA_MULTIPATH &&
               anyOf(value, &rtnexthop::rtnh_len, [&](const rtnexthop& hop, Bytes) {
                   return (hop.rtnh_flags & RTNH_F_DEAD) == 0 && isRunning(socket, {hop.rtnh_ifindex});
               });
    });
}

bool isWorkingDefault(int socket, Bytes message) {
    const auto route = first<rtmsg>(message);
    return route && route->rtm_dst_len == 0 && route->rtm_table == RT_TABLE_MAIN &&
           route->rtm_type == RTN_UNICAST && (route->rtm_flags & (RTNH_F_DEAD | RTM_F_CLONED)) == 0 &&
           leadsOut(socket, message.subspan(NLMSG_ALIGN(sizeof(rtmsg))));
}

bool ask(int socket, unsigned char family) {
    struct {
        nlmsghdr header;
        rtmsg route;
    } request{};
    request.header.nlmsg_len = sizeof request;
    request.header.nlmsg_type = RTM_GETROUTE;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.route.rtm_family = family;
    return ::send(socket, &request, sizeof request, 0) == sizeof request;
}

std::optional<bool> works(int socket, unsigned char family) {
    if (!ask(socket, family)) {
        return std::nullopt;
    }
    bool found = false;
    bool failed = false;
    bool done = false;
    std::array<std::byte, 32768> buffer; // NOLINT: filled by recv
    while (!done) {
        // The kernel has its answer ready before it returns from the request.
        const auto count = ::recv(socket, buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (count <= 0) {
            return std::nullopt;
        }
        const auto answer = Bytes(buffer).first(static_cast<std::size_t>(count));
        done = anyOf(answer, &nlmsghdr::nlmsg_len, [&](const nlmsghdr& header, Bytes message) {
            failed = header.nlmsg_type == NLMSG_ERROR;
            found = found || (header.nlmsg_type == RTM_NEWROUTE && isWorkingDefault(socket, message));
            return failed || header.nlmsg_type == NLMSG_DONE;
        });
    }
    return failed ? std::nullopt : std::optional(found);
}

} // namespace

std::optional<bool> works() {
    const Descriptor socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
    if (!socket.isOpen()) {
        return std::nullopt;
    }
    const auto v4 = works(socket.get(), AF_INET);
    if (v4 == true) {
        return true;
    }
    const auto v6 = works(socket.get(), AF_INET6);
    return v4 && v6 ? std::optional(*v6) : v6 == true ? v6 : std::nullopt;
}

} // namespace fluvane::defaultRoute
