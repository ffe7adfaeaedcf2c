// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Welcome/WelcomeWindow.h"
#include "Support/Windows/Widgets.h"
#include "Support/Windows/WindowBench.h"

namespace fluvane::support {

namespace {

/// By keyboard, as anything must work.
void toggle(QCheckBox& box) {
    QTest::keyClick(&box, Qt::Key_Space);
}

} // namespace

TEST(Welcome, appliesEveryChoiceAtOnceOrSaysWhyItCannot) {
    WindowBench bench;
    FakeAutostart autostart;
    WelcomeWindow window{bench.context, autostart};
    auto& waits = part<QCheckBox>(window, "wait-on-hotspots");
    auto& opens = part<QCheckBox>(window, "open-at-login");
    activate(window);
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
    click(window, "start");
    EXPECT_FALSE(window.isVisible());
    EXPECT_TRUE(bench.settings.config().hasCompletedOnboarding);
}

} // namespace fluvane::support
