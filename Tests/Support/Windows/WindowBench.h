// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Ports/Autostart.h"
#include "Fluvane/UI/Models/WindowContext.h"
#include "Support/Engine.h"
#include "Support/FakeSettings.h"
#include "Support/FakeWindows.h"

#include <QApplication>

#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace fluvane::support {

/// Notes what the desktop is asked to do: "open …", "show …", "trash …".
class FakeFileActions : public FileActions {
public:
    void open(const URL& thing) override { asked.push_back("open " + thing.absoluteString()); }
    void show(const URL& file) override { asked.push_back("show " + file.absoluteString()); }
    void moveToWastebasket(const URL& file, Completion completion) override {
        asked.push_back("trash " + file.absoluteString());
        completion(trashProblem);
    }
    [[nodiscard]] IsGone isGone() const override {
        return [files = gone](const URL& file) { return files->contains(file.path()); };
    }
    [[nodiscard]] VolumeOf volumes() const override {
        return [](const URL& file) { return file.path().substr(0, file.path().find('/', 1)); };
    }
    std::vector<std::string> asked;
    std::shared_ptr<std::set<std::string>> gone = std::make_shared<std::set<std::string>>(); ///< Paths.
    std::optional<std::string> trashProblem;
};

class FakeAutostart : public Autostart {
public:
    [[nodiscard]] bool isOn() const override { return on; }
    void set(bool wanted) override {
        if (!failure.empty()) {
            throw std::runtime_error(failure);
        }
        on = wanted;
    }
    bool on = false;
    std::string failure; ///< Of every switching from now on, unless empty.
};

/// A whole engine on fakes and what windows are given beside it. Time is simulated for the engine; Qt's own
/// runs, so a test calls `refresh` where a person would wait for the feed.
class WindowBench {
public:
    explicit WindowBench(Config config = {}) : engine(std::move(config)) {
        engine.manager->onChange = [this] { feed.listChanged(); };
    }

    /// What the engine has to do now is done, and what is shown follows.
    void refresh() {
        engine.turns();
        Q_EMIT feed.changed();
        QApplication::processEvents();
    }

    Engine engine;
    ListFeed feed;
    FakeSettings settings{*engine.manager};
    FakeFileActions files;
    FakeWindows windows;
    WindowContext context{*engine.manager, feed, settings, files, windows};
};

/// A record as a restart would find it, for `engine.store->saved` before `engine.manager->start()`.
[[nodiscard]] inline DownloadRecord savedRecord(std::int64_t number, const std::string& url,
                                                DownloadState state = {}) {
    DownloadRecord record(DownloadID{number}, link(url), URL::folder("/downloads"), std::nullopt, Date());
    record.state = std::move(state);
    return record;
}

} // namespace fluvane::support
