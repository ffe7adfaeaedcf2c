// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/GoneFiles.h"

#include "Fluvane/UI/Models/Aside.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <utility>

namespace fluvane {

GoneFiles::GoneFiles(const FileActions& files) : files_(files) {
    clock_.start();
    pause_.setSingleShot(true);
    pause_.setInterval(pause);
    connect(&pause_, &QTimer::timeout, this, &GoneFiles::lookAround);
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
    const auto& location = record.file->absoluteString();
    const auto file = std::hash<std::string>()(location);
    Known& known = known_[record.id];
    if (known.file != file) {
        known = {.file = file};
    }
    if (!known.asked && clock_.elapsed() - known.askedAt >= lasting) {
        known.asked = true;
        known.askedAt = clock_.elapsed();
        waiting_.push_back({record.id, file, *record.file});
        if (!pause_.isActive()) {
            pause_.start();
        }
    }
    return known.gone;
}

/// A volume that hasn't answered isn't asked again until it does.
void GoneFiles::lookAround() {
    forgetOld();
    const auto volumeOf = files_.volumes();
    std::map<std::string, std::vector<Asked>> asked;
    for (const auto& one : std::exchange(waiting_, {})) {
        const auto volume = volumeOf(one.location);
        const bool canAsk = asked.contains(volume) || looking_.size() + asked.size() < mostLooks;
        (canAsk && !looking_.contains(volume) ? asked[volume] : waiting_).push_back(one);
    }
    for (auto& [volume, some] : asked) {
        look(volume, std::move(some));
    }
}

void GoneFiles::look(const std::string& volume, std::vector<Asked> asked) {
    looking_.insert(volume);
    aside::run(this, [this, volume, test = files_.isGone(), asked = std::move(asked)]() -> aside::Finish {
        Answers answers;
        for (const auto& one : asked) {
            answers.emplace_back(one, test(one.location));
        }
        return [this, volume, answers = std::move(answers)] { take(volume, answers); };
    });
}

void GoneFiles::take(const std::string& volume, const Answers& answers) {
    looking_.erase(volume);
    std::vector<DownloadID> others;
    for (const auto& [asked, gone] : answers) {
        const auto known = known_.find(asked.id);
        if (known == known_.end() || known->second.file != asked.file) {
            continue; // it has another file by now
        }
        known->second.asked = false;
        if (std::exchange(known->second.gone, gone) != gone) {
            others.push_back(asked.id);
        }
    }
    if (!waiting_.empty()) {
        pause_.start();
    }
    if (!others.empty()) {
        Q_EMIT changed(others);
    }
}

/// Those that were asked about the longest ago; what hangs is remembered, as it isn't to be asked again.
void GoneFiles::forgetOld() {
    if (known_.size() <= mostKnown) {
        return;
    }
    std::vector<qint64> times;
    for (const auto& [id, known] : known_) {
        times.push_back(known.askedAt);
    }
    const auto middle = times.begin() + std::ssize(times) / 2;
    std::ranges::nth_element(times, middle);
    std::erase_if(known_, [before = *middle](const auto& entry) {
        return !entry.second.asked && entry.second.askedAt < before;
    });
}

} // namespace fluvane
