// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/StateName.h"
#include "FluvaneEngine/DownloadManager.h"
#include "Support/FakePorts.h"
#include "Support/FakeTransport.h"
#include "Support/ManualScheduler.h"
#include "Support/MemoryFileStore.h"
#include "Support/Numbers.h"

#include <memory>
#include <optional>
#include <string>

namespace fluvane::support {

[[nodiscard]] inline URL link(const std::string& text) {
    return URL::parse(text).value();
}

/// A whole engine on fakes, in simulated time. `restart` plays a kill and a new start on the same disk.
class Engine {
public:
    explicit Engine(Config config_ = {}) : config(std::move(config_)) { build(); }
    ~Engine() = default;
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    /// Ends the run without any goodbye and starts a new one from what is saved.
    void restart() {
        manager.reset();
        for (const auto& transfer : transport->transfers) {
            transfer->cancel();
        }
        build();
        manager->start();
    }

    DownloadID add(const std::string& url, std::optional<Checksum> checksum = {}) {
        return manager->add(link(url), std::nullopt, std::nullopt, checksum, true);
    }
    [[nodiscard]] const DownloadRecord& record(DownloadID id) const { return manager->download(id)->record; }
    [[nodiscard]] std::string state(DownloadID id) const { return std::string(stateName(record(id).state)); }
    /// Why it failed, or the state it is in instead.
    [[nodiscard]] std::string failure(DownloadID id) const {
        const auto* message = record(id).state.failure();
        return message ? *message : state(id);
    }
    [[nodiscard]] bool runUntil(DownloadID id, const std::string& wanted, double atMost = 3600) {
        return scheduler.runUntilTrue([&] { return state(id) == wanted; }, atMost);
    }
    void turns() { scheduler.runTurns(); }

    Config config;
    ManualScheduler scheduler;
    std::shared_ptr<FakeTransport> transport = std::make_shared<FakeTransport>(scheduler);
    std::shared_ptr<MemoryFileStore> files = std::make_shared<MemoryFileStore>(scheduler);
    std::shared_ptr<FakeStore> store = std::make_shared<FakeStore>(scheduler);
    std::shared_ptr<FakePower> power = std::make_shared<FakePower>();
    std::shared_ptr<FakeNotifier> notifier = std::make_shared<FakeNotifier>();
    std::shared_ptr<FakeSessionStore> sessions = std::make_shared<FakeSessionStore>();
    LogCapture log;
    std::string servers; ///< What is kept of them.
    std::unique_ptr<DownloadManager> manager;

private:
    void build() {
        manager = std::make_unique<DownloadManager>(
            config, transport, files, std::shared_ptr<Scheduler>(std::shared_ptr<void>(), &scheduler), store,
            power, notifier, [] { return 1.0; }, // so that delays are the whole back-off
            Environment{
                .types = {},
                .folder = [](const auto& path) { return URL::folder(path.value_or("/downloads")); },
                .today =
                    [this] {
                        return Date() + std::chrono::seconds(static_cast<std::int64_t>(scheduler.now()));
                    },
                .servers = {.load = [this] { return servers; },
                            .save = [this](const std::string& text) { servers = text; }},
                .sessions = sessions,
            });
    }
};

/// One that has started and sent the probe of its only download.
struct ProbingEngine : Engine {
    ProbingEngine() {
        manager->start();
        add("http://a.example/file.bin");
        turns();
    }
};

} // namespace fluvane::support
