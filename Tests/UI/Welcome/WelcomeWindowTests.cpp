// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Welcome/WelcomeWindow.h"
#include "Support/Windows/FakeAutostart.h"
#include "Support/Windows/Widgets.h"
#include "Support/Windows/WindowBench.h"

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

#include <functional>

namespace fluvane::support {

namespace {

class WelcomeTest : public testing::Test {
protected:
    WelcomeTest() { window.show(); }
    template <class Widget>
    Widget& find(const char* name) {
        return *window.findChild<Widget*>(name);
    }
    /// By keyboard, as anything must work.
    void toggle(const char* name) { QTest::keyClick(&find<QCheckBox>(name), Qt::Key_Space); }

    WindowBench bench;
    FakeAutostart autostart;
    WelcomeWindow window{bench.context, autostart};
};

} // namespace

TEST_F(WelcomeTest, appliesEveryChoiceAtOnce) {
    toggle("wait-on-hotspots");
    EXPECT_FALSE(bench.settings.config().waitOnHotspots);
    toggle("open-at-login");
    EXPECT_TRUE(autostart.on);
    find<QPushButton>("choose-folder").click();
    chooseFile(window.findChild<QFileDialog*>(), "/elsewhere");
    EXPECT_EQ(bench.settings.config().folder, "/elsewhere");
    EXPECT_EQ(find<QLineEdit>("folder").text(), "/elsewhere");
    EXPECT_FALSE(bench.settings.config().hasCompletedOnboarding);
}

TEST_F(WelcomeTest, saysWhatCannotBeSavedAndShowsWhatIsInForce) {
    autostart.failure = "The folder can't be written.";
    toggle("open-at-login");
    EXPECT_EQ(find<QLabel>("problem").text().toStdString(), autostart.failure);
    EXPECT_FALSE(find<QCheckBox>("open-at-login").isChecked());
    bench.settings.failure = "The settings can't be saved.";
    toggle("wait-on-hotspots");
    EXPECT_EQ(find<QLabel>("problem").text(), "The settings can't be saved.");
    EXPECT_TRUE(find<QCheckBox>("wait-on-hotspots").isChecked());
    bench.settings.failure.clear();
    toggle("wait-on-hotspots");
    EXPECT_EQ(find<QLabel>("problem").text(), "");
}

TEST_F(WelcomeTest, isOverHoweverItIsClosed) {
    const std::vector<std::pair<const char*, std::function<void()>>> ways = {
        {"button", [&] { find<QPushButton>("start").click(); }},
        {"escape", [&] { QTest::keyClick(&window, Qt::Key_Escape); }},
        {"title bar", [&] { window.close(); }},
    };
    for (const auto& [name, close] : ways) {
        bench.settings.update({});
        window.show();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
        close();
        EXPECT_FALSE(window.isVisible()) << name;
        EXPECT_TRUE(bench.settings.config().hasCompletedOnboarding) << name;
    }
}

TEST_F(WelcomeTest, followsSettingsChangedElsewhere) {
    Config config = bench.settings.config();
    config.waitOnHotspots = false;
    bench.settings.update(config);
    EXPECT_FALSE(find<QCheckBox>("wait-on-hotspots").isChecked());
}

} // namespace fluvane::support
