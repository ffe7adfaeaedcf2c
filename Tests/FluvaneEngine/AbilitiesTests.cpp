// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Abilities.h"

#include "Support/Engine.h"
#include "Support/Rows.h"

#include <gtest/gtest.h>

using namespace fluvane;

namespace {

using State = DownloadState;
using support::operator""_id;

Download inState(State state, bool prioritized = false, std::int64_t done = 0) {
    DownloadRecord record(1_id, support::link("http://a.example/f"), URL::folder("/d"), std::nullopt, Date());
    record.state = std::move(state);
    if (prioritized) {
        record.prioritized = true;
    }
    if (done > 0) {
        record.partial = URL::file("/d/f.fluvane");
        record.pieces = {Piece{0, 100, done}};
    }
    if (record.state.is<State::Finished>()) {
        record.file = URL::file("/d/f");
        record.partial.reset();
    }
    return Download(std::move(record));
}

/// What can be done, as words in one line.
std::string told(const Download& download) {
    const Abilities can = abilities(download);
    std::string text;
    const auto add = [&text](bool possible, std::string_view word) {
        if (possible) {
            text += (text.empty() ? "" : ", ") + std::string(word);
        }
    };
    add(can.pause, "pause");
    add(can.resume, can.resumeLabel());
    add(can.next, "next");
    add(can.prioritize, "prioritize");
    add(can.stopPrioritizing, "stop prioritizing");
    add(can.changeLink, "link");
    add(can.open, "open");
    add(can.show, "show");
    add(can.removeFile, "remove file");
    add(can.losesBytes, "loses bytes");
    return text;
}

TEST(Abilities, ByState) {
    const struct {
        const char* name;
        Download download;
        const char* expected;
    } rows[] = {
        {"queued", inState(State::Queued{}), "pause, next, prioritize, link"},
        {"starting first", inState(State::Starting{}, true), "pause, stop prioritizing, link"},
        {"downloading", inState(State::Downloading{}, false, 7),
         "pause, prioritize, link, show, loses bytes"},
        {"paused", inState(State::Paused{}), "Resume, next, prioritize, link"},
        {"offline", inState(State::Wait::offline), "pause, prioritize, link"},
        {"retrying", inState(State::Wait::retrying), "pause, prioritize, link"},
        {"link expired", inState(State::Wait::linkExpired), "pause, Try Again, link"},
        {"limited network", inState(State::Wait::limitedNetwork), "pause, Download Anyway, prioritize, link"},
        {"verifying", inState(State::Verifying{}, true), "stop prioritizing"},
        {"finished", inState(State::Finished{}, true, 100), "open, show, remove file"},
        {"failed", inState(State::Failed{"It broke."}), "Try Again, prioritize, link"},
    };
    for (const auto& [name, download, expected] : rows) {
        EXPECT_EQ(told(download), expected) << name;
    }
}

/// What is offered is what the manager carries out.
TEST(Abilities, AreTheManagersOwn) {
    for (const State& state : {State(State::Paused{}), State(State::Wait::linkExpired),
                               State(State::Finished{}), State(State::Failed{"It broke."})}) {
        using Command = void (*)(DownloadManager&);
        const std::pair<bool Abilities::*, Command> commands[] = {
            {&Abilities::pause, [](DownloadManager& manager) { manager.pause(1_id); }},
            {&Abilities::resume, [](DownloadManager& manager) { manager.resume(1_id); }},
            {&Abilities::prioritize, [](DownloadManager& manager) { manager.prioritize(1_id, true); }},
        };
        for (const auto& [ability, command] : commands) {
            support::Engine engine(Config{});
            auto record = inState(state).record;
            engine.store->saved = {record};
            engine.manager->setOnline(false); // so that nothing begins by itself
            engine.manager->start();
            const auto before = engine.record(1_id);
            const bool can = abilities(*engine.manager->download(1_id)).*ability;
            command(*engine.manager);
            EXPECT_EQ(engine.record(1_id) != before, can) << stateName(state);
        }
    }
}

} // namespace
