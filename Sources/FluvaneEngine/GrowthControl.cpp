// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/GrowthControl.h"

#include "FluvaneCore/Words.h"
#include "FluvaneEngine/Log.h"
#include "TessivarPhrases/Phrases.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace fluvane {

namespace {

/// Seconds after which one that brings nothing, as its disk or server hangs, keeps nobody from measuring.
constexpr double longestSilence = 3;

bool isDownloading(const Download& download) {
    return download.record.state.is<DownloadState::Downloading>();
}

void logStep(const Download& download, const Growth::Step& step) {
    log::downloads([&] {
        const tessivar::InEnglish english;
        return fmt::format("download {}: {} connections at {}, trying {}", download.id(), step.from,
                           words::speed(step.rate), download.growth->target());
    });
}

void logBack(const Download& download, const Growth::Back& back) {
    log::downloads([&] {
        const tessivar::InEnglish english;
        return fmt::format("download {}: {} connections {}({} against {} with {}), back to {}", download.id(),
                           back.from,
                           back.tookSpeed ? "took speed from the other downloads " : "weren't faster ",
                           words::speed(back.rate), words::speed(back.rateBefore), download.growth->target(),
                           download.growth->target());
    });
}

} // namespace

GrowthControl::GrowthControl(const DownloadList& list, const Conditions& conditions, Connections& connections)
    : list_(list), conditions_(conditions), connections_(connections) {}

void GrowthControl::adapt(Download& download, std::int64_t bytes, double now) {
    const Growth::Sample sample{now, bytes, connections_.received() - download.received};
    if (isDownloading(download) && !download.growth->isGrowing()) {
        letOthersMeasure(download);
        if (download.growth.own().hasBecomeFaster(sample, conditions_.tuning)) {
            download.growth.own().afresh();
        }
        return;
    }
    if (!mayMeasure(download, now)) {
        leave(download); // whatever keeps it from measuring must not keep the others from it
        return;
    }
    if (std::exchange(measuring_, download.id()) != download.id() || now - heard_ > longestSilence) {
        download.growth.own().interrupt();
    }
    heard_ = now;
    if (download.served() < connections_.aim(download)) {
        download.growth.own().interrupt();
        return;
    }
    const Growth::Limits limits{.cap = connections_.cap(download), .isPrioritized = download.isPrioritized()};
    follow(download, download.growth.own().feed(sample, limits, conditions_.tuning));
}

void GrowthControl::follow(Download& download, const Growth::Answer& answer) {
    if (const auto* const step = std::get_if<Growth::Step>(&answer)) {
        logStep(download, *step);
        connections_.fill(download);
    } else if (const auto* const back = std::get_if<Growth::Back>(&answer)) {
        logBack(download, *back);
        leave(download);
        connections_.trim(download);
    }
}

bool GrowthControl::canMeasure(const Download& download) const {
    return isDownloading(download) && download.growth->isGrowing() && download.record.resumable &&
           !download.retry->isPending();
}

bool GrowthControl::mayMeasure(const Download& download, double now) const {
    if (!canMeasure(download) || download.growth->hasReached(connections_.cap(download))) {
        return false;
    }
    const bool another = std::ranges::any_of(list_, [&](const auto& other) {
        return other.get() != &download && other->isPrioritized() && other->record.state.isActive();
    });
    if (another || static_cast<int>(download.transfers.size()) < connections_.aim(download)) {
        return false;
    }
    const Download* const measuring = measuring_ ? list_.find(*measuring_) : nullptr;
    return !measuring || measuring == &download || !canMeasure(*measuring) || now - heard_ > longestSilence;
}

void GrowthControl::leave(Download& download) {
    if (auto* const growth = download.growth.ifOwn()) {
        growth->interrupt();
    }
    letOthersMeasure(download);
}

void GrowthControl::letOthersMeasure(const Download& download) {
    if (measuring_ == download.id()) {
        measuring_.reset();
    }
}

void GrowthControl::remeasure() {
    for (const auto& download : list_) {
        if (isDownloading(*download)) {
            download->growth.own().afresh();
        }
    }
    measuring_.reset();
}

void GrowthControl::noticeNeighbours() {
    std::set<DownloadID> now;
    for (const auto& download : list_) {
        if (isDownloading(*download)) {
            now.insert(download->id());
        }
    }
    const bool someoneLeft = !std::ranges::includes(now, downloading_);
    downloading_ = std::move(now);
    for (const auto& download : list_) {
        if (someoneLeft && isDownloading(*download) && !download->growth->isGrowing()) {
            download->growth.own().afresh();
        }
    }
}

} // namespace fluvane
