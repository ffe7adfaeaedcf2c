// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Shell/LinuxFileActions.h"

#include "Fluvane/Linux/Notices/FileReveal.h"
#include "FluvaneCore/Words.h"
#include "FluvaneEngine/Log.h"
#include "TessivarPhrases/Phrases.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#include <array>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>
#include <vector>

#include <mntent.h>
#include <unistd.h>

namespace fluvane {

using tessivar::kept;
using tessivar::markedIn;
using tessivar::phrase;
using tessivar::phraseIn;

namespace {

std::string nameOf(const URL& thing) {
    const std::string path = thing.path();
    const auto slash = path.rfind('/');
    return words::oneLine(thing.isFile() ? path.substr(slash + 1) : thing.absoluteString());
}

bool isNowhere(const std::string& path) {
    std::error_code error;
    const auto status = std::filesystem::symlink_status(path, error);
    return status.type() == std::filesystem::file_type::not_found;
}

/// The wastebasket of the user's own disk, where everything goes that has none on its own. Where it can't be
/// made, Qt would put files into the current folder.
bool hasWastebasket() {
    const QDir data(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation));
    if (data.mkpath(".") && data.mkdir("Trash")) {
        QFile::setPermissions(data.filePath("Trash"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    return QFileInfo(data.filePath("Trash")).isDir();
}

std::optional<std::string> moveToTrash(const std::string& path) {
    if (!isNowhere(path) && !hasWastebasket()) {
        return phrase("There's no wastebasket.");
    }
    QFile file(QFile::decodeName(path.c_str()));
    if (isNowhere(path) || file.moveToTrash() || isNowhere(path)) {
        return std::nullopt;
    }
    const QString reason = file.errorString();
    return reason.isEmpty() ? phrase("There's no wastebasket for files there.") : reason.toStdString();
}

} // namespace

LinuxFileActions::LinuxFileActions(FileReveal& reveal, MainQueue& mainQueue,
                                   std::function<void(const std::string&)> failed)
    : reveal_(reveal), mainQueue_(mainQueue), failed_(std::move(failed)),
      queue_("org.fluvane.Fluvane.trash") {}

LinuxFileActions::~LinuxFileActions() = default;

/// The opener may run for as long as the program it starts. It belongs to nobody, so that both outlive the
/// application; only its failure is of interest.
void LinuxFileActions::open(const URL& thing) {
    if (!thing.isFile() && !thing.isWeb()) {
        failed_(phrase("%1 can't be opened.", nameOf(thing)));
        return;
    }
    auto* const opener = new QProcess;
    const auto fail = [this, alive = std::weak_ptr(alive_), thing](std::string_view reason) {
        if (!alive.expired()) {
            tellWhy(thing, reason);
        }
    };
    QObject::connect(opener, &QProcess::finished, opener, [opener, fail](int code) {
        if (code != 0) {
            fail(markedIn("kept", "%1 couldn't be opened: there's no program for it."));
        }
        opener->deleteLater();
    });
    QObject::connect(opener, &QProcess::errorOccurred, opener, [opener, fail](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart) {
            fail(markedIn("kept", "%1 couldn't be opened: xdg-open isn't installed."));
            opener->deleteLater();
        }
    });
    opener->setChildProcessModifier([] { ::setsid(); });
    opener->setStandardInputFile(QProcess::nullDevice());
    opener->setStandardOutputFile(QProcess::nullDevice());
    opener->setStandardErrorFile(QProcess::nullDevice());
    const std::string what = thing.isFile() ? thing.path() : thing.absoluteString();
    opener->start("xdg-open", {QFile::decodeName(what.c_str())});
}

/// What openers exit with says little: whether the file is there is seen for itself, where a slow disk holds
/// nothing up.
void LinuxFileActions::tellWhy(const URL& thing, std::string_view reason) {
    queue_.async([this, alive = std::weak_ptr(alive_), thing, reason] {
        const std::string_view why = thing.isFile() && isNowhere(thing.path())
                                         ? markedIn("kept", "%1 couldn't be opened: it isn't there anymore.")
                                         : reason;
        log::files.error(kept("kept", why, "a file or link"));
        mainQueue_.post([this, alive, name = nameOf(thing), why] {
            if (!alive.expired()) {
                failed_(phraseIn("kept", why, name));
            }
        });
    });
}

void LinuxFileActions::show(const URL& file) {
    reveal_.show(file);
}

FileActions::IsGone LinuxFileActions::isGone() const {
    return [](const URL& file) { return isNowhere(file.path()); };
}

/// The kernel's own list, which knows them without asking them.
FileActions::VolumeOf LinuxFileActions::volumes() const {
    std::vector<std::string> places;
    const std::unique_ptr<FILE, decltype(&::endmntent)> list(::setmntent("/proc/self/mounts", "re"),
                                                             &::endmntent);
    std::array<char, 8192> text{};
    mntent entry{};
    while (list && ::getmntent_r(list.get(), &entry, text.data(), static_cast<int>(text.size()))) {
        places.emplace_back(entry.mnt_dir);
    }
    return [places = std::move(places)](const URL& file) {
        const auto path = file.path();
        const std::string* longest = nullptr;
        for (const auto& place : places) {
            const bool isBelow = place == "/" || path == place || path.starts_with(place + "/");
            longest = isBelow && (!longest || place.size() > longest->size()) ? &place : longest;
        }
        return longest ? *longest : std::string();
    };
}

void LinuxFileActions::moveToWastebasket(const URL& file, Completion completion) {
    queue_.async(
        [this, alive = std::weak_ptr(alive_), path = file.path(), completion = std::move(completion)] {
            const auto error = moveToTrash(path);
            if (error) {
                log::files.error("couldn't move a file to the wastebasket: " + log::hidden(*error));
            }
            mainQueue_.post([alive, error, completion] {
                if (!alive.expired()) {
                    completion(error);
                }
            });
        });
}

} // namespace fluvane
