// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Application/EndBound.h"
#include "Fluvane/Application/EndSignals.h"
#include "Fluvane/Application/Frontend.h"
#include "Fluvane/Application/InstanceLock.h"
#include "Fluvane/Application/Live.h"
#include "Fluvane/Application/Visit.h"
#include "Fluvane/Client/DataFolders.h"
#include "FluvaneCore/CheckedMath.h"
#include "Tessivar/CrashHandler.h"
#include "Tessivar/HangWatch.h"
#include "Tessivar/LastRun.h"
#include "TessivarCore/AppIdentity.h"
#include "TessivarCore/LogFiles.h"
#include "TessivarPhrases/Language.h"

#include <QCoreApplication>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

namespace fluvane {

namespace {

/// How long an instance that is just ending is waited for.
constexpr std::chrono::seconds lockPatience{3};
/// And the socket of one that is just starting.
constexpr std::chrono::seconds handOverPatience{5};

/// What the saver waits for a disk at the end, and some seconds for all else.
constexpr std::chrono::seconds endPatience{15};

/// Qt asks HOME alone.
void settleHome() {
    const char* home = std::getenv("HOME");
    if (!home || home[0] != '/') {
        setenv("HOME", dataFolders::home().c_str(), 1);
    }
}

void logTo(tessivar::LogFiles& files) {
    const char* wanted = std::getenv("FLUVANE_LOG");
    tessivar::Log::debug = wanted && std::string_view(wanted) == "debug";
    tessivar::Log::setSink([&files](tessivar::Log::Level level, std::string_view category,
                                    std::string_view message) { files.write(level, category, message); });
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString& message) {
        tessivar::log::lifecycle.error(tessivar::log::hidden(message.toStdString())); // about anything
    });
}

/// Everything that a disk holds up is left where it is. The log's and the record's disk may be the one.
[[noreturn]] void endNow(InstanceLock& lock, tessivar::LastRun& lastRun, int status) {
    static constexpr const char* sentence =
        "A disk doesn't answer, and isn't waited for any longer. What was written to it last will be "
        "fetched again.";
    lock.release();
    std::fprintf(stderr, "Fluvane: %s\n", sentence);
    std::promise<void> told;
    const auto isTold = told.get_future();
    std::thread([&] {
        tessivar::log::lifecycle.error(sentence);
        lastRun.end();
        told.set_value();
    }).detach();
    (void)isTold.wait_for(std::chrono::seconds(1));
    std::_Exit(status);
}

int runEventLoop(const tessivar::LogFiles& log, Visit visit, Frontend& frontend, tessivar::HangWatch& watch,
                 const std::function<void(int status)>& endNow) {
    std::unique_ptr<EndBound> bound; // outlives what may wait for a disk
    Live live(log, frontend);
    const EndSignals signals([] { QCoreApplication::exit(); }); // `quit` would ask every window to close
    live.start(std::move(visit));
    const int status = QCoreApplication::exec();
    bound = std::make_unique<EndBound>(endPatience, [&endNow, status] { endNow(status); });
    watch.stop(); // a disk may hold up the end for longer than a hang may last
    if (!live.stop()) {
        endNow(status);
    }
    return status;
}

} // namespace

int runApplication(int argc, char** argv, Frontend& frontend) {
    auto visit = Visit::from({argv + std::min(argc, 1), argv + argc});
    settleHome();
    tessivar::AppIdentity::current = {.displayName = "Fluvane",
                                      .identifier = "org.fluvane.Fluvane",
                                      .projectPage = "",
                                      .version = FLUVANE_VERSION};
    InstanceLock lock({.lock = dataFolders::instanceLock(), .socket = dataFolders::controlSocket()},
                      lockPatience);
    if (lock.outcome() == InstanceLock::Outcome::held) {
        // A second start: nothing of the first one's is touched, unless that one is just ending.
        if (const auto status = visit.handOver(handOverPatience, [&] { return lock.tryAgain(); })) {
            return *status;
        }
    }
    if (lock.outcome() == InstanceLock::Outcome::failed) {
        std::fprintf(stderr, "Fluvane can't use its folder %s: %s\n", dataFolders::data().c_str(),
                     lock.problem().c_str());
        return 1;
    }
    EndSignals::block();
    tessivar::LogFiles log({.file = dataFolders::state() + "/fluvane.log", .journalIdentifier = "fluvane"});
    logTo(log);
    tessivar::LastRun lastRun(Reports::crashFolder());
    tessivar::CrashHandler::install(Reports::crashFolder());
    setFatalHandler(&tessivar::CrashHandler::noteReason);
    lastRun.begin();
    tessivar::HangWatch hangWatch({.folder = Reports::crashFolder()});
    tessivar::setLanguage(tessivar::readLanguage(::getenv, tessivar::catalogueFolders(), "fluvane"));
    const auto application = frontend.makeApplication(argc, argv, hangWatch);
    hangWatch.start();
    // Qt has taken the user's locale over. Numbers in files and headers have a point in every language, and
    // what the system says about an error is English in the list and the log: windows translate it when they
    // show it.
    std::setlocale(LC_NUMERIC, "C");
    std::setlocale(LC_MESSAGES, "C");
    const int status = runEventLoop(log, std::move(visit), frontend, hangWatch,
                                    [&](int ending) { endNow(lock, lastRun, ending); });
    hangWatch.stop();
    lastRun.end();
    qInstallMessageHandler(nullptr);
    tessivar::Log::setSink({});
    return status;
}

} // namespace fluvane
