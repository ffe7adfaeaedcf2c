// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Transport/NetworkReach.h"

#include "Fluvane/Linux/Transport/DefaultRoute.h"
#include "TessivarBase/Descriptor.h"

#include <cstring>
#include <memory>
#include <string>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace fluvane::networkReach {

namespace {

bool sameAddress(const sockaddr& one, const sockaddr_storage& other) {
    if (one.sa_family != other.ss_family) {
        return false;
    }
    if (one.sa_family == AF_INET) {
        return std::memcmp(&reinterpret_cast<const sockaddr_in&>(one).sin_addr,
                           &reinterpret_cast<const sockaddr_in&>(other).sin_addr, sizeof(in_addr)) == 0;
    }
    return one.sa_family == AF_INET6 &&
           std::memcmp(&reinterpret_cast<const sockaddr_in6&>(one).sin6_addr,
                       &reinterpret_cast<const sockaddr_in6&>(other).sin6_addr, sizeof(in6_addr)) == 0;
}

/// Whether the interface that has the address is up and has a carrier.
bool isOnLiveInterface(const sockaddr_storage& address) {
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0) {
        return true;
    }
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> all(list, ::freeifaddrs);
    for (const auto* entry = list; entry; entry = entry->ifa_next) {
        if (entry->ifa_addr && sameAddress(*entry->ifa_addr, address)) {
            return (entry->ifa_flags & IFF_RUNNING) != 0;
        }
    }
    return false;
}

/// Has the kernel choose a source address for the peer; no packet is sent.
bool hasRouteTo(const std::string& peer) {
    const addrinfo hints{.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV,
                         .ai_family = AF_UNSPEC,
                         .ai_socktype = SOCK_DGRAM,
                         .ai_protocol = 0,
                         .ai_addrlen = 0,
                         .ai_addr = nullptr,
                         .ai_canonname = nullptr,
                         .ai_next = nullptr};
    addrinfo* found = nullptr;
    if (peer.empty() || ::getaddrinfo(peer.c_str(), "9", &hints, &found) != 0) {
        return false;
    }
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> address(found, ::freeaddrinfo);
    const tessivar::Descriptor probe(::socket(found->ai_family, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_storage own{};
    socklen_t size = sizeof own;
    const bool reached = probe.isOpen() && ::connect(probe.get(), found->ai_addr, found->ai_addrlen) == 0 &&
                         ::getsockname(probe.get(), reinterpret_cast<sockaddr*>(&own), &size) == 0;
    return reached && isOnLiveInterface(own);
}

} // namespace

bool beyondThisMachine(std::string_view peer) {
    return defaultRoute::works().value_or(true) || hasRouteTo(std::string(peer));
}

bool isLoopback(std::string_view host) {
    if (host.size() > 1 && host.front() == '[' && host.back() == ']') {
        host = host.substr(1, host.size() - 2);
    }
    const std::string text(host);
    in_addr v4{};
    if (::inet_pton(AF_INET, text.c_str(), &v4) == 1) {
        return ntohl(v4.s_addr) >> 24 == 127;
    }
    in6_addr v6{};
    if (::inet_pton(AF_INET6, text.c_str(), &v6) == 1) {
        const bool mapped = IN6_IS_ADDR_V4MAPPED(&v6) && v6.s6_addr[12] == 127;
        return IN6_IS_ADDR_LOOPBACK(&v6) || mapped;
    }
    return text == "localhost" || text.ends_with(".localhost");
}

} // namespace fluvane::networkReach
