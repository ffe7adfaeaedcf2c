// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Model/World.h"

#include <algorithm>

#include <fmt/format.h>

namespace fluvane::model {

namespace {

bool isSettled(const Download& download, bool isLast) {
    const auto kind = download.record.state.kind();
    const bool waitsForPerson =
        kind == StateKind::paused || kind == StateKind::failed || kind == StateKind::linkExpired;
    return kind == StateKind::finished || (!isLast && waitsForPerson);
}

bool isAllSaved(const World& world) {
    const auto all = world.manager().downloads();
    return std::ranges::equal(all, world.engine.store->saved, [](const auto* download, const auto& record) {
        return download->id() == record.id && download->record.state == record.state;
    });
}

} // namespace

void World::recover() {
    auto& files = *engine.files;
    for (auto* const fault : {&files.failSync, &files.failFull, &files.failCreate, &files.failOpen,
                              &files.failFinish, &files.failChecksum, &engine.store->error}) {
        fault->reset();
    }
    files.freeSpace.reset();
    for (const auto id : std::set(files.hung)) {
        files.answer(id);
    }
    engine.store->hung.clear();
    askedOnLimited.clear();
    manager().setLimitedNetwork(std::nullopt);
    manager().setOnline(true);
    noteBefore();
    const auto goesOn = [](const auto* download) {
        const auto& state = download->record.state;
        return state.isActive() || state.template is<DownloadState::Queued>() ||
               state.isWaiting(DownloadState::Wait::space);
    };
    constexpr int mostRounds = 1500;
    for (int round = 0; round < mostRounds && std::ranges::any_of(manager().downloads(), goesOn); ++round) {
        servers.serve(8'000'000);
        pass(servers.exchanges.empty() ? 2 : 0.5);
    }
    pass(10); // for the list
}

std::optional<std::string> brokenAtEnd(const World& world, bool isLast) {
    for (const auto* const download : world.manager().downloads()) {
        if (!isSettled(*download, isLast)) {
            return fmt::format("Everything comes to its end once nothing is wrong. (download {})",
                               download->id());
        }
    }
    if (world.unanswered > 0) {
        return "Every command is answered.";
    }
    return isAllSaved(world) ? broken(world) : "In the end the saved list is the list.";
}

} // namespace fluvane::model
