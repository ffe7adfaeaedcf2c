// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Support/TemporaryFolder.h"
#include "TessivarCore/FileSystem.h"
#include "TessivarCore/Log.h"
#include "TessivarCore/LogFiles.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <sys/stat.h>
#include <thread>
#include <tuple>
#include <vector>

namespace tessivar {

using namespace fluvane::support;
using namespace testing;

namespace {

class LogTest : public Test {
protected:
    using Line = std::tuple<Log::Level, std::string, std::string>;

    LogTest() {
        Log::setSink([this](Log::Level level, std::string_view category, std::string_view message) {
            lines.emplace_back(level, category, message);
        });
    }
    ~LogTest() override {
        Log::setSink({});
        Log::detailed = false;
        Log::debug = false;
    }

    std::vector<Line> lines;
};

std::string lineFrom(std::chrono::minutes ago, std::string_view text) {
    const auto time = std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now() - ago);
    return fmt::format("{:%Y-%m-%dT%H:%M}:00.000Z info files {}\n", fmt::gmtime(time), text);
}

std::size_t countOf(const std::string& text, char character) {
    return static_cast<std::size_t>(std::ranges::count(text, character));
}

} // namespace

TEST_F(LogTest, BuildsAMessageOnlyWhenItIsKept) {
    constexpr Log log{"files"};
    int built = 0;
    const auto message = [&] { return std::to_string(++built); };
    log(message);
    EXPECT_EQ(built, 0);
    Log::debug = true;
    log(message);
    Log::detailed = true;
    log(message);
    Log::debug = Log::detailed = false;
    log.error("failed");
    EXPECT_THAT(lines,
                ElementsAre(Line{Log::Level::debug, "files", "1"}, Line{Log::Level::standard, "files", "2"},
                            Line{Log::Level::error, "files", "failed"}));
}

TEST(LogFiles, WritesOneEscapedLineAMessagePrivately) {
    const TemporaryFolder folder;
    LogFiles files({.file = folder / "state/fluvane.log"});
    files.write(Log::Level::standard, "downloads", "download 1: a\nb\x1b[31m {} %s");
    files.write(Log::Level::error, "files", "");
    const auto text = readFile(folder / "state/fluvane.log");
    EXPECT_THAT(text, HasSubstr("Z info downloads download 1: a\\nb\\x1b[31m {} %s\n"));
    EXPECT_THAT(text, HasSubstr("Z error files \n"));
    EXPECT_THAT(text.substr(0, 25), MatchesRegex("20..-..-..T..:..:..\\....Z "));
    EXPECT_EQ(files.recent(std::chrono::minutes(1)), text);
    EXPECT_EQ(files.problem(), "");
    struct stat status {};
    ::stat((folder / "state/fluvane.log").c_str(), &status);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST_F(LogTest, HidesReasonsThatArentTheSystems) {
    constexpr Log log{"files"};
    log.error("couldn't", SystemError(ENOENT));
    log.error("couldn't", std::runtime_error("secret"));
    EXPECT_THAT(lines, ElementsAre(Line{Log::Level::error, "files", "couldn't: No such file or directory"},
                                   Line{Log::Level::error, "files", "couldn't: \x02secret\x03"}));
}

TEST(LogFiles, ShowsWhatIsHiddenToTheUserAlone) {
    const TemporaryFolder folder;
    LogFiles files({.file = folder / "a.log"});
    files.write(Log::Level::error, "files",
                "couldn't open " +
                    log::hidden("my\n \x02"
                                "file") +
                    ": why");
    EXPECT_THAT(files.recent(std::chrono::minutes(1)),
                EndsWith(" error files couldn't open my\\n file: why\n"));
    EXPECT_THAT(log::withoutHidden(files.recentMarked(std::chrono::minutes(1))),
                EndsWith(" error files couldn't open …: why\n"));
}

TEST(LogFiles, StaysBoundedAndRemembersAcrossRotation) {
    const TemporaryFolder folder;
    LogFiles files({.file = folder / "a.log", .bytesPerFile = 10'000, .files = 3});
    for (int number = 0; number < 1000; ++number) {
        files.write(Log::Level::standard, "files",
                    fmt::format("line {:04} {}", number, std::string(50, 'x')));
    }
    EXPECT_THAT(folder.names(), ElementsAre("a.1.log", "a.2.log", "a.log"));
    std::uintmax_t bytes = 0;
    for (const auto& name : folder.names()) {
        bytes += std::filesystem::file_size(folder / name);
    }
    EXPECT_LE(bytes, 30'000U);
    const auto recent = files.recent(std::chrono::minutes(10));
    EXPECT_EQ(recent.size(), bytes);
    // In order, and up to the very last.
    auto expected = 1000 - countOf(recent, '\n');
    for (auto at = recent.find("line "); at != std::string::npos; at = recent.find("line ", at + 1)) {
        ASSERT_EQ(recent.substr(at, 9), fmt::format("line {:04}", expected++));
    }
    EXPECT_EQ(expected, 1000U);
}

TEST(LogFiles, TellsOnlyTheLastMinutes) {
    const TemporaryFolder folder;
    writeFile(folder / "a.1.log", lineFrom(std::chrono::minutes(90), "ancient"));
    writeFile(folder / "a.log", lineFrom(std::chrono::minutes(30), "old") + "no line of ours\n" +
                                    lineFrom(std::chrono::minutes(5), "earlier run"));
    LogFiles files({.file = folder / "a.log"});
    files.write(Log::Level::standard, "files", "now");
    const auto recent = files.recent(std::chrono::minutes(10));
    EXPECT_EQ(countOf(recent, '\n'), 2U);
    EXPECT_THAT(recent, HasSubstr("earlier run\n"));
    EXPECT_THAT(recent, HasSubstr("now\n"));
    EXPECT_THAT(files.recent(std::chrono::minutes(60)), HasSubstr("old\n"));
    EXPECT_THAT(files.recent(std::chrono::minutes(60)), Not(HasSubstr("ancient")));
}

TEST(LogFiles, ReadsWhileOthersWrite) {
    const TemporaryFolder folder;
    LogFiles files({.file = folder / "a.log", .bytesPerFile = 20'000});
    std::vector<std::thread> writers;
    for (int writer = 0; writer < 3; ++writer) {
        writers.emplace_back([&] {
            for (int number = 0; number < 300; ++number) {
                files.write(Log::Level::standard, "files", std::string(40, 'x'));
            }
        });
    }
    for (int reading = 0; reading < 20; ++reading) {
        const auto recent = files.recent(std::chrono::minutes(1));
        EXPECT_TRUE(recent.empty() || recent.ends_with("x\n"));
    }
    for (auto& writer : writers) {
        writer.join();
    }
}

TEST(LogFiles, DoesWithoutAFileThatCannotBe) {
    const TemporaryFolder folder;
    writeFile(folder / "file", "");
    for (const auto& path : {folder / "file/below.log", folder.path(), std::filesystem::path("/dev/full")}) {
        SCOPED_TRACE(path);
        LogFiles files({.file = path});
        files.write(Log::Level::error, "files", "lost");
        EXPECT_THAT(files.problem(), StartsWith("Couldn't keep a log in " + path.string() + ": "));
        EXPECT_EQ(files.recent(std::chrono::minutes(1)), "");
    }
}

} // namespace tessivar
