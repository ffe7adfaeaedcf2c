#include "Fluvane/Application/Live.h"

#include "Fluvane/Application/Surroundings.h"
#include "Fluvane/Client/DataFolders.h"
#include "Fluvane/Linux/DiskFiles.h"
#include "Fluvane/Linux/JSONDownloadStore.h"
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
constexpr std::chrono::minutes recentLog{10};

std::string label(const char* queue) {
    return tessivar::AppIdentity::current.identifier + queue;
}

} // namespace

Live::Live(const tessivar::LogFiles& log)
    : log_(log), settings_(DataFolders::settingsFile(), FLUVANE_BUILT), manager_(makeManager()),
      settingsChanges_(settings_.subscribe([this](const Config& config) { applySettings(config); })),
      commands_(*manager_, storedSettings_, [this](auto completion) { gatherLog(std::move(completion)); }),
      logReading_(label(".log")),
      server_(DataFolders::controlSocket(), *scheduler_,
              [this](const auto& arguments, const auto& completion) { carryOut(arguments, completion); }) {}

std::unique_ptr<DownloadManager> Live::makeManager() {
    const auto& identifier = tessivar::AppIdentity::current.identifier;
    const Config& config = settings_.value();
    tessivar::Log::detailed = config.detailedLogging;
    return std::make_unique<DownloadManager>(
        config, std::make_shared<SessionTransport>(*scheduler_),
        std::make_shared<DiskFileStore>(*scheduler_, identifier), scheduler_,
        std::make_shared<JSONDownloadStore>(DataFolders::listFile(), *scheduler_, identifier),
        std::make_shared<QuietPower>(), notifier_, systemRandom(), systemSurroundings());
}

void Live::start() {
    network_->start([this](const NetworkWatch::Report& report) {
        manager_->setOnline(report.online);
        manager_->setLimitedNetwork(report.limited);
        gate_.trigger();
    });
    scheduler_->after(networkPatience, [this] { gate_.trigger(); });
}

void Live::startEngine() {
    manager_->start();
    server_.start();
}

void Live::stop() {
    if (!gate_.started()) {
        return; // the list was never loaded: there is nothing to save, and nothing may be saved over it
    }
    stopped_ = true;
    manager_->stop();
    // Commands that waited for the save to be done are answered before the socket closes.
    QCoreApplication::processEvents();
    server_.stop();
}

void Live::applySettings(const Config& config) {
    tessivar::Log::detailed = config.detailedLogging;
    manager_->apply(config);
}

void Live::carryOut(const CommandCenter::Arguments& arguments, const ReplyCompletion& completion) {
    if (stopped_) {
        return; // no answer: to the client we aren't there any more
    }
    try {
        commands_.run(arguments, completion);
    } catch (const std::exception& error) {
        completion({.ok = false, .text = error.what()});
    }
}

void Live::gatherLog(std::function<void(std::string)> completion) {
    logReading_.async([this, completion = std::move(completion)] {
        scheduler_->post([completion, text = log_.recent(recentLog)] { completion(text); });
    });
}

} // namespace fluvane
