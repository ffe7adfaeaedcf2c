#include "Fluvane/Application/Display.h"

#include "Fluvane/Linux/WatchedApplication.h"
#include "Tessivar/Windows/OutlinedStyle.h"
#include "TessivarCore/AppIdentity.h"
#include "TessivarCore/Log.h"

#include <QApplication>
#include <QByteArray>

namespace fluvane {

namespace {

constexpr const char* platformVariable = "QT_QPA_PLATFORM";

/// The ways to a display, best first; empty without any. A list that ends in the platform without a screen
/// is what keeps a display that doesn't answer from ending the program.
QByteArray platforms() {
    const bool wayland = !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
    const bool x11 = !qEnvironmentVariableIsEmpty("DISPLAY");
    if (!wayland && !x11) {
        return {};
    }
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
        QApplication::setStyle(new tessivar::OutlinedStyle);
    }
}

} // namespace

Display::Display(int& count, char** arguments, tessivar::HangWatch& watch, bool wanted) {
    const bool chosen = !qEnvironmentVariableIsEmpty(platformVariable);
    const QByteArray ways = wanted && !chosen ? platforms() : QByteArray();
    if (!wanted || (!chosen && ways.isEmpty())) {
        application_ = std::make_unique<WatchedApplication<QCoreApplication>>(count, arguments, watch);
        return;
    }
    if (!chosen) {
        qputenv(platformVariable, ways);
    }
    application_ = std::make_unique<WatchedApplication<QApplication>>(count, arguments, watch);
    if (!chosen) {
        qunsetenv(platformVariable); // it is no business of programs that we start
    }
    hasWindows_ = chosen || QGuiApplication::platformName() != "offscreen";
    if (hasWindows_) {
        prepareWindows();
    } else {
        tessivar::log::lifecycle.error("no display answers: running without windows");
    }
}

Display::~Display() = default;

} // namespace fluvane
