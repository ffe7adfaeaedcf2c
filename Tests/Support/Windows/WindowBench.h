#pragma once

#include "Fluvane/UI/Models/WindowContext.h"
#include "Support/Engine.h"
#include "Support/FakeSettings.h"

#include <QApplication>

#include <string>
#include <utility>
#include <vector>

namespace fluvane::support {

/// Notes what is asked of the other windows: "downloads 3", "new http://a/b from http://c/", "settings
/// rules".
class FakeWindows : public Windows {
public:
    void showDownloads(std::optional<std::int64_t> selected) override {
        asked.push_back("downloads" + (selected ? " " + std::to_string(*selected) : ""));
    }
    void newDownload(const std::vector<URL>& links, const std::optional<URL>& referrer) override {
        std::string text = "new";
        for (const auto& link : links) {
            text += " " + link.absoluteString();
        }
        asked.push_back(text + (referrer ? " from " + referrer->absoluteString() : ""));
    }
    void showSettings(std::string_view pane) override {
        asked.push_back("settings" + (pane.empty() ? "" : " " + std::string(pane)));
    }
    void showWelcome() override { asked.emplace_back("welcome"); }
    void showWhatsNew() override { asked.emplace_back("whats-new"); }
    void showCrashNote() override { asked.emplace_back("crash-note"); }
    void changeLink(std::int64_t id) override { asked.push_back("link " + std::to_string(id)); }
    void editChecksum(std::int64_t id) override { asked.push_back("checksum " + std::to_string(id)); }
    void quit() override { asked.emplace_back("quit"); }
    void useActivationToken(const std::string& token) override { asked.push_back("token " + token); }
    std::string state() override { return "{}"; }
    std::vector<std::string> snapshot(const std::string& folder, const std::string& prefix) override {
        return {folder + "/" + prefix + "window.png"};
    }
    std::vector<std::string> asked;
};

/// Notes what the desktop is asked to do: "open …", "show …", "trash …".
class FakeFileActions : public FileActions {
public:
    void open(const URL& thing) override { asked.push_back("open " + thing.absoluteString()); }
    void show(const URL& file) override { asked.push_back("show " + file.absoluteString()); }
    void moveToWastebasket(const URL& file, Completion completion) override {
        asked.push_back("trash " + file.absoluteString());
        completion(trashProblem);
    }
    std::vector<std::string> asked;
    std::optional<std::string> trashProblem;
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
[[nodiscard]] inline DownloadRecord savedRecord(std::int64_t id, const std::string& url,
                                                DownloadState state = {}) {
    DownloadRecord record(id, link(url), URL::folder("/downloads"), std::nullopt, Date());
    record.state = std::move(state);
    return record;
}

} // namespace fluvane::support
