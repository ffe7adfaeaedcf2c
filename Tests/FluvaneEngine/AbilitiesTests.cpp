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

/// p(ause), n(ext), f(irst), s(top being first), l(ink), o(pen), w(here it is), r(emove the file), b(ytes are
/// lost); before them how to resume.
std::string told(const Download& download) {
    const Abilities can = abilities(download);
    std::string text(can.resume ? can.resumeLabel() : "");
    const std::pair<bool, char> letters[] = {
        {can.pause, 'p'},      {can.next, 'n'}, {can.prioritize, 'f'}, {can.stopPrioritizing, 's'},
        {can.changeLink, 'l'}, {can.open, 'o'}, {can.show, 'w'},       {can.removeFile, 'r'},
        {can.losesBytes, 'b'}};
    for (const auto& [possible, letter] : letters) {
        text += possible ? std::string{' ', letter} : "";
    }
    return text;
}

TEST(Abilities, ByState) {
    const struct {
        const char* name;
        Download download;
        const char* expected;
    } rows[] = {
        {"queued", inState(State::Queued{}), " p n f l"},
        {"starting first", inState(State::Starting{}, true), " p s l"},
        {"downloading", inState(State::Downloading{}, false, 7), " p f l w b"},
        {"paused", inState(State::Paused{}), "Resume n f l"},
        {"link expired", inState(State::Wait::linkExpired), "Try Again p l"},
        {"limited network", inState(State::Wait::limitedNetwork), "Download Anyway p f l"},
        {"verifying", inState(State::Verifying{}, true), " s"},
        {"finished", inState(State::Finished{}, true, 100), " o w r"},
        {"failed", inState(State::Failed{"It broke."}), "Try Again f l"},
    };
    for (const auto& [name, download, expected] : rows) {
        EXPECT_EQ(told(download), expected) << name;
    }
}

} // namespace
