// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The classes for the desktop's services at the end of a pipe: each line in is a command, each line out tells
// what happened. What watches the network has its time from the test.

#include "Fluvane/Linux/LinuxScheduler.h"
#include "Fluvane/Linux/Notices/FileReveal.h"
#include "Fluvane/Linux/Notices/LinuxNotifier.h"
#include "Fluvane/Linux/Services/Bus.h"
#include "Fluvane/Linux/Services/Calls.h"
#include "Fluvane/Linux/Services/DesktopNetworkWatch.h"
#include "Fluvane/Linux/Services/LinuxPower.h"
#include "Fluvane/Linux/Services/SleepWatch.h"
#include "Fluvane/Linux/Shell/LinuxFileActions.h"
#include "Support/ManualScheduler.h"
#include "TessivarCore/AppIdentity.h"

#include <nlohmann/json.hpp>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QSocketNotifier>

#include <iostream>

using namespace fluvane;
using nlohmann::json;

namespace {

void tell(const char* kind, const json& what) {
    std::cout << json{{kind, what}}.dump() << std::endl;
}

URL fileOf(const json& given) {
    return URL::file(given["file"].get<std::string>());
}

DownloadRecord record(const json& given) {
    DownloadRecord made(DownloadID{1}, URL::parse("https://h.org/x").value(),
                        URL::folder(given.value("folder", "/tmp/Films")), std::nullopt, Date());
    made.name = given["name"];
    if (given.contains("file")) {
        made.file = fileOf(given);
    }
    if (given.contains("differs")) {
        made.checksum = Checksum::recognise(std::string(64, 'a'));
        made.checksumResult = ChecksumResult{ChecksumResult::Differs{"b"}};
    }
    return made;
}

class Driver {
public:
    Driver() {
        follow(session_, "session");
        follow(system_, "system");
        network_.start([](const NetworkWatch::Report& report) {
            const std::string there = report.online ? "online" : "offline";
            tell("network", report.limited ? there + ", " + std::string(rawValue(*report.limited)) : there);
        });
    }
    void carryOut(const json& command) { commands_.at(command["do"])(command); }

private:
    static void follow(Bus& bus, const char* kind) {
        bus.whenConnected([kind](const QDBusConnection&) { tell("connected", kind); });
        bus.whenLost([kind] { tell("lost", kind); });
        bus.whenMissing([kind] { tell("missing", kind); });
        bus.start();
    }
    /// Answers when everything has arrived that was on its way to a connection.
    void catchUp(const Bus& bus, const std::function<void()>& then) {
        ask(bus.connection().value(), busItself(), "GetId", {}, context_,
            [then](const QDBusMessage&) { then(); });
    }

    LinuxScheduler queue_;
    support::ManualScheduler time_;
    QObject context_;
    Bus session_{Bus::Kind::session, queue_};
    Bus system_{Bus::Kind::system, queue_};
    bool wanted_ = true;
    FileReveal reveal_{session_};
    LinuxNotifier notifier_{session_, [this] { return wanted_; },
                            [](const URL& file, const std::string& token) {
                                tell("clicked", {file.absoluteString(), token});
                            }};
    LinuxFileActions actions_{reveal_, queue_, [](const std::string& problem) { tell("problem", problem); }};
    LinuxPower power_{{.session = session_, .system = system_}};
    DesktopNetworkWatch network_{system_, time_};
    SleepWatch sleep_{system_, [](const SleepWatch::Done& finished) { finished(); }, [] {}};
    const std::map<std::string, std::function<void(const json&)>> commands_{
        {"here", [](const json&) { tell("answer", "here"); }},
        {"catch-up",
         [this](const json&) {
             catchUp(session_, [this] { catchUp(system_, [] { tell("answer", "caught up"); }); });
         }},
        {"finished", [this](const json& given) { notifier_.finished(record(given)); }},
        {"failed", [this](const json& given) { notifier_.failed(record(given), given["reason"]); }},
        {"wanted", [this](const json& given) { wanted_ = given["on"]; }},
        {"show", [this](const json& given) { reveal_.show(fileOf(given), given.value("token", "")); }},
        {"open",
         [this](const json& given) { actions_.open(URL::parse(given["what"].get<std::string>()).value()); }},
        {"trash",
         [this](const json& given) {
             actions_.moveToWastebasket(fileOf(given),
                                        [](const auto& error) { tell("trashed", error.value_or("")); });
         }},
        {"keep-awake", [this](const json& given) { power_.keepAwake(given["on"]); }},
        {"run", [this](const json& given) { time_.runFor(given["seconds"]); }},
    };
};

} // namespace

int main(int count, char** arguments) {
    std::ios::sync_with_stdio(false); // so that it is known what of the input is left
    const QCoreApplication application(count, arguments);
    tessivar::AppIdentity::current.displayName = "Fluvane";
    tessivar::AppIdentity::current.identifier = "org.example.Fluvane";
    Driver driver;
    QSocketNotifier commands(0, QSocketNotifier::Read);
    QObject::connect(&commands, &QSocketNotifier::activated, [&] {
        std::string line;
        do {
            if (!std::getline(std::cin, line)) {
                QCoreApplication::quit();
                return;
            }
            driver.carryOut(json::parse(line));
        } while (std::cin.rdbuf()->in_avail() > 0);
    });
    return QCoreApplication::exec();
}
