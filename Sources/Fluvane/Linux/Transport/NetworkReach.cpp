#include "Fluvane/Linux/Transport/NetworkReach.h"

#include <algorithm>
#include <memory>
#include <string>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

namespace fluvane::NetworkReach {

namespace {

bool reachesBeyondItsLink(const sockaddr& address) {
    if (address.sa_family == AF_INET) {
        const auto host = ntohl(reinterpret_cast<const sockaddr_in&>(address).sin_addr.s_addr);
        return host >> 16 != 0xA9FE; // 169.254.0.0/16
    }
    if (address.sa_family == AF_INET6) {
        return !IN6_IS_ADDR_LINKLOCAL(&reinterpret_cast<const sockaddr_in6&>(address).sin6_addr);
    }
    return false;
}

bool leadsOut(const ifaddrs& interface) {
    constexpr unsigned working = IFF_UP | IFF_RUNNING;
    return interface.ifa_addr && (interface.ifa_flags & IFF_LOOPBACK) == 0 &&
           (interface.ifa_flags & working) == working && reachesBeyondItsLink(*interface.ifa_addr);
}

} // namespace

bool beyondThisMachine() {
    ifaddrs* first = nullptr;
    if (::getifaddrs(&first) != 0) {
        return true;
    }
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> owner(first, &::freeifaddrs);
    for (const ifaddrs* interface = first; interface; interface = interface->ifa_next) {
        if (leadsOut(*interface)) {
            return true;
        }
    }
    return false;
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

} // namespace fluvane::NetworkReach
