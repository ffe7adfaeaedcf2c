// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The classes for the desktop's services at the end of a pipe: each line in is a command, each line out tells
// what happened. What watches the network has its time from the test.

#include "Fluvane/Linux/LinuxScheduler.h"
#include "Fluvane/Linux/Notices/FileReveal.h"
#include "Fluvane/Linux/Notices/LinuxNotifier.h"
#include "Fluvane/Linux/Services/Bus.h"
#include "Fluvane/Linux/Services/BusAddress.h"
#include "Fluvane/Linux/Services/Calls.h"
#include "Fluvane/Linux/Services/DesktopNetworkWatch.h"
#include "Fluvane/Linux/Services/LinuxPower.h"
#include "Fluvane/Linux/Services/SleepWatch.h"
#include "Fluvane/Linux/Shell/LinuxFileActions.h"
#include "Support/ManualScheduler.h"
#include "TessivarCore/AppIdentity.h"
#include "TessivarCore/Log.h"

#include <nlohmann/json.hpp>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QSocketNotifier>

#include <functional>
#include <iostream>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include <unistd.h>

using namespace fluvane;
using nlohmann::json;

namespace {

/// Of tests, in seconds.
double patience() {
    return qEnvironmentVariable("PATIENCE", "20").toDouble();
}

/// From any thread, as the log does.
void tell(const char* kind, const json& what) {
    static std::mutex mutex;
    const std::scoped_lock lock(mutex);
    std::cout << json{{kind, what}}.dump(-1, ' ', false, json::error_handler_t::replace) << std::endl;
}

DownloadRecord record(const json& given) {
    DownloadRecord made(DownloadID{1}, URL::parse(given.value("url", "https://h.org/from-link.zip")).value(),
                        URL::folder(given.value("folder", "/tmp/Films")), std::nullopt, Date());
    if (given.contains("name")) {
        made.name = given["name"];
    }
    if (given.contains("file")) {
        made.file = URL::file(given["file"].get<std::string>());
    }
    if (given.contains("differs")) {
        made.checksum = Checksum::recognise(std::string(64, 'a'));
        made.checksumResult = given["differs"] ? ChecksumResult{ChecksumResult::Differs{"b"}}
                                               : ChecksumResult{ChecksumResult::Matches{}};
    }
    return made;
}

/// Time passes when it is told to.
struct ToldTime : support::ManualScheduler {
    std::shared_ptr<Cancellable> after(double seconds, std::function<void()> work) override {
        tell("waits", seconds);
        return ManualScheduler::after(seconds, std::move(work));
    }
};

struct Services {
    Services(Bus& session, Bus& system, Scheduler& time)
        : power({.session = session, .system = system}), network(system, time),
          sleep(
              system, [this](const auto& finished) { aboutToSleep(finished); },
              [] { tell("sleep", false); }) {
        network.start([](const NetworkWatch::Report& report) { tell("network", describe(report)); });
    }
    static std::string describe(const NetworkWatch::Report& report) {
        const std::string there = report.online ? "online" : "offline";
        return report.limited ? there + ", " + std::string(rawValue(*report.limited)) : there;
    }
    void aboutToSleep(const SleepWatch::Done& finished) {
        done = finished;
        tell("sleep", true);
    }
    LinuxPower power;
    DesktopNetworkWatch network;
    SleepWatch::Done done;
    SleepWatch sleep;
};

class Driver {
public:
    Driver() {
        follow(session_, "session");
        follow(system_, "system");
    }
    void carryOut(const json& command) { commands_.at(command["do"])(command); }

private:
    static void follow(Bus& bus, const char* kind) {
        bus.whenConnected([kind](const QDBusConnection&) { tell("connected", kind); });
        bus.whenLost([kind] { tell("lost", kind); });
        bus.whenMissing([kind] { tell("missing", kind); });
    }
    /// Answers when everything has arrived that was on its way to a connection.
    void catchUp(const Bus& bus, const std::function<void()>& then) {
        if (const auto connection = bus.connection()) {
            ask(*connection, busItself(), "GetId", {}, context_, [then](const QDBusMessage&) { then(); });
        } else {
            then();
        }
    }
    static void tellAddress(const json& given) {
        for (const auto* const name : {"DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR"}) {
            qputenv(name, given[name].get<std::string>().c_str());
        }
        tell("answer", busAddress(Bus::Kind::session));
    }
    void tellSent() const {
        json all = json::array();
        for (const auto& notice : notifier_.sent()) {
            all.push_back({notice.title, notice.body});
        }
        tell("answer", all);
    }

