// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Support/TemporaryFolder.h"
#include "Tessivar/Qt/SettingsWatch.h"

#include <QCoreApplication>
#include <QEventLoop>

#include <gtest/gtest.h>

namespace tessivar {

using namespace std::chrono_literals;
using namespace fluvane::support;
namespace fs = std::filesystem;

namespace {

constexpr SettingsWatch::Pauses quick{.calm = 5ms, .most = 1000ms};

class SettingsWatchTest : public testing::Test {
protected:
    SettingsWatchTest() { fs::create_directories(path.parent_path()); }

    /// Runs the event loop until the watch has told, or for so long.
    bool told(std::chrono::milliseconds patience = 10s) {
        const int before = changes;
        QTimer end;
        end.callOnTimeout([&] { loop.quit(); });
        end.start(patience);
        loop.exec();
        return changes > before;
    }

    int count = 0;
    QCoreApplication application{count, nullptr};
    QEventLoop loop;
    TemporaryFolder folder;
    fs::path path = folder / "config/app/settings.json";
    int changes = 0;
    std::function<void()> changed = [this] {
        ++changes;
        loop.quit();
    };
};

} // namespace

TEST_F(SettingsWatchTest, NoticesEveryWayOfChanging) {
    writeFile(path, "1");
    writeFile(folder / "elsewhere", "1");
    const SettingsWatch watch(path, changed, quick);
    const std::pair<const char*, std::function<void()>> ways[] = {
        {"written in place", [&] { writeFile(path, "2"); }},
        {"replaced",
         [&] {
             writeFile(folder / "new", "3");
             fs::rename(folder / "new", path);
         }},
        {"written after it was replaced", [&] { writeFile(path, "4"); }},
        {"moved away", [&] { fs::rename(path, folder / "config/app/settings.json~"); }},
        {"made anew", [&] { writeFile(path, "5"); }},
        {"deleted", [&] { fs::remove(path); }},
        {"a link now", [&] { fs::create_symlink(folder / "elsewhere", path); }},
        {"written where the link leads", [&] { writeFile(folder / "elsewhere", "6"); }},
        {"its folder moved", [&] { fs::rename(folder / "config/app", folder / "config/old"); }},
        {"its folder's folder deleted", [&] { fs::remove_all(folder / "config"); }},
        {"folder made anew", [&] { fs::create_directory(folder / "config"); }},
        {"folders and file made anew",
         [&] {
             fs::create_directories(path.parent_path());
             writeFile(path, "7");
         }},
        {"written in the new folder", [&] { writeFile(path, "8"); }},
    };
    for (const auto& [name, change] : ways) {
        SCOPED_TRACE(name);
        change();
        EXPECT_TRUE(told());
        while (told(50ms)) { // a way of several steps may be told again
        }
    }
}

TEST_F(SettingsWatchTest, SleepsThroughWhatDoesNotConcernIt) {
    writeFile(path, "1");
    const SettingsWatch watch(path, changed, quick);
    for (const auto* const other : {"before", "after"}) {
        writeFile(folder / "config/app" / other, "1");
        fs::create_directory(folder / "config" / other);
        EXPECT_FALSE(told(50ms));
        writeFile(path, "2");
        EXPECT_TRUE(told());
    }
}

TEST_F(SettingsWatchTest, TellsManyChangesOnceAndInTime) {
    const SettingsWatch watch(path, changed, {.calm = 10s, .most = 100ms});
    QTimer writer; // never calm
    writer.callOnTimeout([&] { writeFile(path, "1"); });
    writer.start(1ms);
    EXPECT_TRUE(told());
    writer.stop();
    writeFile(path, "2");
    EXPECT_TRUE(told());
    EXPECT_FALSE(told(50ms));
    EXPECT_EQ(changes, 2);
}

} // namespace tessivar
