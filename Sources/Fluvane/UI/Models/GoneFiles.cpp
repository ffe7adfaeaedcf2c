// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/GoneFiles.h"

#include "Fluvane/UI/Models/Aside.h"

#include <functional>
#include <string>

namespace fluvane {

GoneFiles::GoneFiles(const FileActions& files) : test_(files.isGone()) {
    clock_.start();
    pause_.setSingleShot(true);
    pause_.setInterval(pause);
    connect(&pause_, &QTimer::timeout, this, &GoneFiles::look);
}

GoneFiles& GoneFiles::of(QObject& owner, const FileActions& files) {
    auto* gone = owner.findChild<GoneFiles*>();
    if (!gone) {
        gone = new GoneFiles(files);
        gone->setParent(&owner);
    }
    return *gone;
}

bool GoneFiles::isGone(const Download& download) {
    const auto& record = download.record;
    if (!record.state.is<DownloadState::Finished>() || !record.file) {
        return false;
    }
    Known& known = known_[record.id];
    const auto file = std::hash<std::string>()(record.file->absoluteString());
    if (known.file != file) {
        known = {.file = file};
    }
    if (clock_.elapsed() - known.askedAt >= lasting) {
        known.askedAt = clock_.elapsed();
        asked_.emplace_back(record.id, *record.file);
        if (!looking_ && !pause_.isActive()) {
            pause_.start();
        }
    }
    return known.gone;
}

void GoneFiles::look() {
    looking_ = true;
    aside::run(this, [this, test = test_, asked = std::exchange(asked_, {})]() -> aside::Finish {
        Answers answers;
        for (const auto& [id, file] : asked) {
            answers.emplace_back(id, test(file));
        }
        return [this, answers = std::move(answers)] { take(answers); };
    });
}

void GoneFiles::take(const Answers& answers) {
    looking_ = false;
    std::vector<DownloadID> others;
    for (const auto& [id, gone] : answers) {
        Known& known = known_[id];
        if (std::exchange(known.gone, gone) != gone) {
            others.push_back(id);
        }
    }
    if (!asked_.empty()) {
        pause_.start();
    }
    if (!others.empty()) {
        Q_EMIT changed(others);
    }
}

} // namespace fluvane
