// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Support/TemporaryFolder.h"
#include "Tessivar/CrashNote.h"
#include "Tessivar/LastRun.h"
#include "Tessivar/Report.h"

#include <QProcess>

#include <gmock/gmock.h>

#include <csignal>
#include <memory>
#include <stdexcept>
#include <sys/stat.h>

namespace tessivar {

using namespace fluvane::support;
using namespace testing;
using enum LastRun::Ending;

namespace {

// Eight bytes of it are an address, an environment holds it, arguments and exceptions do.
const std::string secret = "https://secret.example/hidden name.iso";

const CrashNote::Wording wording = {"your downloads carry on from the last bytes saved",
                                    "no links and no file names",
                                    "your downloads (by number, with their sizes and states)"};

/// Crasher in a process of its own, its standard output in a pipe; ended with its owner.
std::unique_ptr<QProcess> crasher(const std::filesystem::path& folder, const char* way) {
    // Sanitizers leave a program's own handlers alone only when asked to.
    const QString options = "handle_segv=0:handle_sigbus=0:handle_abort=0:handle_sigill=0:handle_sigfpe=0:"
                            "handle_sigtrap=0:use_sigaltstack=0:detect_leaks=0";
    const QString home = folder.c_str();
    auto child = std::make_unique<QProcess>();
    child->setEnvironment({"ASAN_OPTIONS=" + options, "TSAN_OPTIONS=" + options,
                           "SECRET=" + QString(secret.c_str()), "HOME=" + home});
    child->setStandardErrorFile(QProcess::nullDevice());
    child->start(CRASHER, {home, way, secret.c_str()});
    return child;
}

/// The signal that it ended by; 0 when it ended by itself.
int ending(QProcess& child) {
    child.waitForFinished(-1);
    return child.exitStatus() == QProcess::CrashExit ? child.exitCode() : 0;
}
int endOf(const std::filesystem::path& folder, const char* way) {
    return ending(*crasher(folder, way));
}

/// The note that the next start of the program would show, with names of functions.
std::string noteIn(const TemporaryFolder& folder) {
    QProcess symbolize;
    symbolize.setStandardInputFile(QString::fromStdString(folder / "note"));
    auto note = crasher(folder.path(), "note");
    ending(*note);
    writeFile(folder / "note", note->readAll().toStdString());
    symbolize.start(SYMBOLIZE, {"--symbols", CRASHER});
    symbolize.waitForFinished(-1);
    return symbolize.readAll().toStdString();
}

/// Begins a run and ends it in that way, or does to its record what else may happen to it.
void take(const TemporaryFolder& folder, const std::string& step) {
    const auto record = folder / "last-run.json";
    if (step == "killed while it hangs") {
        const auto child = crasher(folder.path(), "hang");
        ASSERT_TRUE(child->waitForReadyRead(-1));
        child->kill();
        ASSERT_EQ(ending(*child), SIGKILL);
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
        endOf(folder.path(), step.c_str());
    }
}

std::vector<std::string> notesShown(const CrashNote& note) {
    std::vector<std::string> all;
    note.showIfNeeded([&](const std::string& text) { all.push_back(text); });
    return all;
}

} // namespace

TEST(CrashHandler, LeavesAReportAndLetsTheSignalEndTheProcess) {
    const struct {
        const char* name;
        int signal;
        std::vector<const char*> inNote; ///< What happened, and the function on the stack.
    } ways[] = {
        {"touch", SIGSEGV, {"SIGSEGV", "Address: 0\n", "Thread: main", "touchNothing()"}},
        {"overflow", SIGSEGV, {"SIGSEGV", "Thread: main", "overflowTheStack(int)"}},
        {"twice", SIGSEGV, {"touchNothing()"}},
        {"jump into text", SIGSEGV, {"jumpTo(void const*)"}},
        {"throw", SIGABRT, {"Exception: (anonymous namespace)::OpeningError\n", "Thread: another"}},
        {"8", SIGFPE, {"SIGFPE"}},
    };
    for (const auto& way : ways) {
        SCOPED_TRACE(way.name);
        const TemporaryFolder folder;
        EXPECT_EQ(endOf(folder.path(), way.name), way.signal);
        const auto reports = reportsIn(folder.path());
        ASSERT_EQ(reports.size(), 1U);
        const auto report = readFile(reports.front().file);
        for (const char* word : {"secret", "hidden", "https", "iso", "fluvane-test-", "/"}) {
            EXPECT_THAT(report, Not(HasSubstr(word)));
        }
        struct stat status {};
        stat(reports.front().file.c_str(), &status);
        EXPECT_EQ(status.st_mode & 07777U, 0600U);
        const auto note = noteIn(folder);
        for (const char* text : way.inNote) {
            EXPECT_THAT(note, HasSubstr(text));
        }
        EXPECT_THAT(note, AllOf(HasSubstr("Crasher 1.2.3 (crash)"), Not(HasSubstr("none could be taken"))));
    }
    EXPECT_EQ(endOf(TemporaryFolder() / "reports", "no folder"), SIGSEGV);
}

TEST(CrashHandler, KeepsAFewReportsAndOtherFiles) {
    const TemporaryFolder folder;
    writeFile(folder / "crash.report", "somebody's");
    for (std::size_t count = 0; count < reportsKept + 1; ++count) {
        endOf(folder.path(), "touch");
    }
    endOf(folder.path(), "none");
    EXPECT_EQ(reportsIn(folder.path()).size(), reportsKept);
    EXPECT_TRUE(folder.names().contains("crash.report"));
}

TEST(LastRun, TellsHowTheRunBeforeEnded) {
    const std::pair<std::vector<const char*>, LastRun::Ending> cases[] = {
        {{}, unknown},
        {{"none"}, cleanly},
        {{"touch"}, crashed},
        {{"9"}, killed},
        {{"killed while it hangs"}, hung},
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

TEST(CrashNote, TellsAPersonAndShowsEachReportOnce) {
    const TemporaryFolder folder;
    const CrashNote note(folder.path(), wording, [] { return "Downloads:\n1 4000 bytes paused\n"; });
    EXPECT_EQ(note.latest(), "No crash or hang has been noted.");
    EXPECT_THAT(notesShown(note), ElementsAre());
    endOf(folder.path(), "throw");
    const auto complete = AllOf(
        HasSubstr(" ended unexpectedly on "),
        HasSubstr("; your downloads carry on from the last bytes saved.\n"),
        HasSubstr("There are no links and no file names in it.\n"), HasSubstr("\nStack:\n  0  libc.so"),
        ContainsRegex("\nBuild ids:\n     Crasher [0-9a-f]{8,}\n"), EndsWith("\n1 4000 bytes paused\n"));
    EXPECT_THAT(notesShown(note), ElementsAre(complete));
    EXPECT_THAT(notesShown(note), ElementsAre());
    EXPECT_THAT(CrashNote(folder.path(), wording).latest(), complete) << "kept with the report";
    take(folder, "killed while it hangs");
    EXPECT_THAT(notesShown(note), ElementsAre(HasSubstr(" and was ended; your downloads")));
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
