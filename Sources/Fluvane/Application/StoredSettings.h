// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Ports/SettingsAccess.h"
#include "TessivarCore/SettingsStore.h"

#include <utility>

namespace fluvane {

/// The commands' way to the settings store.
class StoredSettings : public SettingsAccess {
public:
    using Store = tessivar::SettingsStore<Config>;

    /// The store must outlive it.
    explicit StoredSettings(Store& store) : store_(store) {}

    [[nodiscard]] Config config() const override { return store_.value(); }
    void update(const Config& config) override {
        store_.update([&](Config& current) { current = config; });
    }
    [[nodiscard]] tessivar::Subscription subscribe(std::function<void(const Config&)> handler) override {
        return store_.subscribe(std::move(handler));
    }
    [[nodiscard]] std::string exportText() override { return store_.exportText(); }
    void exportTo(const std::string& path) override { store_.exportTo(path); }
    void importFrom(const std::string& path) override { store_.importFrom(path); }

private:
    Store& store_;
};

} // namespace fluvane
