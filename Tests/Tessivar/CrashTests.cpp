// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Support/Rows.h"
#include "Support/TemporaryFolder.h"
#include "Tessivar/CrashNote.h"
#include "Tessivar/HangJudge.h"
#include "Tessivar/HangWatch.h"
#include "Tessivar/LastRun.h"
#include "Tessivar/Report.h"

#include <QProcess>

#include <gmock/gmock.h>

#include <csignal>
#include <semaphore>
#include <stdexcept>
#include <thread>

namespace tessivar {

using namespace fluvane::support;
using namespace testing;
using namespace std::chrono_literals;
using enum LastRun::Ending;

namespace {

// Eight bytes of it are an address, an environment holds it, arguments and exceptions do.
const std::string secret = "https://secret.example/hidden name.iso";

const CrashNote::Wording wording = {"Your downloads carry on from the last bytes saved.",
                                    "There are no links and no file names in it.",
                                    "It tells of your downloads, too."};

/// Runs Crasher in a process of its own: the signal that it ended by, 0 when it ended by itself, and its
/// output.
std::pair<int, std::string> crasher(const std::filesystem::path& folder, const char* way) {
    // Sanitizers leave a program's own handlers alone only when asked to.
    const QString options = "handle_segv=0:handle_sigbus=0:handle_abort=0:handle_sigill=0:handle_sigfpe=0:"
                            "handle_sigtrap=0:use_sigaltstack=0:detect_leaks=0";
    const QString home = folder.c_str();
    QProcess child;
    child.setEnvironment({"ASAN_OPTIONS=" + options, "TSAN_OPTIONS=" + options,
                          "SECRET=" + QString(secret.c_str()), "HOME=" + home});
    child.start(CRASHER, {home, way, secret.c_str()});
    child.waitForFinished(-1);
    return {child.exitStatus() == QProcess::CrashExit ? child.exitCode() : 0, child.readAll().toStdString()};
}
int endOf(const std::filesystem::path& folder, const char* way) {
    return crasher(folder, way).first;
}

/// The note that the next start of the program would show, with names of functions.
std::string noteIn(const TemporaryFolder& folder) {
    QProcess symbolize;
    symbolize.setStandardInputFile(QString::fromStdString(folder / "note"));
    writeFile(folder / "note", crasher(folder.path(), "note").second);
    symbolize.start(SYMBOLIZE, {"--symbols", CRASHER});
    symbolize.waitForFinished(-1);
    return symbolize.readAll().toStdString();
}

std::vector<std::string> notesShown(const CrashNote& note) {
    std::vector<std::string> all;
    note.showIfNeeded([&](const std::string& text) { all.push_back(text); });
    return all;
}

/// A watch on the calling thread that tells of its hangs.
struct Watched {
    TemporaryFolder folder;
    std::counting_semaphore<> hung{0};
    std::counting_semaphore<> recovered{0};
    std::chrono::milliseconds lasted{0};
    HangWatch watch{{folder.path(), 100ms, [this] { hung.release(); },
                     [this](auto time) {
                         lasted = time;
                         recovered.release();
                     }}};

