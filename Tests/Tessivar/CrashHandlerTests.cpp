// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Child.h"

#include "Support/TemporaryFolder.h"
#include "Tessivar/Report.h"

#include <gmock/gmock.h>

#include <csignal>
#include <sys/stat.h>

namespace tessivar {

using namespace fluvane::support;
using namespace testing;
using support::endOf;

namespace {

// Eight bytes of it are an address, an environment holds it, arguments and exceptions do.
const std::string secret = "https://secret.example/hidden name.iso";

/// The note that the next start of the program would show, with names of functions.
std::string noteIn(const TemporaryFolder& folder) {
    QProcess symbolize;
    symbolize.setStandardInputFile(QString::fromStdString(folder / "note"));
    auto note = support::crasher(folder.path(), "note");
    support::ending(*note);
    writeFile(folder / "note", note->readAll().toStdString());
    symbolize.start(SYMBOLIZE, {"--symbols", CRASHER});
    symbolize.waitForFinished(-1);
    return symbolize.readAll().toStdString();
}

struct Way {
    const char* name;
    int signal;
    std::vector<const char*> inNote; ///< What happened, and the function on the stack.
};

const std::vector<Way> ways = {
    {"touch", SIGSEGV, {"SIGSEGV", "Address: 0\n", "Thread: main", "touchNothing()"}},
    {"overflow", SIGSEGV, {"SIGSEGV", "Thread: main", "overflowTheStack(int)"}},
    {"overflow in a thread", SIGSEGV, {"Thread: another", "overflowTheStack(int)"}},
    {"hang watch", SIGSEGV, {"Thread: another", "touchNothing()"}},
    {"twice", SIGSEGV, {"touchNothing()"}},
    {"jump into text", SIGSEGV, {"jumpTo(void const*)"}},
    {"call nothing", SIGSEGV, {"  0  ?\n  1  Crasher", "jumpTo(void const*)", "  _start"}},
    {"call the wild in a thread", SIGSEGV, {"Address: dead0000\n", "  0  ?\n  1  Crasher", "  libc.so.6 "}},
    {"throw", SIGABRT, {"Exception: (anonymous namespace)::OpeningError\n", "throwWithNoOneToCatch"}},
    {"throw in a thread", SIGABRT, {"Exception: (anonymous namespace)::OpeningError\n", "Thread: another"}},
    {"reason", SIGABRT, {"SIGABRT", "Reason: an addition overflowed\n"}},
    {"descriptors", SIGSEGV, {"touchNothing()"}},
    {"4", SIGILL, {"SIGILL"}},
    {"5", SIGTRAP, {"SIGTRAP"}},
    {"7", SIGBUS, {"SIGBUS"}},
    {"8", SIGFPE, {"SIGFPE"}},
    {"31", SIGSYS, {"SIGSYS"}},
};

} // namespace

TEST(CrashHandler, LeavesAReportAndLetsTheSignalEndTheProcess) {
    for (const Way& way : ways) {
        SCOPED_TRACE(way.name);
        const TemporaryFolder folder;
        EXPECT_EQ(endOf(folder.path(), way.name, secret), way.signal);
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
}

TEST(CrashHandler, EndsTheProcessEvenWhereNoReportCanBe) {
    const TemporaryFolder parent;
    EXPECT_EQ(endOf(parent / "reports", "no folder"), SIGSEGV);
    writeFile(parent / "file", "");
    EXPECT_EQ(endOf(parent / "file/reports", "touch"), SIGSEGV);
}

TEST(CrashHandler, AnEndFromOutsideOrAChildsCrashIsNoCrash) {
    for (const char* way : {"9", "child", "none"}) {
        const TemporaryFolder folder;
        endOf(folder.path(), way);
        EXPECT_EQ(noteIn(folder), "No crash or hang has been noted.\n") << way;
    }
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

} // namespace tessivar
