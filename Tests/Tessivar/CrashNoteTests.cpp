// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Child.h"

#include "Support/TemporaryFolder.h"
#include "Tessivar/CrashNote.h"
#include "Tessivar/LastRun.h"
#include "Tessivar/Report.h"
#include "TessivarCore/AppIdentity.h"

#include <gmock/gmock.h>

#include <functional>
#include <stdexcept>

using fluvane::support::readFile;
using fluvane::support::TemporaryFolder;
using fluvane::support::writeFile;
using tessivar::CrashNote;
using tessivar::LastRun;
using tessivar::support::crasher;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

const CrashNote::Wording wording = {"your downloads carry on from the last bytes saved",
                                    "no links and no file names",
                                    "your downloads (by number, with their sizes and states)"};

void run(const TemporaryFolder& folder, const std::string& way) {
    crasher(folder.path(), way).wait();
}

/// A run killed while its hang lasts.
void killHanging(const TemporaryFolder& folder) {
    auto child = crasher(folder.path(), "hang");
    ASSERT_EQ(child.read(1), "h");
    kill(child.pid(), SIGKILL);
    ASSERT_EQ(child.wait(), SIGKILL);
}

/// As if the machine had been started again since.
void reboot(const TemporaryFolder& folder) {
    auto record = readFile(folder / "last-run.json");
    const auto id = tessivar::RunID::current().bootID;
    writeFile(folder / "last-run.json", record.replace(record.find(id), id.size(), "another"));
}

struct Case {
    const char* name;
    std::function<void(const TemporaryFolder&)> before;
    LastRun::Ending ending;
};

const std::vector<Case> cases = {
    {"first run", [](const auto&) {}, LastRun::Ending::unknown},
    {"clean", [](const auto& folder) { run(folder, "none"); }, LastRun::Ending::cleanly},
    {"crash", [](const auto& folder) { run(folder, "thread"); }, LastRun::Ending::crashed},
    {"killed", [](const auto& folder) { run(folder, "kill"); }, LastRun::Ending::killed},
    {"killed while hanging", killHanging, LastRun::Ending::hung},
    {"crash, then clean",
     [](const auto& folder) {
         run(folder, "touch");
         run(folder, "none");
     },
     LastRun::Ending::cleanly},
    {"power cut",
     [](const auto& folder) {
         run(folder, "kill");
         reboot(folder);
     },
     LastRun::Ending::rebooted},
    {"still there", [](const auto& folder) { LastRun(folder.path()).begin(); },
     LastRun::Ending::stillRunning},
    {"garbage", [](const auto& folder) { writeFile(folder / "last-run.json", "{\"run\": 7}"); },
     LastRun::Ending::unknown},
    {"half a record", [](const auto& folder) { writeFile(folder / "last-run.json", "{\"run"); },
     LastRun::Ending::unknown},
    {"a folder in its place",
     [](const auto& folder) { std::filesystem::create_directory(folder / "last-run.json"); },
     LastRun::Ending::unknown},
};

std::vector<std::string> notesShown(const CrashNote& note) {
    std::vector<std::string> all;
    note.showIfNeeded([&](const std::string& text) { all.push_back(text); });
    return all;
}

} // namespace

TEST(LastRun, TellsHowTheRunBeforeEnded) {
    for (const auto& [name, before, ending] : cases) {
        const TemporaryFolder folder;
        before(folder);
        EXPECT_EQ(LastRun(folder.path()).begin().ending, ending) << name;
    }
}

TEST(LastRun, EndsOnlyItself) {
    const TemporaryFolder folder;
    LastRun mine(folder / "state");
    mine.begin();
    crasher(folder / "state", "kill").wait();
    mine.end();
    const auto previous = LastRun(folder / "state").begin();
    EXPECT_EQ(previous.ending, LastRun::Ending::killed);
    EXPECT_EQ(previous.version, "1.2.3");
    EXPECT_GT(previous.began, 0);
}

