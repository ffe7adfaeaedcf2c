// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Application/Frontend.h"
#include "Fluvane/Linux/Autostart/LinuxAutostart.h"
#include "Fluvane/Linux/Shell/LinuxFileActions.h"
#include "Fluvane/UI/Desktop/ActivationVariable.h"
#include "Fluvane/UI/Desktop/DesktopWindows.h"
#include "Tessivar/Qt/WatchedApplication.h"
#include "Tessivar/Windows/Accessibility.h"
#include "Tessivar/Windows/LanguageOfWindows.h"
#include "Tessivar/Windows/Style.h"
#include "TessivarCore/AppIdentity.h"
#include "TessivarCore/Log.h"

#include <QApplication>
#include <QByteArray>

#include <algorithm>
#include <functional>
#include <utility>
#include <vector>

namespace fluvane {

namespace {

constexpr const char* platformVariable = "QT_QPA_PLATFORM";

/// The ways to a display, best first. A list that ends in the platform without a screen is what keeps a
/// display that doesn't answer from ending the program.
QByteArray platforms() {
    const bool wayland = !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
    const bool x11 = !qEnvironmentVariableIsEmpty("DISPLAY");
    if (!wayland) {
        return "xcb;offscreen";
    }
    // GNOME draws no frames around the windows of others; through X11 they have some.
    const bool isGNOME = qgetenv("XDG_CURRENT_DESKTOP").toLower().contains("gnome");
    return x11 && isGNOME ? "xcb;wayland;offscreen" : x11 ? "wayland;xcb;offscreen" : "wayland;offscreen";
}

void prepareWindows() {
    const auto& identity = tessivar::AppIdentity::current;
    QGuiApplication::setDesktopFileName(QString::fromStdString(identity.identifier));
    QGuiApplication::setApplicationDisplayName(QString::fromStdString(identity.displayName));
    QGuiApplication::setQuitOnLastWindowClosed(false);
    if (QApplication::style()->name() == "fusion") {
        QApplication::setStyle(new tessivar::Style);
        tessivar::mendAccessibility();
    }
}

/// What the windows alone use of the system; made before them, and ended after.
struct Services {
    Services(const Frontend::ApplicationServices& parts, std::function<void(const std::string&)> failed)
        : files(parts.reveal, parts.mainQueue, std::move(failed)), autostart(LinuxAutostart::forThisUser()) {}
    LinuxFileActions files;
    LinuxAutostart autostart;
};

struct ServedWindows : Services, DesktopWindows {
    explicit ServedWindows(const Frontend::ApplicationServices& parts)
        : Services(parts, [this](const std::string& why) { tellProblem(why); }),
          DesktopWindows(parts.manager, parts.settings, files, autostart, parts.session, parts.stateFolder,
                         parts.self) {}
};

class Desktop : public Frontend {
public:
    std::unique_ptr<QCoreApplication> makeApplication(int& count, char** arguments,
                                                      tessivar::HangWatch& watch) override;
    std::unique_ptr<ApplicationWindows> makeWindows(const ApplicationServices& parts) override {
        return hasDisplay_ ? std::make_unique<ServedWindows>(parts) : nullptr;
    }

private:
    // As Qt's to change, for as long as there is an application.
    QByteArray platforms_;
    std::vector<char*> arguments_;
    int count_ = 0;
    bool hasDisplay_ = false;
};

/// A display that only looks like one never ends the program. Qt is told the ways by arguments: by a
/// variable, programs that we start would be, too, and its threads read the environment as soon as it is
/// there.
std::unique_ptr<QCoreApplication> Desktop::makeApplication(int& count, char** arguments,
                                                           tessivar::HangWatch& watch) {
    const bool chosen = !qEnvironmentVariableIsEmpty(platformVariable);
    arguments_.assign(arguments, arguments + count);
    if (!chosen) {
        static char option[] = "-platform";
        platforms_ = platforms();
        arguments_.insert(arguments_.begin() + std::min(count, 1), {option, platforms_.data()});
    }
    count_ = static_cast<int>(arguments_.size());
    arguments_.push_back(nullptr);
    activationVariable::makeRoom();
    auto application =
        std::make_unique<tessivar::WatchedApplication<QApplication>>(count_, arguments_.data(), watch);
    hasDisplay_ = chosen || QGuiApplication::platformName() != "offscreen";
    if (hasDisplay_) {
        tessivar::followLanguage();
        prepareWindows();
    } else {
        tessivar::log::lifecycle.error("no display answers: running without windows");
    }
    return application;
}

} // namespace

} // namespace fluvane

/// What the executable calls once it has loaded the application. An exception that gets here is a crash, and
/// is reported as one.
extern "C" __attribute__((visibility("default"))) int fluvaneApplication(int argc, char** argv) noexcept {
    fluvane::Desktop frontend;
    return fluvane::runApplication(argc, argv, frontend);
}
