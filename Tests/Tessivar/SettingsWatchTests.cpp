// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Support/TemporaryFolder.h"
#include "Tessivar/Qt/SettingsWatch.h"

#include <QCoreApplication>
#include <QDeadlineTimer>

#include <gtest/gtest.h>

namespace tessivar {

using namespace std::chrono_literals;
using namespace fluvane::support;
namespace fs = std::filesystem;

TEST(SettingsWatch, NoticesEveryWayOfChanging) {
    int count = 0;
    const QCoreApplication application(count, nullptr);
    int changes = 0;
    // Whether the watch tells within so long.
    const auto told = [&](std::chrono::milliseconds patience) {
        const int before = changes;
        for (const QDeadlineTimer end(patience); changes == before && !end.hasExpired();) {
            QCoreApplication::processEvents();
        }
        return changes > before;
    };
    const TemporaryFolder folder;
    const fs::path path = folder / "config/app/settings.json";
    fs::create_directories(path.parent_path());
    writeFile(path, "1");
    const SettingsWatch watch(path, [&] { ++changes; }, {.calm = 5ms, .most = 1000ms});
    const std::pair<const char*, std::function<void()>> ways[] = {
        {"written in place", [&] { writeFile(path, "2"); }},
        {"replaced",
         [&] {
             writeFile(folder / "new", "3");
             fs::rename(folder / "new", path);
         }},
        {"deleted", [&] { fs::remove(path); }},
        {"its folder moved", [&] { fs::rename(path.parent_path(), folder / "config/moved"); }},
        {"folders and file made anew",
         [&] {
             fs::create_directories(path.parent_path());
             writeFile(path, "7");
         }},
    };
    for (const auto& [name, change] : ways) {
        SCOPED_TRACE(name);
        change();
        EXPECT_TRUE(told(10s));
        while (told(50ms)) { // a way of several steps may be told again
        }
    }
}

} // namespace tessivar
