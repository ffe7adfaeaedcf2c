// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "TessivarCore/SettingsFile.h"
#include "TessivarCore/Subscription.h"

#include <concepts>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <utility>

namespace tessivar {

/// Settings that a store can keep: the defaults by the constructor, an object of JSON and back (throwing what
/// tells why it can't be), and one value with every optional setting filled in, for its keys.
template <class Model>
concept SettingsModel = std::default_initializable<Model> && std::equality_comparable<Model> &&
    requires(const Model& model, const SettingsFile::Json& json) {
    { model.encoded() } -> std::same_as<SettingsFile::Json>;
    { Model::decoded(json) } -> std::same_as<Model>;
    { Model::everySetting() } -> std::same_as<Model>;
};

/// The application's settings and their file. For the main thread.
template <SettingsModel Model>
class SettingsStore {
public:
    /// Reads the file: the defaults are used when there is none, or none that can be used (see `problem`).
    explicit SettingsStore(std::filesystem::path path, std::string built = {})
        : file_(std::move(path), std::move(built)) {
        file_.load(Model::everySetting().encoded(),
                   [this](const SettingsFile::Json& json) { value_ = Model::decoded(json); });
    }

    [[nodiscard]] const Model& value() const { return value_; }

    /// Changes the settings, saves them and tells the subscribers, if there is a change; without one it only
    /// puts a file in the place of one that couldn't be used. Edits of the file are taken up first. Fails
    /// with std::runtime_error, a sentence for the user, with everything as it was.
    template <std::invocable<Model&> Change>
    void update(Change&& change) {
        takeUpEdits();
        Model changed = value_;
        change(changed);
        if (!(changed == value_) || !problem().empty()) {
            file_.save(changed.encoded());
        }
        adopt(std::move(changed));
    }

    /// Takes up what somebody else made of the file, and tells the subscribers if it changes a setting. What
    /// can't be used changes nothing (see `problem`). Reads the file: to be called when that has changed.
    void takeUpEdits() {
        std::optional<Model> edited;
        if (file_.reload(Model::everySetting().encoded(),
                         [&](const SettingsFile::Json& json) { edited = Model::decoded(json); })) {
            adopt(std::move(*edited));
        }
    }

    /// Every later value, until the subscription is dropped; not the current one.
    Subscription subscribe(std::function<void(const Model&)> handler) {
        return subscribers_.subscribe(std::move(handler));
    }

    /// The file as an export.
    [[nodiscard]] std::string exportText() const { return file_.exportText(value_.encoded()); }
    /// Replaces the file at the path. Fails with std::runtime_error, a sentence for the user.
    void exportTo(const std::filesystem::path& path) const { file_.exportTo(path, value_.encoded()); }

    /// Replaces the settings by those in the file, saves them and tells the subscribers. Fails with
    /// std::runtime_error, a sentence for the user, with everything as it was.
    void importFrom(const std::filesystem::path& path) {
        std::optional<Model> imported;
        file_.importFrom(
            path, Model::everySetting().encoded(),
            [&](const SettingsFile::Json& json) { imported = Model::decoded(json); },
            [&] { return imported->encoded(); });
        adopt(std::move(*imported));
    }

    /// A sentence on why the file couldn't be used; empty when all is well, as after the next save.
    [[nodiscard]] const std::string& problem() const { return file_.problem(); }

private:
    void adopt(Model saved) {
        if (!(saved == value_)) {
            value_ = std::move(saved);
            subscribers_.notify(value_);
        }
    }

    SettingsFile file_;
    Model value_;
    Subscribers<Model> subscribers_;
};

} // namespace tessivar
