// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Child.h"

#include "Support/TemporaryFolder.h"
#include "Tessivar/Report.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

using fluvane::support::readFile;
using fluvane::support::TemporaryFolder;
using tessivar::Report;
using tessivar::support::crasher;
using tessivar::support::isSanitized;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

// What guards the stack of the shipped program ends it before it can return to nowhere.
#if defined(__SSP_STRONG__)
constexpr int overwritten = SIGABRT;
constexpr const char* overwrittenName = "SIGABRT";
#else
constexpr int overwritten = SIGSEGV;
constexpr const char* overwrittenName = "SIGSEGV";
#endif

// Eight bytes of it are an address, an environment holds it, arguments and exceptions do.
const std::string secret = "https://secret.example/hidden name.iso";

/// The note that the next start of the program would show.
std::string noteIn(const TemporaryFolder& folder) {
    return crasher(folder.path(), "note").read();
}

void expectNothingPrivate(const std::string& text) {
    for (const char* word : {"secret", "hidden", "https", "iso", "fluvane-test-", "/"}) {
        EXPECT_THAT(text, Not(HasSubstr(word)));
    }
}

struct Way {
    const char* name;
    int signal;
    std::vector<const char*> inNote; ///< What happened, and the function on the stack.
    bool underSanitizers = true;
};

const std::vector<Way> ways = {
    {"touch", SIGSEGV, {"SIGSEGV", "Address: 0\n", "Thread: main", "touchNothing()\n"}},
    {"overflow", SIGSEGV, {"SIGSEGV", "Thread: main", "overflowTheStack(int)"}},
    {"overflow in a thread", SIGSEGV, {"SIGSEGV", "Thread: another", "overflowTheStack(int)"}},
    {"thread", SIGSEGV, {"SIGSEGV", "Thread: another", "touchNothing()\n"}},
    {"hang watch", SIGSEGV, {"SIGSEGV", "Thread: another", "touchNothing()\n"}},
    {"twice", SIGSEGV, {"SIGSEGV", "touchNothing()\n"}},
    {"jump", SIGSEGV, {"SIGSEGV", "jumpIntoText()\n"}},
    {"call", SIGSEGV, {"SIGSEGV", "  0  ?\n  1  Crasher", "callNothing()\n", "  main\n"}},
    {"wild", SIGSEGV, {"Address: dead0000\n", "  0  ?\n  1  Crasher", "callTheWild()\n", "  main\n"}},
    {"wild in a thread", SIGSEGV, {"  0  ?\n  1  Crasher", "callTheWild()\n", "  libc.so.6 "}},
    {"bus", SIGBUS, {"SIGBUS", "readPastTheEndOfAFile()\n"}},
    {"stack", overwritten, {overwrittenName, "overwriteTheStack()\n"}, false},
    {"heap", SIGABRT, {"SIGABRT", "damageTheHeap()\n"}, false},
    {"throw",
     SIGABRT,
     {"SIGABRT", "Exception: (anonymous namespace)::OpeningError\n", "throwWithNoOneToCatch"}},
    {"throw in a thread", SIGABRT, {"Exception: (anonymous namespace)::OpeningError\n", "Thread: another"}},
    {"noexcept", SIGABRT, {"Exception: (anonymous namespace)::OpeningError\n", "throwOutOfNoexcept"}},
    {"reason", SIGABRT, {"Reason: an addition overflowed\n", "crashWithAReason()\n"}},
    {"descriptors", SIGSEGV, {"SIGSEGV", "touchNothing()\n"}},
    {"ignored", SIGFPE, {"SIGFPE"}},
    {"ill", SIGILL, {"SIGILL"}},
    {"trap", SIGTRAP, {"SIGTRAP"}},
    {"sys", SIGSYS, {"SIGSYS"}},
};

} // namespace

TEST(CrashHandler, LeavesAReportAndLetsTheSignalEndTheProcess) {
    for (const Way& way : ways) {
        SCOPED_TRACE(way.name);
        if (isSanitized && !way.underSanitizers) {
            continue; // it ends the program itself, before there is a signal
        }
        const TemporaryFolder folder;
        EXPECT_EQ(crasher(folder.path(), way.name, secret).wait(), way.signal);
        const auto reports = tessivar::reportsIn(folder.path());
        ASSERT_EQ(reports.size(), 1U);
        expectNothingPrivate(readFile(reports.front().file));
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
    EXPECT_EQ(crasher(parent / "reports", "no folder").wait(), SIGSEGV);
    fluvane::support::writeFile(parent / "file", "");
    EXPECT_EQ(crasher(parent / "file/reports", "touch").wait(), SIGSEGV);
}

TEST(CrashHandler, AnEndFromOutsideOrAChildsCrashIsNoCrash) {
    for (const char* way : {"kill", "child", "none"}) {
        const TemporaryFolder folder;
        crasher(folder.path(), way).wait();
        EXPECT_EQ(noteIn(folder), "No crash or hang has been noted.") << way;
    }
}

TEST(CrashHandler, KeepsAFewReportsAndOtherFiles) {
    const TemporaryFolder folder;
    fluvane::support::writeFile(folder / "crash.report", "somebody's");
    for (std::size_t count = 0; count < tessivar::reportsKept + 2; ++count) {
        crasher(folder.path(), "touch").wait();
    }
    crasher(folder.path(), "none").wait();
    EXPECT_EQ(tessivar::reportsIn(folder.path()).size(), tessivar::reportsKept);
    EXPECT_TRUE(folder.names().contains("crash.report"));
}
