// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Application/Live.h"

#include "Fluvane/Application/SystemEnvironment.h"
#include "Fluvane/Client/DataFolders.h"
#include "Fluvane/Linux/DiskFiles.h"
#include "Fluvane/Linux/JSONDownloadStore.h"
#include "Fluvane/Linux/Services/LinuxPower.h"
#include "Fluvane/Linux/Transport/SessionTransport.h"
#include "TessivarCore/AppIdentity.h"

#include <QCoreApplication>

#include <chrono>
#include <exception>
#include <utility>

namespace fluvane {

namespace {

/// How long the start waits for a first report on the network, in seconds.
constexpr double networkPatience = 1.0;
/// While it starts; more are no person's.
constexpr std::size_t mostVisits = 100;

std::string label(const char* queue) {
    return tessivar::AppIdentity::current.identifier + queue;
}

} // namespace

Live::Live(const tessivar::LogFiles& log, Frontend& frontend)
    : log_(log), settings_(dataFolders::settingsFile(), FLUVANE_BUILT),
      settingsWatch_(dataFolders::settingsFile(), [this] { settings_.takeUpEdits(); }),
      notifier_(std::make_shared<LinuxNotifier>(
          session_,
          [this] { return settings_.value().notifyWhenDone && !(windows_ && windows_->isListWatched()); },
          [this](const URL& file, const std::string& token) { reveal_.show(file, token); })),
      manager_(makeManager()),
      sleep_(
          system_, [this](SleepWatch::Done done) { prepareForSleep(std::move(done)); },
          [this] {
              if (!stopped_) {
                  manager_->reconnect();
              }
          }),
      reports_(*manager_, log_, *scheduler_, {.session = session_, .system = system_}),
      settingsChanges_(settings_.subscribe([this](const Config& config) { applySettings(config); })),
      logReading_(label(".log")), windows_(makeWindows(frontend)),
      commands_(*manager_, storedSettings_, rooms()),
      server_(dataFolders::controlSocket(), *scheduler_,
              [this](const auto& arguments, const auto& completion) { carryOut(arguments, completion); }),
      door_(session_, tessivar::AppIdentity::current.identifier, visitor()) {}

std::unique_ptr<DownloadManager> Live::makeManager() {
    const auto& identifier = tessivar::AppIdentity::current.identifier;
    const Config& config = settings_.value();
    tessivar::Log::detailed = config.detailedLogging;
    return std::make_unique<DownloadManager>(
        config, std::make_shared<SessionTransport>(*scheduler_),
        std::make_shared<DiskFileStore>(*scheduler_, identifier), scheduler_,
        std::make_shared<JSONDownloadStore>(dataFolders::listFile(), *scheduler_, identifier),
        std::make_shared<LinuxPower>(Buses{.session = session_, .system = system_}), notifier_,
        systemRandom(), systemEnvironment());
}

CommandCenter::Rooms Live::rooms() {
    CommandCenter::Rooms rooms{
        .log = [this](auto completion) { gatherLog(std::move(completion)); },
        .diagnostics = [this](auto completion) { reports_.diagnostics(std::move(completion)); },
        .crashNote = [this] { return reports_.crashNote(); },
    };
    if (reports_.releases().check) {
        rooms.update = [this] { checkForUpdates(); };
    }
    rooms.windows = windows_.get();
    rooms.scheduler = scheduler_;
    rooms.offers = offersOfLastRun();
    return rooms;
}

std::unique_ptr<ApplicationWindows> Live::makeWindows(Frontend& frontend) {
    ApplicationWindows::SelfDescription reports{
        .log = [this](auto completion) { gatherLog(std::move(completion)); },
        .diagnostics = [this](auto completion) { reports_.diagnostics(std::move(completion)); },
        .settingsProblem = [this] { return settings_.problem(); },
        .whatsNew = [this] { return reports_.whatsNew(); },
        .crashNote = [this] { return reports_.crashNote(); },
        .notices =
            [this] {
                std::vector<ApplicationWindows::Notice> notices;
                for (const auto& sent : notifier_->sent()) {
                    notices.push_back({sent.title, sent.body});
                }
                return notices;
            },
        .tell =
            [this](const auto& notice) {
                notifier_->tell({notice.title, notice.body});
            },
    };
    if (reports_.releases().check) {
        reports.checkForUpdates = [this] { checkForUpdates(); };
    }
    auto windows = frontend.makeWindows({.manager = *manager_,
                                         .settings = storedSettings_,
                                         .session = session_,
                                         .reveal = reveal_,
                                         .mainQueue = *scheduler_,
                                         .stateFolder = dataFolders::state(),
                                         .self = std::move(reports)});
    if (windows) {
        manager_->onChange = [shown = windows.get()] { shown->listChanged(); };
    }
    return windows;
}

void Live::checkForUpdates() {
    reports_.releases().check([this](const auto& sentence) { tellOfUpdate(sentence); });
}

DesktopDoor::Visitor Live::visitor() {
    return {
        .activate = [this](const auto& token) { receive({.kind = Visit::Kind::activate, .token = token}); },
        .open =
            [this](const auto& things, const auto& token) {
                receive({.kind = Visit::Kind::open, .things = things, .token = token});
            },
        .act =
            [this](const auto& action, const auto& token) {
                receive({.kind = Visit::Kind::act, .things = {action}, .token = token});
            },
    };
}

/// Before the list is loaded they are kept for then.
Reply Live::receive(const Visit& visit) {
    if (stopped_) {
        return {.ok = false, .text = "Fluvane is ending."};
    }
    if (!gate_.started()) {
        if (visits_.size() < mostVisits) {
            visits_.push_back(visit);
        }
        return {};
    }
    if (windows_) {
        windows_->useActivationToken(visit.token);
    }
    switch (visit.kind) {
    case Visit::Kind::open:
        return commands_.open(visit.things);
    case Visit::Kind::act:
        return commands_.act(visit.things.empty() ? "" : visit.things[0]);
    case Visit::Kind::none:
        return {};
    case Visit::Kind::activate:
        break;
    }
    return commands_.act("show");
}

void Live::prepareForSleep(SleepWatch::Done done) {
    if (!gate_.started() || stopped_) {
        return done();
    }
    manager_->saveEverything([done = std::move(done)](const auto&) { done(); });
}

void Live::tellOfUpdate(const std::string& sentence) {
    tessivar::log::lifecycle([&] { return "updates: " + sentence; });
    notifier_->tell({.title = "Fluvane", .body = sentence});
}

void Live::start(Visit visit) {
    // Whoever has settings that can't be used isn't new here.
    const std::string problem = settings_.problem();
    const bool welcomes = windows_ && problem.empty() && !settings_.value().hasCompletedOnboarding;
    const bool isQuiet = visit.kind == Visit::Kind::none;
    const bool wantsSomething = visit.kind == Visit::Kind::open || visit.kind == Visit::Kind::act;
    if (wantsSomething || (visit.kind == Visit::Kind::activate && windows_ && !welcomes)) {
        visits_.push_back(std::move(visit));
    }
    session_.start();
    system_.start();
    network_.start([this](const NetworkWatch::Report& report) {
        if (stopped_) {
            return;
        }
        manager_->setOnline(report.online);
        manager_->setLimitedNetwork(report.limited);
        gate_.trigger();
    });
    scheduler_->after(networkPatience, [this] { gate_.trigger(); });
    if (windows_) {
        windows_->start();
    }
    if (welcomes) {
        isQuiet ? windows_->showWelcomeInBackground() : windows_->showWelcome();
    }
    if (!problem.empty()) {
        notifier_->tell({.title = "Fluvane", .body = problem});
        if (windows_) {
            windows_->showSettings(); // it says so, too
        }
    }
}

void Live::startEngine() {
    manager_->start();
    commands_.carryOn();
    server_.start();
    Reports::Handlers handlers{.tellOfUpdate = [this](const auto& sentence) { tellOfUpdate(sentence); }};
    if (windows_) {
        handlers.whatsNew = [this](const auto& text) { windows_->showWhatsNew(text); };
        handlers.crashNote = [this](const auto& note) { windows_->showCrashNote(note); };
    }
    reports_.start(std::move(handlers));
    for (const auto& visit : std::exchange(visits_, {})) {
        receive(visit);
    }
}

bool Live::stop() {
    if (!gate_.started()) {
        return true; // the list was never loaded: there is nothing to save, and nothing may be saved over it
    }
    stopped_ = true;
    // Nobody is to press a button while the list is being saved.
    manager_->onChange = {};
    windows_.reset();
    const bool isDone = manager_->stop();
    // Commands that waited for the save to be done are answered before the socket closes.
    QCoreApplication::processEvents();
    server_.stop();
    return isDone;
}

void Live::applySettings(const Config& config) {
    tessivar::Log::detailed = config.detailedLogging;
    if (!stopped_) {
        manager_->apply(config);
    }
}

void Live::carryOut(const CommandCenter::Arguments& arguments, const ReplyCompletion& completion) {
    if (stopped_) {
        return; // no answer: to the client we aren't there any more
    }
    try {
        if (Visit::isOne(arguments)) {
            return completion(receive(Visit::fromRequest(arguments)));
        }
        commands_.run(arguments, completion);
    } catch (const std::exception& error) {
        completion({.ok = false, .text = error.what()});
    }
}

void Live::gatherLog(std::function<void(std::string)> completion) {
    logReading_.async([this, completion = std::move(completion)] {
        scheduler_->post([completion, text = log_.recent(Reports::recentLog)] { completion(text); });
    });
}

} // namespace fluvane
