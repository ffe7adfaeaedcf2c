#include "Fluvane/UI/Welcome/WelcomeWindow.h"
#include "Support/Windows/WindowBench.h"

#include <QCheckBox>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

namespace fluvane::support {

namespace {

class FakeAutostart : public Autostart {
public:
    bool isOn() const override { return on; }
    void set(bool wanted) override {
        if (broken) {
            throw std::runtime_error("The folder can't be written.");
        }
        on = wanted;
    }
    bool on = false;
    bool broken = false;
};

class Welcome : public testing::Test {
protected:
    Welcome() { window.show(); }
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

TEST_F(Welcome, appliesEveryChoiceAtOnce) {
    toggle("wait-on-hotspots");
    EXPECT_FALSE(bench.settings.config().waitOnHotspots);
    toggle("open-at-login");
    EXPECT_TRUE(autostart.on);
    find<QPushButton>("choose-folder").click();
    auto* const dialog = window.findChild<QFileDialog*>();
    ASSERT_TRUE(dialog);
    Q_EMIT dialog->fileSelected("/elsewhere");
    dialog->close();
    EXPECT_EQ(bench.settings.config().folder, "/elsewhere");
    EXPECT_EQ(find<QLineEdit>("folder").text(), "/elsewhere");
    EXPECT_FALSE(bench.settings.config().hasCompletedOnboarding);
}

TEST_F(Welcome, saysWhatCannotBeSavedAndShowsWhatIsInForce) {
    autostart.broken = true;
    toggle("open-at-login");
    EXPECT_EQ(find<QLabel>("problem").text(), "The folder can't be written.");
    EXPECT_FALSE(find<QCheckBox>("open-at-login").isChecked());
    bench.settings.failure = "The settings can't be saved.";
    toggle("wait-on-hotspots");
    EXPECT_EQ(find<QLabel>("problem").text(), "The settings can't be saved.");
    EXPECT_TRUE(find<QCheckBox>("wait-on-hotspots").isChecked());
    bench.settings.failure.clear();
    toggle("wait-on-hotspots");
    EXPECT_EQ(find<QLabel>("problem").text(), "");
}

TEST_F(Welcome, isOverHoweverItIsClosed) {
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

TEST_F(Welcome, followsSettingsChangedElsewhere) {
    Config config = bench.settings.config();
    config.waitOnHotspots = false;
    bench.settings.update(config);
    EXPECT_FALSE(find<QCheckBox>("wait-on-hotspots").isChecked());
}

} // namespace fluvane::support
