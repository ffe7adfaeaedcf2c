// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Application/EndSignals.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>
#include <utility>

namespace fluvane {

namespace {

sigset_t wanted() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        struct sigaction action {};
        if (sigaction(number, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) {
            sigaddset(&signals, number);
        }
    }
    return signals;
}

} // namespace

void EndSignals::block() {
    const sigset_t signals = wanted();
    sigprocmask(SIG_BLOCK, &signals, nullptr);
}

EndSignals::EndSignals(std::function<void()> ended) {
    const sigset_t signals = wanted();
    signals_ = tessivar::Descriptor(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    notifier_ = std::make_unique<QSocketNotifier>(signals_.get(), QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this, ended = std::move(ended)] {
        signalfd_siginfo information{};
        while (read(signals_.get(), &information, sizeof information) == sizeof information) {
            ended();
        }
    });
}

} // namespace fluvane