    LinuxScheduler queue_;
    ToldTime time_;
    QObject context_;
    Bus session_{Bus::Kind::session, queue_};
    Bus system_{Bus::Kind::system, queue_};
    bool wanted_ = true;
    FileReveal reveal_{session_, patience()};
    LinuxNotifier notifier_{session_, [this] { return wanted_; },
                            [](const URL& file, const std::string& token) {
                                tell("clicked", {file.absoluteString(), token});
                            },
                            patience()};
    LinuxFileActions actions_{reveal_, queue_, [](const std::string& problem) { tell("problem", problem); }};
    std::optional<Services> services_;
    const std::map<std::string, std::function<void(const json&)>> commands_{
        {"here", [](const json&) { tell("answer", "here"); }},
        {"catch-up",
         [this](const json&) {
             catchUp(session_, [this] { catchUp(system_, [] { tell("answer", "caught up"); }); });
         }},
        {"address", tellAddress},
        {"start",
         [this](const json&) {
             session_.start();
             system_.start();
         }},
        {"finished", [this](const json& given) { notifier_.finished(record(given)); }},
        {"failed", [this](const json& given) { notifier_.failed(record(given), given["reason"]); }},
        {"expired", [this](const json& given) { notifier_.linkExpired(record(given)); }},
        {"tell",
         [this](const json& given) { notifier_.tell({.title = given["title"], .body = given["body"]}); }},
        {"wanted", [this](const json& given) { wanted_ = given["on"]; }},
        {"sent", [this](const json&) { tellSent(); }},
        {"show",
         [this](const json& given) {
             reveal_.show(URL::file(given["file"].get<std::string>()), given.value("token", ""));
         }},
        {"open",
         [this](const json& given) { actions_.open(URL::parse(given["what"].get<std::string>()).value()); }},
        {"trash",
         [this](const json& given) {
             actions_.moveToWastebasket(URL::file(given["file"].get<std::string>()),
                                        [](const auto& error) { tell("trashed", error.value_or("")); });
         }},
        {"serve",
         [this](const json&) {
             services_.reset();
             services_.emplace(session_, system_, time_);
         }},
        {"keep-awake", [this](const json& given) { services_->power.keepAwake(given["on"]); }},
        {"may-sleep", [this](const json&) { services_->done(); }},
        {"run", [this](const json& given) { time_.runFor(given["seconds"]); }},
    };
};

} // namespace

int main(int count, char** arguments) {
    const QCoreApplication application(count, arguments);
    tessivar::AppIdentity::current.displayName = "Fluvane";
    tessivar::AppIdentity::current.identifier = "org.example.Fluvane";
    tessivar::Log::setSink([](auto level, std::string_view, std::string_view message) {
        if (level == tessivar::Log::Level::error) {
            tell("error", tessivar::log::shown(message));
        }
    });
    Driver driver;
    std::string input;
    QSocketNotifier commands(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&commands, &QSocketNotifier::activated, [&] {
        char chunk[65536];
        const auto length = ::read(STDIN_FILENO, chunk, sizeof chunk);
        if (length <= 0) {
            QCoreApplication::quit();
            return;
        }
        input.append(chunk, static_cast<std::size_t>(length));
        for (auto end = input.find('\n'); end != std::string::npos; end = input.find('\n')) {
            driver.carryOut(json::parse(input.substr(0, end)));
            input.erase(0, end + 1);
        }
    });
    return QCoreApplication::exec();
}
