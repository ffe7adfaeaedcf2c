// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Transport/DefaultRoute.h"
#include "Fluvane/Linux/Transport/NetworkReach.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sched.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace fluvane::support {

namespace {

constexpr int cannotTry = 77;

/// Makes this process root in a network of its own, in which there is nothing but a loopback that is down.
bool enterEmptyNetwork() {
    const auto user = std::to_string(::geteuid());
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) {
        return false;
    }
    std::ofstream("/proc/self/uid_map") << "0 " + user + " 1";
    return std::system("ip link add out type veth peer name far && ip link add bridge0 type bridge") == 0;
}

enum Reach { nothing, peer, everything }; ///< The peer is 10.9.0.2.
constexpr std::pair<const char*, Reach> rows[] = {
    {"ip link set bridge0 up && ip addr add 10.8.0.1/24 dev bridge0", nothing}, // as a container's
    {"ip link set out up; ip link set far up; ip addr add 10.9.0.1/24 dev out", peer},
    {"ip route add default via 10.9.0.2 table 7", peer},
    {"ip route add default via 10.9.0.2", everything},
    {"ip route replace default nexthop dev bridge0 nexthop via 10.9.0.2; ip link set bridge0 down",
     everything},
    {"ip route del default", peer},
    {"ip -6 addr add fd00::1/64 dev out nodad && ip -6 route add default via fd00::2", everything},
    {"ip link set out down", nothing},
};

/// The number of the first change after which it isn't so, from 1; 0 when there is none.
int firstWrongRow() {
    int number = 0;
    for (const auto& [change, reach] : rows) {
        ++number;
        if (std::system(change) != 0 || defaultRoute::works() != (reach == everything) ||
            networkReach::beyondThisMachine("") != (reach == everything) ||
            networkReach::beyondThisMachine("10.9.0.2") != (reach != nothing)) {
            return number;
        }
    }
    return 0;
}

} // namespace

TEST(DefaultRoute, FollowsTheMainTableAndItsInterfaces) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(enterEmptyNetwork() ? firstWrongRow() : cannotTry);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == cannotTry) {
        GTEST_SKIP() << "no network of its own could be made here";
    }
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

} // namespace fluvane::support
