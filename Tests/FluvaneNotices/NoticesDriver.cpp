// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Notices and the file manager at the end of a pipe: a line of JSON commands, a line of JSON tells.

#include "Fluvane/Linux/LinuxScheduler.h"
#include "Fluvane/Linux/Notices/FileReveal.h"
#include "Fluvane/Linux/Notices/LinuxNotifier.h"
#include "Fluvane/Linux/Services/Bus.h"

#include <nlohmann/json.hpp>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QSocketNotifier>

#include <iostream>
#include <string>

#include <unistd.h>

using namespace fluvane;
using nlohmann::json;

namespace {

constexpr double patience = 3; // of tests

void tell(const json& what) {
    std::cout << what.dump(-1, ' ', false, json::error_handler_t::replace) << std::endl;
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

class Driver {
public:
    Driver() { bus_.start(); }

    void carryOut(const json& command) {
        const std::string what = command["do"];
        if (what == "finished") {
            notifier_.finished(record(command));
        } else if (what == "failed") {
            notifier_.failed(record(command), command["reason"]);
        } else if (what == "expired") {
            notifier_.linkExpired(record(command));
        } else if (what == "tell") {
            notifier_.tell({.title = command["title"], .body = command["body"]});
        } else if (what == "wanted") {
            wanted_ = command["on"];
        } else if (what == "show") {
            reveal_.show(URL::file(command["file"].get<std::string>()), command.value("token", ""));
        } else if (what == "sent") {
            json all = json::array();
            for (const auto& notice : notifier_.sent()) {
                all.push_back({notice.title, notice.body});
            }
            tell(all);
        } else if (what == "connect") {
            bus_.whenConnected([](const QDBusConnection&) { tell("connected"); });
        } else {
            tell("here");
        }
    }

private:
    LinuxScheduler queue_;
    Bus bus_{Bus::Kind::session, queue_};
    bool wanted_ = true;
    FileReveal reveal_{bus_, patience};
    LinuxNotifier notifier_{bus_, [this] { return wanted_; },
                            [](const URL& file, const std::string& token) {
                                tell({{"clicked", file.absoluteString()}, {"token", token}});
                            },
                            patience};
};

} // namespace

int main(int count, char** arguments) {
    const QCoreApplication application(count, arguments);
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
