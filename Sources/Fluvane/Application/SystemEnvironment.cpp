// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Application/SystemEnvironment.h"

#include "Fluvane/Client/DataFolders.h"
#include "Fluvane/Linux/RuntimeSessionStore.h"
#include "Fluvane/Linux/SerialQueue.h"
#include "FluvaneEngine/Log.h"
#include "TessivarCore/AppIdentity.h"
#include "TessivarCore/AtomicFile.h"
#include "TessivarCore/FileSystem.h"

#include <QMimeDatabase>
#include <QStandardPaths>

#include <chrono>
#include <memory>
#include <random>

namespace fluvane {

namespace {

std::optional<std::string> preferredExtension(const std::string& mimeType) {
    const auto type = QMimeDatabase().mimeTypeForName(QString::fromStdString(mimeType));
    const std::string suffix = type.isValid() ? type.preferredSuffix().toStdString() : "";
    return suffix.empty() ? std::nullopt : std::optional(suffix);
}

std::string downloadFolder() {
    return QStandardPaths::writableLocation(QStandardPaths::DownloadLocation).toStdString();
}

/// A settings file edited by hand may hold anything: a relative path would land wherever we were started.
bool isUsable(const std::optional<std::string>& path) {
    if (!path || path->find('\0') != std::string::npos) {
        return false;
    }
    return path->starts_with('/') || *path == "~" || path->starts_with("~/");
}

constexpr std::size_t longestKept = 1'000'000; ///< Bytes.

/// Written aside: the disk may be slow, and nobody waits for it. What fails can be done without.
ServerCounts::Storage keptIn(const std::string& name) {
    const auto queue = std::make_shared<SerialQueue>(tessivar::AppIdentity::current.identifier + "." + name);
    const tessivar::AtomicFile file(dataFolders::state() + "/" + name + ".json");
    return {.load =
                [file] {
                    try {
                        return file.read(longestKept).value_or("");
                    } catch (const tessivar::SystemError&) {
                        return std::string();
                    }
                },
            .save =
                [file, queue, name](const std::string& text) {
                    queue->async([file, text, name] {
                        try {
                            file.write(text);
                        } catch (const tessivar::SystemError& error) {
                            log::files([&] { return "couldn't save " + name + ": " + error.what(); });
                        }
                    });
                }};
}

std::shared_ptr<SessionStore> sessionStore() {
    const auto file = dataFolders::sessionsFile();
    return file ? std::make_shared<RuntimeSessionStore>(*file, tessivar::AppIdentity::current.identifier)
                : nullptr;
}

} // namespace

Environment systemEnvironment() {
    return {
        .types = preferredExtension,
        .folder =
            [](const std::optional<std::string>& path) {
                return URL::folder(dataFolders::absolutePath(isUsable(path) ? *path : downloadFolder()));
            },
        .today = [] { return std::chrono::system_clock::now(); },
        .servers = keptIn("servers"),
        .sessions = sessionStore(),
    };
}

ServerCounts::Storage offersOfLastRun() {
    return keptIn("offers");
}

std::function<double()> systemRandom() {
    const auto engine = std::make_shared<std::mt19937_64>(std::random_device()());
    return [engine] { return std::generate_canonical<double, 53>(*engine); };
}

} // namespace fluvane