    [[nodiscard]] std::vector<Report> reports() const { return reportsIn(folder.path()); }
};

/// A look a letter, 1 s each: the step in lower case while it works, "." idle; "L" late, "Z" after a sleep of
/// the machine, "T" stopped, all at the same step as before. Told: "i"dle, "w"orking, "H"angs.
std::string verdicts(const std::string& looks) {
    HangJudge judge(4s);
    HangJudge::Look look;
    std::string told;
    for (const char c : looks) {
        look.due += 1s;
        look.now = look.due + (c == 'L' ? 30s : 10ms);
        look.asleep += c == 'Z' ? 3600s : 0s;
        look.stopped = c == 'T';
        if (c == '.') {
            look.step = 0;
        } else if (c >= 'a') {
            look.step = static_cast<std::uint64_t>(c) * 2 + 1;
        }
        told += "iwH"[static_cast<int>(judge.at(look))];
        look.due = look.now;
    }
    return told;
}

} // namespace

TEST(CrashHandler, LeavesAReportAndLetsTheSignalEndTheProcess) {
    // The way, and what the note tells: what happened, and the function on the stack.
    const std::tuple<const char*, int, std::vector<const char*>> ways[] = {
        {"touch", SIGSEGV, {"SIGSEGV", "Address: 0\n", "Thread: main", "touchNothing()"}},
        {"overflow", SIGSEGV, {"SIGSEGV", "Thread: main", "overflowTheStack(int)"}},
        {"jump into text", SIGSEGV, {"jumpTo(void const*)"}},
        {"throw", SIGABRT, {"Exception: (anonymous namespace)::OpeningError\n", "Thread: another"}},
    };
    for (const auto& [way, signal, told] : ways) {
        SCOPED_TRACE(way);
        const TemporaryFolder folder;
        EXPECT_EQ(endOf(folder.path(), way), signal);
        const auto reports = reportsIn(folder.path());
        ASSERT_EQ(reports.size(), 1U);
        const auto report = readFile(reports.front().file);
        for (const char* word : {"secret", "hidden", "https", "iso", "fluvane-test-", "/"}) {
            EXPECT_THAT(report, Not(HasSubstr(word)));
        }
        EXPECT_EQ(std::filesystem::status(reports.front().file).permissions(), std::filesystem::perms(0600));
        const auto note = noteIn(folder);
        for (const char* text : told) {
            EXPECT_THAT(note, HasSubstr(text));
        }
        EXPECT_THAT(note, AllOf(HasSubstr("Crasher 1.2.3 (crash)"), Not(HasSubstr("none could be taken"))));
    }
}

TEST(LastRun, TellsHowTheRunBeforeEnded) {
    for (const auto& [way, ending] :
         {std::pair("none", cleanly), {"touch", crashed}, {"9", killed}, {"hang", hung}}) {
        const TemporaryFolder folder;
        writeFile(folder / "last-run.json", R"({"run": 7})");
        EXPECT_EQ(LastRun(folder.path()).begin().ending, unknown);
        endOf(folder.path(), way);
        EXPECT_EQ(LastRun(folder.path()).begin().ending, ending) << way;
    }
}

TEST(HangJudge, TellsHangsFromWorkAndFromStandingStill) {
    const Rows<std::string, std::string> rows = {{"abcdefgh", "wwwwwwww"},   {"aaaabaaaa", "wwwwwwwww"},
                                                 {"aa..aaaaa", "wwiiwwwwH"}, {"aaaLaaaa", "wwwwwwwH"},
                                                 {"aaaZaaaa", "wwwwwwwH"},   {"aaaTTTTT", "wwwwwwww"}};
    expectRows(rows, verdicts);
}

TEST(HangWatch, RecordsAHangOnceWithItsStackAndHowLongItLasted) {
    Watched main;
    main.watch.start();
    {
        const HangWatch::Work work(main.watch);
        std::thread([&] { main.watch.idle(); }).join(); // which isn't that thread's to say
        ASSERT_TRUE(main.hung.try_acquire_for(20s));
        ASSERT_EQ(main.reports().size(), 1U);
        EXPECT_FALSE(main.reports().back().number("Lasted"));
    }
    ASSERT_TRUE(main.recovered.try_acquire_for(20s));
    EXPECT_GE(main.lasted, 100ms);
    main.watch.stop();
    EXPECT_FALSE(main.hung.try_acquire());
    ASSERT_EQ(main.reports().size(), 1U);
    const auto report = main.reports().back();
    EXPECT_TRUE(report.isHang);
    EXPECT_GE(report.number("Lasted"), 100);
#ifndef __SANITIZE_THREAD__ // which holds signals back until they are in calls of its own
    EXPECT_GT(report.frames.size(), 3U);
#endif
}

TEST(CrashNote, TellsAPersonAndShowsEachReportOnce) {
    const TemporaryFolder folder;
    const CrashNote note(folder.path(), wording, [] { return "Downloads:\n1 4000 bytes paused\n"; });
    writeFile(folder / reportName("crash", {1, 2, std::string(32, 'a')}),
              "Report 1\n" + std::string(2'000'000, 'x'));
    EXPECT_EQ(note.latest(), "No crash or hang has been noted.");
    EXPECT_THAT(notesShown(note), ElementsAre());
    endOf(folder.path(), "throw");
    const auto complete = AllOf(
        ContainsRegex(" ended unexpectedly on .*\\.\nYour downloads carry on from the last bytes saved.\n"),
        HasSubstr("There are no links and no file names in it.\n"), HasSubstr("\nStack:\n  0  libc.so"),
        ContainsRegex("\nBuild ids:\n     Crasher [0-9a-f]{8,}\n"), EndsWith("\n1 4000 bytes paused\n"));
    EXPECT_THAT(notesShown(note), ElementsAre(complete));
    EXPECT_THAT(notesShown(note), ElementsAre());
    EXPECT_THAT(CrashNote(folder.path(), wording).latest(), complete) << "kept with the report";
    EXPECT_EQ(endOf(folder.path(), "hang"), SIGKILL);
    EXPECT_THAT(notesShown(note), ElementsAre(HasSubstr(" and was ended.\nYour downloads")));
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
    EXPECT_EQ(notesShown(note).size(), 2U);
    EXPECT_EQ(asked, 0) << "it would have crashed again";
    endOf(folder.path(), "touch");
    EXPECT_THAT(notesShown(note), ElementsAre(HasSubstr("SIGSEGV"))) << "without what can't be had";
    EXPECT_EQ(asked, 1);
}

} // namespace tessivar
