// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Ports/SettingsAccess.h"
#include "FluvaneEngine/DownloadManager.h"

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace fluvane::support {

/// Settings in memory, in force at once.
class FakeSettings : public SettingsAccess {
public:
    explicit FakeSettings(DownloadManager& manager) : manager_(manager) {}
    Config config() const override { return manager_.config(); }
    void update(const Config& config) override {
        check();
        manager_.apply(config);
        subscribers_.notify(config);
    }
    tessivar::Subscription subscribe(std::function<void(const Config&)> handler) override {
        return subscribers_.subscribe(std::move(handler));
    }
    std::string exportText() override {
        check();
        return "{}\n";
    }
    void exportTo(const std::string& path) override {
        check();
        paths.push_back("to " + path);
    }
    void importFrom(const std::string& path) override {
        check();
        paths.push_back("from " + path);
    }
    std::vector<std::string> paths;
    std::string failure; ///< Of every call from now on, unless empty.

private:
    void check() const {
        if (!failure.empty()) {
            throw std::runtime_error(failure);
        }
    }
    DownloadManager& manager_;
    tessivar::Subscribers<Config> subscribers_;
};

} // namespace fluvane::support