TEST(CrashNote, TellsAPersonAndShowsTheReport) {
    tessivar::AppIdentity::current.displayName = "Fluvane";
    const TemporaryFolder folder;
    const CrashNote note(folder.path(), wording, [] { return "Downloads:\n1 4000 bytes paused\n"; });
    EXPECT_EQ(note.latest(), "No crash or hang has been noted.");
    EXPECT_THAT(notesShown(note), ElementsAre());
    run(folder, "throw");
    const auto complete = AllOf(StartsWith("Fluvane ended unexpectedly on "),
                                HasSubstr("; your downloads carry on from the last bytes saved.\n"),
                                HasSubstr(" and your downloads (by number, with their sizes and states)."),
                                HasSubstr("There are no links and no file names in it.\n"),
                                HasSubstr("\nStack:\n  0  libc.so"), EndsWith("\n1 4000 bytes paused\n"));
    EXPECT_THAT(notesShown(note), ElementsAre(complete));
    EXPECT_THAT(notesShown(note), ElementsAre());
    EXPECT_THAT(CrashNote(folder.path(), wording).latest(), complete) << "kept with the report";
}

TEST(CrashNote, ShowsEachNewReportOldestFirst) {
    const TemporaryFolder folder;
    const CrashNote note(folder.path(), wording);
    killHanging(folder);
    run(folder, "touch");
    EXPECT_THAT(notesShown(note), testing::UnorderedElementsAre(HasSubstr(" and was ended; your downloads"),
                                                                HasSubstr("ended unexpectedly")));
    killHanging(folder);
    EXPECT_THAT(notesShown(note), ElementsAre(HasSubstr("Hung: ")));
    EXPECT_THAT(note.latest(), HasSubstr("Crasher 1.2.3 (hang)"));
}

TEST(CrashNote, LeavesOutASectionThatThrows) {
    const TemporaryFolder folder;
    run(folder, "touch");
    const CrashNote note(folder.path(), wording,
                         []() -> std::string { throw std::runtime_error("no list of downloads"); });
    EXPECT_THAT(notesShown(note), ElementsAre(HasSubstr("  __libc_start_main\n")));
    EXPECT_THAT(notesShown(note), ElementsAre());
    EXPECT_THAT(note.latest(), HasSubstr("  __libc_start_main\n")) << "kept without the section";
}

TEST(CrashNote, AStartThatCrashesInCompletingAReportIsTheOnlyOne) {
    const TemporaryFolder folder;
    int asked = 0;
    const CrashNote note(folder.path(), wording, [&] {
        ++asked;
        return "1 4000 bytes paused\n";
    });
    run(folder, "throw");
    ASSERT_EQ(crasher(folder.path(), "section").wait(), SIGSEGV);
    EXPECT_THAT(notesShown(note), testing::UnorderedElementsAre(
                                      HasSubstr("OpeningError"),
                                      AllOf(HasSubstr("SIGSEGV"), HasSubstr("\nStack:\n  0  Crasher"))));
    EXPECT_EQ(asked, 0) << "it would have crashed again";
    EXPECT_THAT(notesShown(note), ElementsAre());
    run(folder, "touch");
    EXPECT_THAT(notesShown(note), ElementsAre(EndsWith("paused\n"))) << "and only once";
}

TEST(CrashNote, ToleratesReportsOfAnyContent) {
    const TemporaryFolder folder;
    const auto name = tessivar::reportName("crash", {1, 2, std::string(32, 'a')});
    const CrashNote note(folder.path(), wording);
    for (const char* text : {"", "Report 1", "Report 2\nTime: 1\n",
                             "Report 1\nTime: 99999999999999999999\nStack:\n0 a\n1 b 1 -\n",
                             "Report 1\nTime: 9223372036854775807\nStack:\n0 a zz -\n0 a 1 0011\nEnd",
                             "Report 1\nSymbol: 9 x\nStack:"}) {
        writeFile(folder / name, text);
        EXPECT_FALSE(note.latest().empty()) << text;
        EXPECT_LE(notesShown(note).size(), 1U) << text;
    }
    writeFile(folder / name, std::string("Report 1\n\0\xff", 11) + std::string(2'000'000, 'x'));
    EXPECT_EQ(note.latest(), "No crash or hang has been noted.");
}
