// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Ports/Windows.h"

#include <string>
#include <vector>

namespace fluvane::support {

/// Notes what is asked of the other windows: "downloads 3", "added 3 4", "new http://a/b from http://c/",
/// "settings rules".
class FakeWindows : public Windows {
public:
    void showDownloads(std::optional<DownloadID> selected) override {
        asked.push_back("downloads" + (selected ? " " + std::to_string(number(*selected)) : ""));
    }
    void showAdded(const std::vector<DownloadID>& ids) override {
        std::string text = "added";
        for (const auto id : ids) {
            text += " " + std::to_string(number(id));
        }
        asked.push_back(text);
    }
    void newDownload(const std::vector<URL>& links, const std::optional<URL>& referrer,
                     const SharedSession& /*session*/) override {
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
    void changeLink(DownloadID id) override { asked.push_back("link " + std::to_string(number(id))); }
    void editChecksum(DownloadID id) override { asked.push_back("checksum " + std::to_string(number(id))); }
    void rename(DownloadID id) override { asked.push_back("rename " + std::to_string(number(id))); }
    void changeFolder(const std::vector<DownloadID>& ids) override {
        asked.push_back("folder of " + std::to_string(ids.size()));
    }
    void showOffers(const std::vector<PendingOffer>& given, AnswerOffer answer) override {
        offers = given;
        answerOffer = std::move(answer);
    }
    void quit() override { asked.emplace_back("quit"); }
    void tellProblem(const std::string& sentence) override { asked.push_back("problem " + sentence); }
    void useActivationToken(const std::string& token) override { asked.push_back("token " + token); }
    std::string state() override { return "{}"; }
    void snapshot(const Pictures& into, Drawn completion) override {
        completion({into.folder + "/" + into.prefix + "window.png"}, "");
    }
    std::vector<std::string> asked;
    std::vector<PendingOffer> offers;
    AnswerOffer answerOffer;
};

} // namespace fluvane::support
