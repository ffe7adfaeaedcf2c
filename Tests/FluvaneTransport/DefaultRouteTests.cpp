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

struct Row {
    const char* name;
    const char* change;
    bool works;
    bool reachesPeer; ///< 10.9.0.2, without a default route.
};
constexpr Row rows[] = {
    {"only a container's bridge", "ip link set bridge0 up && ip addr add 10.8.0.1/24 dev bridge0", false,
     false},
    {"an address without a way out",
     "ip link set out up; ip link set far up; ip addr add 10.9.0.1/24 dev out", false, true},
    {"another table", "ip route add default via 10.9.0.2 table 7", false, true},
    {"a way out", "ip route add default via 10.9.0.2", true, true},
    {"two ways, of which one works",
     "ip route replace default nexthop dev bridge0 nexthop via 10.9.0.2; ip link set bridge0 down", true,
     true},
    {"no way left", "ip route del default", false, true},
    {"IPv6 alone", "ip -6 addr add fd00::1/64 dev out nodad && ip -6 route add default via fd00::2", true,
     true},
    {"down", "ip link set out down", false, false},
};

/// The number of the first row that isn't so, from 1; 0 when all are.
int firstWrongRow() {
    int number = 0;
    for (const auto& row : rows) {
        ++number;
        if (std::system(row.change) != 0 || defaultRoute::works() != row.works ||
            networkReach::beyondThisMachine("") != row.works ||
            networkReach::beyondThisMachine("10.9.0.2") != (row.works || row.reachesPeer)) {
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
    const int code = WEXITSTATUS(status);
    if (code == cannotTry) {
        GTEST_SKIP() << "no network of its own could be made here";
    }
    EXPECT_EQ(code, 0) << rows[code - 1].name;
}

} // namespace fluvane::support
