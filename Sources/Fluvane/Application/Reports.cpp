// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Application/Reports.h"

#include "Fluvane/Application/DiagnosticsSection.h"
#include "Fluvane/Application/Releases.h"
#include "Fluvane/Client/DataFolders.h"
#include "Fluvane/Linux/Services/Calls.h"
#include "TessivarCore/AppIdentity.h"
#include "TessivarCore/Log.h"
#include "TessivarPhrases/Phrases.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QtGlobal>

#include <utility>

namespace fluvane {

namespace {

tessivar::MainContext contextOf(LinuxScheduler& scheduler) {
    return {.post = [&scheduler](std::function<void()> work) { scheduler.post(std::move(work)); },
            .after = [&scheduler](double seconds,
                                  std::function<void()> work) { scheduler.after(seconds, std::move(work)); }};
}

const tessivar::CrashNote::Wording crashWording = {
    .survived = tessivar::markedIn("kept", "Your downloads carry on from the last bytes saved."),
    .neverHeld = tessivar::markedIn("kept", "There are no links and no file names in it."),
    .section = tessivar::markedIn("kept",
                                  "It tells of your downloads, too, by number, with their sizes and states."),
};

/// Asks the bus whether somebody has the name; without a bus nobody has.
void findOwner(const Bus& bus, const QString& name, const std::function<void(bool)>& answer) {
    const auto connection = bus.connection();
    if (!connection) {
        return answer(false);
    }
    ask(*connection, busItself(), "NameHasOwner", {name}, *QCoreApplication::instance(),
        [answer](const QDBusMessage& told) { answer(told.arguments().value(0).toBool()); });
}

tessivar::Diagnostics::Service service(const Bus& bus, const char* name) {
    return {.name = name, .find = [&bus, name](auto answer) { findOwner(bus, name, answer); }};
}

std::string stateFile(const char* name) {
    return dataFolders::state() + "/" + name;
}

} // namespace

Reports::Reports(const DownloadManager& manager, const tessivar::LogFiles& log, LinuxScheduler& scheduler,
                 const Buses& buses)
    : manager_(manager), crashNote_(crashFolder(), crashWording,
                                    [this] {
                                        std::string text;
                                        for (const auto& section : sections()) {
                                            text += section.title + "\n" + section.text + "\n";
                                        }
                                        return text;
                                    }),
      whatsNew_({.releases = fluvane::releases(),
                 .version = tessivar::AppIdentity::current.version,
                 .stateFile = stateFile("whats-new.json"),
                 .welcomed = [this] { return manager_.config().hasCompletedOnboarding; }}),
      diagnostics_(options(log, buses), contextOf(scheduler)),
      releases_(releaseChannel(contextOf(scheduler))) {}

std::string Reports::crashFolder() {
    return stateFile("reports");
}

std::vector<tessivar::Diagnostics::Section> Reports::sections() const {
    return diagnosticsSections(manager_.downloads(), manager_.config());
}

tessivar::Diagnostics::Options Reports::options(const tessivar::LogFiles& log, const Buses& buses) const {
    return {.versions = {{"Qt", qVersion()}},
            .services = {service(buses.session, "org.freedesktop.Notifications"),
                         service(buses.session, "org.freedesktop.FileManager1"),
                         service(buses.session, "org.gnome.SessionManager"),
                         service(buses.session, "org.freedesktop.PowerManagement"),
                         service(buses.session, "org.kde.StatusNotifierWatcher"),
                         service(buses.system, "org.freedesktop.login1"),
                         service(buses.system, "org.freedesktop.NetworkManager")},
            .sections = [this] { return sections(); },
            .log = [&log] { return log.recentMarked(recentLog); }};
}

void Reports::start(Handlers handlers) {
    if (releases_.start) {
        releases_.start(std::move(handlers.tellOfUpdate));
    }
    whatsNew_.showIfUpdated([&](const std::string& text) {
        if (handlers.whatsNew) {
            handlers.whatsNew(text);
        }
        tessivar::log::lifecycle([&] { return "updated; what is new: " + text.substr(0, text.find('\n')); });
    });
    crashNote_.showIfNeeded([&](const std::string& note) {
        if (handlers.crashNote) {
            handlers.crashNote(note);
        }
        tessivar::log::lifecycle.error("the last run crashed or hung: " + note.substr(0, note.find('\n')));
    });
}

} // namespace fluvane
