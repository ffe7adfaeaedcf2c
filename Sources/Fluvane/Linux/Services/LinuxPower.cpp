// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Services/LinuxPower.h"

#include "Fluvane/Linux/Services/Inhibitor.h"
#include "FluvaneEngine/Log.h"
#include "TessivarCore/AppIdentity.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QTimer>

#include <array>
#include <chrono>
#include <utility>

namespace fluvane {

namespace {

using namespace std::chrono_literals;

/// How long a service may take to answer before the next is asked as well.
constexpr auto patience = 600ms;

QString reason() {
    return tessivar::qPhrase("Fluvane is downloading");
}

QString name(const std::string& text) {
    return QString::fromStdString(text);
}

Inhibitor::Way sessionManager() {
    constexpr uint noWindow = 0;
    constexpr uint suspend = 4;
    return {.object = {QStringLiteral("org.gnome.SessionManager"),
                       QStringLiteral("/org/gnome/SessionManager"),
                       QStringLiteral("org.gnome.SessionManager")},
            .arguments = {name(tessivar::AppIdentity::current.identifier), noWindow, reason(), suspend},
            .release = QStringLiteral("Uninhibit")};
}

Inhibitor::Way powerManagement() {
    return {.object = {QStringLiteral("org.freedesktop.PowerManagement"),
                       QStringLiteral("/org/freedesktop/PowerManagement/Inhibit"),
                       QStringLiteral("org.freedesktop.PowerManagement.Inhibit")},
            .arguments = {name(tessivar::AppIdentity::current.displayName), reason()},
            .release = QStringLiteral("UnInhibit")};
}

/// "idle", not "sleep": the user may still send the machine to sleep.
Inhibitor::Way loginManager() {
    return {.object = {QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
                       QStringLiteral("org.freedesktop.login1.Manager")},
            .arguments = {QStringLiteral("idle"), name(tessivar::AppIdentity::current.displayName), reason(),
                          QStringLiteral("block")},
            .release = {}};
}

} // namespace

/// The services in the order of preference, and which of them is to be held.
class LinuxPower::Inhibition {
public:
    explicit Inhibition(const Buses& buses);
    void keepAwake(bool on);

private:
    void settle();
    void hold();
    void waitFor(Inhibitor& inhibitor);

    bool on_ = false;
    QTimer patience_;
    Inhibitor* awaited_ = nullptr;
    std::array<std::unique_ptr<Inhibitor>, 3> inhibitors_;
};

LinuxPower::Inhibition::Inhibition(const Buses& buses) {
    patience_.setSingleShot(true);
    QObject::connect(&patience_, &QTimer::timeout, &patience_, [this] {
        std::exchange(awaited_, nullptr)->giveUpWaiting();
        settle();
    });
    const auto changed = [this] { settle(); };
    inhibitors_ = {std::make_unique<Inhibitor>(buses.session, sessionManager(), changed),
                   std::make_unique<Inhibitor>(buses.session, powerManagement(), changed),
                   std::make_unique<Inhibitor>(buses.system, loginManager(), changed)};
}

void LinuxPower::Inhibition::keepAwake(bool on) {
    if (std::exchange(on_, on) == on) {
        return;
    }
    for (const auto& inhibitor : inhibitors_) {
        inhibitor->forgetRefusal();
    }
    settle();
}

void LinuxPower::Inhibition::settle() {
    patience_.stop();
    awaited_ = nullptr;
    if (on_) {
        hold();
        return;
    }
    for (const auto& inhibitor : inhibitors_) {
        inhibitor->release();
    }
}

/// The first that grants it is held. What others granted is kept until then, so there is never a gap. One
/// that keeps us waiting isn't waited for, but taken at its word when it comes.
void LinuxPower::Inhibition::hold() {
    bool held = false;
    for (const auto& inhibitor : inhibitors_) {
        if (held) {
            inhibitor->release();
        } else if (inhibitor->isHeld()) {
            held = true;
        } else if (inhibitor->isPromising()) {
            inhibitor->take();
            waitFor(*inhibitor);
            return;
        } else if (inhibitor->isAsking()) {
            inhibitor->take();
        }
    }
}

void LinuxPower::Inhibition::waitFor(Inhibitor& inhibitor) {
    awaited_ = &inhibitor;
    patience_.start(patience);
}

LinuxPower::LinuxPower(const Buses& buses) : inhibition_(std::make_unique<Inhibition>(buses)) {}

LinuxPower::~LinuxPower() = default;

void LinuxPower::keepAwake(bool on) {
    inhibition_->keepAwake(on);
}

} // namespace fluvane
