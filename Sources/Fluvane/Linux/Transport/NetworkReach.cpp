#include "Fluvane/Linux/Transport/NetworkReach.h"

#include "Fluvane/Linux/Transport/DefaultRoute.h"

#include <string>

#include <arpa/inet.h>
#include <netinet/in.h>

namespace fluvane::NetworkReach {

bool beyondThisMachine() {
    return DefaultRoute::works().value_or(true);
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
