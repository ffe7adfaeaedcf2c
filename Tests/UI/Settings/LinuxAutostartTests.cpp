// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Autostart/LinuxAutostart.h"

#include "Support/TemporaryFolder.h"
#include "TessivarCore/AppIdentity.h"

#include <gmock/gmock.h>

namespace fluvane {

namespace {

using support::readFile;
using support::TemporaryFolder;
using support::writeFile;
using testing::HasSubstr;

class LinuxAutostartTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        tessivar::AppIdentity::current = {"Fluvane", "org.fluvane.Fluvane", "", "1.2.3"};
    }
    TemporaryFolder folder;
    std::filesystem::path file = folder / "autostart/org.fluvane.Fluvane.desktop";
    LinuxAutostart autostart{folder / "autostart", "/opt/my $apps\\100%/\"fluvane\""};
};

TEST_F(LinuxAutostartTest, isOnWhereTheDesktopWouldOpenIt) {
    std::filesystem::create_directory(folder / "autostart");
    EXPECT_FALSE(autostart.isOn());
    const std::vector<std::pair<const char*, bool>> rows = {
        {"# none\n[Desktop Entry]\r\nExec = x\r\nHidden = false\r\n", true},
        {"[Desktop Entry]\nExec=x\nHidden=true\n", false},
        {"[Desktop Entry]\nExec=x\nX-GNOME-Autostart-enabled=false\n", false},
        {"", false},
    };
    for (const auto& [text, on] : rows) {
        writeFile(file, text);
        EXPECT_EQ(autostart.isOn(), on) << text;
    }
}

TEST_F(LinuxAutostartTest, opensAnyProgramInTheBackgroundUntilSwitchedOff) {
    autostart.set(true);
    EXPECT_TRUE(autostart.isOn());
    EXPECT_THAT(readFile(file),
                HasSubstr("\nExec=\"/opt/my \\\\$apps\\\\\\\\100%%/\\\\\"fluvane\\\\\"\" --background\n"));
    EXPECT_THAT(readFile(file), HasSubstr("\nTryExec=/opt/my $apps\\\\100%/\"fluvane\"\n"));
    autostart.set(false);
    autostart.set(false);
    EXPECT_FALSE(std::filesystem::exists(file));
}

} // namespace

} // namespace fluvane
