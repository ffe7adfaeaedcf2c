// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Support/TemporaryFolder.h"
#include "TessivarCore/FileSystem.h"
#include "TessivarCore/Log.h"
#include "TessivarCore/LogFiles.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <cerrno>
#include <vector>

namespace tessivar {

using namespace fluvane::support;
using namespace testing;
using namespace std::chrono_literals;

TEST(Log, HidesReasonsThatArentTheSystems) {
    std::vector<std::string> lines;
    Log::setSink(
        [&](Log::Level, std::string_view, std::string_view message) { lines.emplace_back(message); });
    constexpr Log log{"files"};
    log([] { return "only where details are kept"; });
    log.error("failed", SystemError(ENOENT));
    log.error("failed", std::runtime_error("secret"));
    EXPECT_THAT(lines, ElementsAre("failed: No such file or directory", "failed: \x02secret\x03"));
    Log::setSink({});
}

TEST(LogFiles, WritesOneEscapedLineAMessagePrivatelyAndShowsWhatIsHiddenToTheUserAlone) {
    const TemporaryFolder folder;
    LogFiles files({.file = folder / "state/fluvane.log"});
    files.write(Log::Level::standard, "downloads", "download 1: a\nb\x1b[31m {} %s");
    files.write(Log::Level::error, "files", "");
    files.write(Log::Level::error, "files", "couldn't open " + log::hidden("my\n \x02 fil\u202E") + ": why");
    EXPECT_THAT(files.recent(1min),
                MatchesRegex("20..-..-..T..:..:..\\....Z info downloads download 1: a\\\\nb"
                             "\\\\x1b\\[31m \\{\\} %s\n[^ ]+ error files \n"
                             "[^ ]+ error files couldn't open my\\\\n  fil\\\\xe2\\\\x80\\\\xae: why\n"));
    EXPECT_THAT(log::withoutHidden(files.recentMarked(1min)), EndsWith(" couldn't open …: why\n"));
}

TEST(LogFiles, StaysBoundedAndPrivate) {
    const TemporaryFolder folder;
    LogFiles files({.file = folder / "a.log", .bytesPerFile = 10'000, .files = 3});
    for (int number = 0; number < 1000; ++number) {
        files.write(Log::Level::standard, "files", fmt::format("{:50} line {:03}", "x", number));
    }
    EXPECT_THAT(folder.names(), ElementsAre("a.1.log", "a.2.log", "a.log"));
    std::uintmax_t bytes = 0;
    for (const auto& name : folder.names()) {
        bytes += std::filesystem::file_size(folder / name);
        EXPECT_EQ(std::filesystem::status(folder / name).permissions(), std::filesystem::perms(0600)) << name;
    }
    EXPECT_LE(bytes, 30'000U);
    const auto recent = files.recent(10min);
    EXPECT_EQ(recent.size(), bytes);
    EXPECT_THAT(recent, EndsWith("line 999\n"));
}

TEST(LogFiles, DoesWithoutAFileThatCannotBe) {
    const TemporaryFolder folder;
    writeFile(folder / "file", "");
    for (const auto& path : {folder / "file/below.log", folder.path(), std::filesystem::path("/dev/full")}) {
        LogFiles files({.file = path});
        files.write(Log::Level::error, "files", "lost");
        EXPECT_THAT(files.problem(), StartsWith("Couldn't keep a log in " + path.string() + ": "));
        EXPECT_EQ(files.recent(1min), "");
    }
}

} // namespace tessivar
