// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "TessivarCore/AtomicFile.h"

#include <nlohmann/json_fwd.hpp>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tessivar {

/// What a settings store does with files, whatever the settings are. The file is a JSON object:
///
///     "settings"     the settings themselves, an object
///     "application"  the display name of the application that wrote it
///     "version"      that application's version
///     "built"        when it was built, left out when unknown
///     "exported"     when it was exported, ISO 8601 in UTC; in exports only
///
/// Settings under keys that this version doesn't know are kept for the one that does. For one thread.
class SettingsFile {
public:
    using Json = nlohmann::ordered_json;
    /// Takes the settings object; throws what tells why it isn't one.
    using Decode = std::function<void(const Json&)>;

    /// `built`: when the application was built, as text; may be empty.
    SettingsFile(std::filesystem::path path, std::string built);
    ~SettingsFile();
    SettingsFile(const SettingsFile&) = delete;
    SettingsFile& operator=(const SettingsFile&) = delete;

    /// Reads the file if there is one. One that can't be used is moved aside (".unreadable" is appended to
    /// its name, an older one is left alone), logged and told by `problem`.
    void load(const Json& everySetting, const Decode& decode);
    /// Reads the file again after somebody changed it. Returns whether `decode` was given other settings than
    /// those last read or saved. What can't be used (it may be half written) changes nothing: it is logged,
    /// once for each reason, and told by `problem` until the file can be used again.
    bool reload(const Json& everySetting, const Decode& decode);
    /// Replaces the file; what somebody made of it that can't be used is moved aside first. A failure is
    /// logged and thrown as std::runtime_error, a sentence for the user.
    void save(const Json& settings);

    [[nodiscard]] std::string exportText(const Json& settings) const;
    /// Fails with std::runtime_error, a sentence for the user.
    void exportTo(const std::filesystem::path& path, const Json& settings) const;
    /// Hands the settings of an exported file to `decode` and then replaces the file by what `encode` gives.
    /// Fails with std::runtime_error, a sentence for the user, with the file as it was.
    void importFrom(const std::filesystem::path& path, const Json& everySetting, const Decode& decode,
                    const std::function<Json()>& encode);

    /// A sentence on why the file couldn't be used; empty when all is well, as after the next save.
    [[nodiscard]] const std::string& problem() const { return problem_; }

private:
    [[nodiscard]] std::string text(const Json& settings, bool exporting) const;
    void take(const std::string& contents, const Json& everySetting, const Decode& decode);
    void setAside(const std::string& description, bool readable);
    void refuse(const std::string& description);
    void spareEdits() const;

    AtomicFile file_;
    std::string built_;
    std::unique_ptr<Json> unknown_;       ///< Settings of keys that we don't know.
    std::optional<std::string> contents_; ///< As last read or saved.
    std::optional<std::string> refused_;  ///< Contents that can't be used.
    std::string problem_;
};

} // namespace tessivar
