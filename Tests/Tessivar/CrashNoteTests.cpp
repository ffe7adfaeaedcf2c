// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Child.h"

#include "Support/TemporaryFolder.h"
#include "Tessivar/CrashNote.h"
#include "Tessivar/LastRun.h"
#include "Tessivar/Report.h"
#include "TessivarCore/AppIdentity.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <stdexcept>

namespace tessivar {

using namespace fluvane::support;
using namespace testing;
using support::endOf;
using enum LastRun::Ending;

namespace {

const CrashNote::Wording wording = {"your downloads carry on from the last bytes saved",
                                    "no links and no file names",
                                    "your downloads (by number, with their sizes and states)"};

/// Begins a run and ends it in that way, or does to its record what else may happen to it.
void take(const TemporaryFolder& folder, const std::string& step) {
    const auto record = folder / "last-run.json";
    if (step == "killed while it hangs") {
        const auto child = support::crasher(folder.path(), "hang");
        ASSERT_TRUE(child->waitForReadyRead(-1));
        child->kill();
        ASSERT_EQ(support::ending(*child), SIGKILL);
    } else if (step == "the machine starts again") {
        auto text = readFile(record);
        const auto id = RunID::current().bootID;
        writeFile(record, text.replace(text.find(id), id.size(), "another"));
    } else if (step == "still there") {
        LastRun(folder.path()).begin();
    } else if (step == "a folder in its place") {
        std::filesystem::create_directory(record);
    } else if (step.starts_with('{')) {
        writeFile(record, step);
    } else {
        endOf(folder.path(), step);
    }
}

std::vector<std::string> notesShown(const CrashNote& note) {
    std::vector<std::string> all;
    note.showIfNeeded([&](const std::string& text) { all.push_back(text); });
    return all;
}

} // namespace

TEST(LastRun, TellsHowTheRunBeforeEnded) {
    const std::pair<std::vector<const char*>, LastRun::Ending> cases[] = {
        {{}, unknown},
        {{"none"}, cleanly},
        {{"touch"}, crashed},
        {{"9"}, killed},
        {{"killed while it hangs"}, hung},
        {{"touch", "none"}, cleanly},
        {{"9", "the machine starts again"}, rebooted},
        {{"still there"}, stillRunning},
        {{"{\"run\": 7}"}, unknown},
        {{"{\"run"}, unknown},
        {{"a folder in its place"}, unknown},
    };
    for (const auto& [steps, ending] : cases) {
        const TemporaryFolder folder;
        std::ranges::for_each(steps, [&](const char* step) { take(folder, step); });
        EXPECT_EQ(LastRun(folder.path()).begin().ending, ending) << PrintToString(steps);
    }
}

TEST(LastRun, EndsOnlyItself) {
    const TemporaryFolder folder;
    LastRun mine(folder.path());
    mine.begin();
    endOf(folder.path(), "9");
    mine.end();
    const auto previous = LastRun(folder.path()).begin();
    EXPECT_EQ(previous.ending, killed);
    EXPECT_EQ(previous.version, "1.2.3");
    EXPECT_GT(previous.began, 0);
}

TEST(CrashNote, TellsAPersonAndShowsTheReportOnce) {
    AppIdentity::current.displayName = "Fluvane";
    const TemporaryFolder folder;
    const CrashNote note(folder.path(), wording, [] { return "Downloads:\n1 4000 bytes paused\n"; });
    EXPECT_EQ(note.latest(), "No crash or hang has been noted.");
    EXPECT_THAT(notesShown(note), ElementsAre());
    endOf(folder.path(), "throw");
    const auto complete = AllOf(
        StartsWith("Fluvane ended unexpectedly on "),
        HasSubstr("; your downloads carry on from the last bytes saved.\n"),
        HasSubstr(" and your downloads (by number, with their sizes and states)."),
        HasSubstr("There are no links and no file names in it.\n"), HasSubstr("\nStack:\n  0  libc.so"),
        ContainsRegex("\nBuild ids:\n     Crasher [0-9a-f]{8,}\n"), EndsWith("\n1 4000 bytes paused\n"));
    EXPECT_THAT(notesShown(note), ElementsAre(complete));
    EXPECT_THAT(notesShown(note), ElementsAre());
    EXPECT_THAT(CrashNote(folder.path(), wording).latest(), complete) << "kept with the report";
}

TEST(CrashNote, ShowsEachNewReport) {
    const TemporaryFolder folder;
    const CrashNote note(folder.path(), wording);
    take(folder, "killed while it hangs");
    endOf(folder.path(), "touch");
    EXPECT_THAT(notesShown(note), UnorderedElementsAre(HasSubstr(" and was ended; your downloads"),
                                                       HasSubstr("ended unexpectedly")));
    take(folder, "killed while it hangs");
    EXPECT_THAT(notesShown(note), ElementsAre(HasSubstr("Crasher 1.2.3 (hang)")));
}

TEST(CrashNote, AStartThatCrashesInCompletingAReportIsTheOnlyOne) {
    const TemporaryFolder folder;
    int asked = 0;
    const CrashNote note(folder.path(), wording, [&]() -> std::string {
        ++asked;
        throw std::runtime_error("no list of downloads");
    });
    endOf(folder.path(), "throw");
    ASSERT_EQ(endOf(folder.path(), "section"), SIGSEGV);
    EXPECT_THAT(notesShown(note),
                UnorderedElementsAre(HasSubstr("OpeningError"), HasSubstr("\nStack:\n  0  Crasher")));
    EXPECT_EQ(asked, 0) << "it would have crashed again";
    endOf(folder.path(), "touch");
    EXPECT_THAT(notesShown(note), ElementsAre(HasSubstr("SIGSEGV"))) << "without what can't be had";
    EXPECT_EQ(asked, 1);
    EXPECT_THAT(notesShown(note), ElementsAre());
}

TEST(CrashNote, ToleratesReportsOfAnyContent) {
    const TemporaryFolder folder;
    const auto name = reportName("crash", {1, 2, std::string(32, 'a')});
    const CrashNote note(folder.path(), wording);
    for (const char* text : {"", "Report 1", "Report 2\nTime: 1\n",
                             "Report 1\nTime: 99999999999999999999\nStack:\n0 a\n1 b 1 -\n",
                             "Report 1\nTime: 9223372036854775807\nStack:\n0 a zz -\n0 a 1 0011\nEnd"}) {
        writeFile(folder / name, text);
        EXPECT_FALSE(note.latest().empty()) << text;
        EXPECT_LE(notesShown(note).size(), 1U) << text;
    }
    writeFile(folder / name, std::string("Report 1\n\0\xff", 11) + std::string(2'000'000, 'x'));
    EXPECT_EQ(note.latest(), "No crash or hang has been noted.");
}

} // namespace tessivar
