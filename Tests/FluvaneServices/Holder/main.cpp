// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Holds whatever keeps the machine awake, with all the services running, until it is killed. For the test of
// that, and to count what it is woken for: voluntary_ctxt_switches in /proc/<pid>/status.

#include "Fluvane/Linux/LinuxScheduler.h"
#include "Fluvane/Linux/Services/DesktopNetworkWatch.h"
#include "Fluvane/Linux/Services/LinuxPower.h"
#include "Fluvane/Linux/Services/SleepWatch.h"

#include <QCoreApplication>

int main(int count, char** arguments) {
    const QCoreApplication application(count, arguments);
    fluvane::LinuxScheduler scheduler;
    const std::string address = count > 1 ? arguments[1] : "";
    fluvane::Bus session(fluvane::Bus::Kind::session, scheduler, address);
    fluvane::Bus system(fluvane::Bus::Kind::system, scheduler, address);
    fluvane::LinuxPower power(session, system);
    const fluvane::SleepWatch sleep(
        system, [](const auto& done) { done(); }, [] {});
    fluvane::DesktopNetworkWatch network(system, scheduler);
    network.start([](auto) {});
    power.keepAwake(true);
    session.start();
    system.start();
    return QCoreApplication::exec();
}
