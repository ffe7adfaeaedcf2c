// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Welcome/WelcomeWindow.h"
#include "Support/Windows/Widgets.h"
#include "Support/Windows/WindowBench.h"

namespace fluvane::support {

namespace {

class WelcomeTest : public testing::Test {
protected:
    WelcomeTest() { activate(window); }
    /// By keyboard, as anything must work.
    static void toggle(QCheckBox& box) { QTest::keyClick(&box, Qt::Key_Space); }

    WindowBench bench;
    FakeAutostart autostart;
    WelcomeWindow window{bench.context, autostart};
    QCheckBox& waits = part<QCheckBox>(window, "wait-on-hotspots");
    QCheckBox& opens = part<QCheckBox>(window, "open-at-login");
};

} // namespace

TEST_F(WelcomeTest, appliesEveryChoiceAtOnceOrSaysWhyItCannot) {
    toggle(waits);
    EXPECT_FALSE(bench.settings.config().waitOnHotspots);
    autostart.failure = "The folder can't be written.";
    toggle(opens);
    EXPECT_EQ(said(window, "problem"), autostart.failure);
    EXPECT_FALSE(opens.isChecked());
    autostart.failure.clear();
    toggle(opens);
    EXPECT_TRUE(autostart.on);
    click(window, "choose-folder");
    chooseFile(window.findChild<QFileDialog*>(), "/elsewhere");
    EXPECT_EQ(bench.settings.config().folder, "/elsewhere");
    EXPECT_FALSE(bench.settings.config().hasCompletedOnboarding);
    bench.settings.update({}); // changed elsewhere
    EXPECT_TRUE(waits.isChecked());
}

TEST_F(WelcomeTest, isOverOnceItIsClosed) {
    click(window, "start");
    EXPECT_FALSE(window.isVisible());
    EXPECT_TRUE(bench.settings.config().hasCompletedOnboarding);
}

} // namespace fluvane::support
