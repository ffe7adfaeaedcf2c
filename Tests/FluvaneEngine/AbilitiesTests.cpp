// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Abilities.h"

#include "Support/Engine.h"

#include <gtest/gtest.h>

using namespace fluvane;

namespace {

using State = DownloadState;
using support::operator""_id;

Download inState(State state, bool prioritized = false, std::int64_t done = 0) {
    DownloadRecord record(1_id, support::link("http://a.example/f"), URL::folder("/d"), std::nullopt, Date());
    record.state = std::move(state);
    record.prioritized = prioritized;
    if (record.state.is<State::Finished>()) {
        record.file = URL::file("/d/f");
    } else if (done > 0) {
        record.partial = URL::file("/d/f.fluvane");
        record.pieces = {Piece{0, 100, done}};
    }
    return Download(std::move(record));
}

std::string told(const Download& download) {
    const Abilities can = abilities(download);
    const std::pair<bool, std::string_view> words[] = {{can.pause, "pause"},
                                                       {can.resume, can.resumeLabel()},
                                                       {can.next, "next"},
                                                       {can.prioritize, "prioritize"},
                                                       {can.stopPrioritizing, "stop prioritizing"},
                                                       {can.changeLink, "link"},
                                                       {can.open, "open"},
                                                       {can.show, "show"},
                                                       {can.removeFile, "remove file"},
                                                       {can.losesBytes, "loses bytes"}};
    std::string text;
    for (const auto& [possible, word] : words) {
        text += possible ? ", " + std::string(word) : "";
    }
    return text;
}

TEST(Abilities, ByState) {
    const struct {
        const char* name;
        Download download;
        const char* expected;
    } rows[] = {
        {"queued", inState(State::Queued{}), ", pause, next, prioritize, link"},
        {"starting first", inState(State::Starting{}, true), ", pause, stop prioritizing, link"},
        {"downloading", inState(State::Downloading{}, false, 7),
         ", pause, prioritize, link, show, loses bytes"},
        {"paused", inState(State::Paused{}), ", Resume, next, prioritize, link"},
        {"link expired", inState(State::Wait::linkExpired), ", pause, Try Again, link"},
        {"limited network", inState(State::Wait::limitedNetwork),
         ", pause, Download Anyway, prioritize, link"},
        {"verifying", inState(State::Verifying{}, true), ", stop prioritizing"},
        {"finished", inState(State::Finished{}, true, 100), ", open, show, remove file"},
        {"failed", inState(State::Failed{"It broke."}), ", Try Again, prioritize, link"},
    };
    for (const auto& [name, download, expected] : rows) {
        EXPECT_EQ(told(download), expected) << name;
    }
}

} // namespace
