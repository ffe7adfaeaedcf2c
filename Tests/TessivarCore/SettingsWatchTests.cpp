// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Support/TemporaryFolder.h"
#include "TessivarCore/SettingsWatch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <poll.h>

namespace tessivar {

using namespace fluvane::support;
using namespace testing;
namespace fs = std::filesystem;

namespace {

constexpr SettingsWatch::Pauses quick{.calm = std::chrono::milliseconds(5),
                                      .most = std::chrono::milliseconds(1000)};

class SettingsWatchTest : public Test {
protected:
    SettingsWatchTest() { fs::create_directories(path.parent_path()); }

    /// Lets the watch work as an event loop would, until it has told or has nothing more to wait for.
    bool told(SettingsWatch& watch, int patience) {
        const int before = changes;
        pollfd descriptor{watch.descriptor(), POLLIN, 0};
        while (changes == before && ::poll(&descriptor, 1, patience) > 0) {
            watch.ready();
        }
        return changes > before;
    }
    bool told(SettingsWatch& watch) { return told(watch, 10'000); }
    bool toldWithin50ms(SettingsWatch& watch) { return told(watch, 50); }

    TemporaryFolder folder;
    fs::path path = folder / "config/app/settings.json";
    int changes = 0;
    std::function<void()> count = [this] { ++changes; };
};

} // namespace

TEST_F(SettingsWatchTest, NoticesEveryWayOfChanging) {
    writeFile(path, "1");
    writeFile(folder / "elsewhere", "1");
    SettingsWatch watch(path, count, quick);
    EXPECT_EQ(watch.problem(), "");
    const std::pair<const char*, std::function<void()>> ways[] = {
        {"written in place", [&] { writeFile(path, "2"); }},
        {"replaced",
         [&] {
             writeFile(folder / "new", "3");
             fs::rename(folder / "new", path);
         }},
        {"moved away", [&] { fs::rename(path, folder / "config/app/settings.json~"); }},
        {"made anew", [&] { writeFile(path, "4"); }},
        {"deleted", [&] { fs::remove(path); }},
        {"a link now", [&] { fs::create_symlink(folder / "elsewhere", path); }},
        {"written where the link leads", [&] { writeFile(folder / "elsewhere", "5"); }},
        {"its folder moved", [&] { fs::rename(folder / "config/app", folder / "config/old"); }},
        {"its folder's folder deleted", [&] { fs::remove_all(folder / "config"); }},
        {"folders and file made anew",
         [&] {
             fs::create_directories(path.parent_path());
             writeFile(path, "6");
         }},
        {"written in the new folder", [&] { writeFile(path, "7"); }},
    };
    for (const auto& [name, change] : ways) {
        SCOPED_TRACE(name);
        change();
        EXPECT_TRUE(told(watch));
        while (toldWithin50ms(watch)) { // a way of several steps may be told again
        }
    }
}

TEST_F(SettingsWatchTest, FindsWhatComesWithFoldersThatWereMissing) {
    fs::remove_all(folder / "config");
    SettingsWatch watch(path, count, quick);
    fs::create_directory(folder / "config");
    EXPECT_TRUE(told(watch));
    fs::create_directory(folder / "config/app");
    EXPECT_TRUE(told(watch));
    writeFile(path, "1");
    EXPECT_TRUE(told(watch));
}

TEST_F(SettingsWatchTest, SleepsThroughWhatDoesNotConcernIt) {
    writeFile(path, "1");
    SettingsWatch watch(path, count, quick);
    writeFile(folder / "config/app/other.json", "1");
    readFile(path);
    fs::create_directory(folder / "config/other");
    EXPECT_FALSE(toldWithin50ms(watch));
}

TEST_F(SettingsWatchTest, TellsManyChangesOnce) {
    SettingsWatch watch(path, count,
                        {.calm = std::chrono::milliseconds(200), .most = std::chrono::milliseconds(5000)});
    for (int number = 0; number < 2000; ++number) {
        writeFile(path, "1");
    }
    EXPECT_TRUE(told(watch));
    EXPECT_FALSE(toldWithin50ms(watch));
    EXPECT_EQ(changes, 1);
}

TEST_F(SettingsWatchTest, ManyChangesDoNotPutItOffForEver) {
    SettingsWatch watch(path, count,
                        {.calm = std::chrono::milliseconds(10'000), .most = std::chrono::milliseconds(30)});
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(8);
    while (changes == 0 && std::chrono::steady_clock::now() < deadline) {
        writeFile(path, "1");
        watch.ready();
    }
    EXPECT_EQ(changes, 1);
}

} // namespace tessivar
