// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Tray/StatusMenu.h"

#include "Fluvane/Linux/LinuxScheduler.h"
#include "Fluvane/Linux/Services/Bus.h"
#include "Support/Windows/Widgets.h"
#include "Support/Windows/WindowBench.h"

namespace fluvane::support {

namespace {

QAction* find(const QMenu& menu, const QString& text) {
    for (auto* const action : menu.actions()) {
        if (action->text().remove('&') == text) {
            return action;
        }
        if (auto* const found = action->menu() ? find(*action->menu(), text) : nullptr) {
            return found;
        }
    }
    return nullptr;
}

class StatusMenuTest : public testing::Test {
protected:
    StatusMenuTest() { bench.engine.manager->start(); }

    void choose(const char* text) {
        auto* const action = find(menu.menu(), text);
        ASSERT_TRUE(action && action->isVisible() && action->isEnabled()) << text;
        action->trigger();
    }
    [[nodiscard]] bool offers(const char* text) { return find(menu.menu(), text)->isVisible(); }
    void addRunning(int count) {
        for (int at = 0; at < count; ++at) {
            const auto id = bench.engine.add("http://a.example/file" + std::to_string(++added) + "_&.bin");
            bench.engine.turns();
            bench.engine.transport->last().respondPart(1000);
            ASSERT_TRUE(bench.engine.runUntil(id, "downloading"));
        }
        menu.update();
    }
    /// The visible items above the first separator, without what is said of how they get on.
    [[nodiscard]] QStringList upper() {
        QStringList texts;
        for (auto* const action : menu.menu().actions()) {
            if (action->isSeparator()) {
                break;
            }
            if (action->isVisible()) {
                texts += action->text().section(':', 0, 0);
            }
        }
        return texts;
    }

    [[nodiscard]] static Config manyAtOnce() {
        Config config;
        config.simultaneous = 10;
        config.connectionsPerServer = 32;
        return config;
    }

    int added = 0;
    WindowBench bench{manyAtOnce()};
    LinuxScheduler scheduler;
    Bus noBus{Bus::Kind::session, scheduler, ""};
    StatusMenu menu{bench.context, noBus};
};

} // namespace

TEST_F(StatusMenuTest, OpensWindows) {
    const std::vector<std::pair<const char*, std::string>> rows = {
        {"New Download…", "new"},  {"Downloads", "downloads"},
        {"Settings…", "settings"}, {"About Fluvane", "settings about"},
        {"Quit Fluvane", "quit"},  {"No downloads are running", "downloads"},
    };
    for (const auto& [text, asked] : rows) {
        choose(text);
        EXPECT_EQ(bench.windows.asked.back(), asked) << text;
    }
    EXPECT_FALSE(menu.isShown());
    EXPECT_FALSE(menu.picture(22).isNull());
}

TEST_F(StatusMenuTest, PastesLinksAndSaysWhenThereAreNone) {
    QGuiApplication::clipboard()->setText("see http://a.example/1.iso and http://a.example/2.iso");
    choose("Paste Links");
    ASSERT_TRUE(QTest::qWaitFor([&] { return !bench.windows.asked.empty(); }));
    EXPECT_EQ(bench.windows.asked.back(), "new http://a.example/1.iso http://a.example/2.iso");
    QGuiApplication::clipboard()->setText("nothing here");
    choose("Paste Links");
    ASSERT_TRUE(QTest::qWaitFor([] { return onScreen<QMessageBox>("tray-message") != nullptr; }));
    onScreen<QMessageBox>("tray-message")->close();
}

TEST_F(StatusMenuTest, ListsWhatRunsWithoutMovingItWhileOpen) {
    addRunning(2);
    EXPECT_EQ(upper(), (QStringList{"2 downloads", "file1_&&.bin", "file2_&&.bin"}));
    choose("file2_.bin: 0 %, 0 bytes/s");
    EXPECT_EQ(bench.windows.asked.back(), "downloads 2");

    Q_EMIT menu.menu().aboutToShow();
    bench.engine.manager->pause(1_id);
    addRunning(1);
    EXPECT_EQ(upper(), (QStringList{"2 downloads", "file1_&&.bin", "file2_&&.bin", "file3_&&.bin"}));
    EXPECT_TRUE(find(menu.menu(), "file1_.bin: paused"));
    Q_EMIT menu.menu().aboutToHide();
    menu.update();
    EXPECT_EQ(upper().size(), 3);

    addRunning(8);
    EXPECT_EQ(upper().size(), 10);
    EXPECT_EQ(upper().back(), "… and 2 more");
}

TEST_F(StatusMenuTest, PausesAndResumesWhatThereIs) {
    EXPECT_FALSE(offers("Pause All"));
    EXPECT_FALSE(offers("Resume All"));
    addRunning(2);
    choose("Pause All");
    EXPECT_EQ(bench.engine.state(2_id), "paused");
    menu.update();
    EXPECT_FALSE(offers("Pause All"));
    choose("Resume All");
    EXPECT_NE(bench.engine.state(2_id), "paused");
}

TEST_F(StatusMenuTest, FollowsTheListByItself) {
    bench.engine.add("http://a.example/file.bin");
    bench.engine.turns();
    ASSERT_TRUE(QTest::qWaitFor([&] { return menu.toolTip() == "1 download"; }));
    bench.engine.transport->last().respond(404);
    bench.engine.turns();
    ASSERT_TRUE(QTest::qWaitFor([&] { return menu.toolTip() == "1 download failed"; }));
    choose("1 download failed");
    EXPECT_EQ(bench.windows.asked.back(), "downloads 1");
    ASSERT_TRUE(QTest::qWaitFor([&] { return menu.status().kind == TrayStatus::Kind::idle; }));
}

TEST_F(StatusMenuTest, SetsTheSpeedLimit) {
    const auto& limit = bench.engine.manager->config().speedLimit;
    const auto isChecked = [&](const char* text) { return find(menu.menu(), text)->isChecked(); };
    EXPECT_TRUE(isChecked("None"));
    choose("5 MB/s");
    EXPECT_EQ(limit, 5'000'000);
    EXPECT_TRUE(isChecked("5 MB/s"));

    choose("Other…");
    auto* const window = onScreen<QDialog>("speed-limit");
    ASSERT_TRUE(window);
    choose("Other…");
    EXPECT_EQ(onScreen<QDialog>("speed-limit"), window) << "once";
    auto& field = *window->findChild<QLineEdit*>();
    EXPECT_EQ(field.text(), "5");
    typeAndEnter(field, "fast");
    ASSERT_TRUE(window->isVisible()) << "that is no speed";
    typeInto(field, "3,3");
    EXPECT_EQ(limit, 5'000'000) << "nothing before it is confirmed";
    QTest::keyClick(&field, Qt::Key_Return);
    ASSERT_EQ(limit, 3'300'000);
    EXPECT_TRUE(isChecked("Other (3.3 MB/s)…"));

    bench.settings.failure = "The settings can't be saved: no space left on device.";
    choose("None");
    auto* const box = onScreen<QMessageBox>("tray-message");
    ASSERT_TRUE(box);
    EXPECT_EQ(box->text().toStdString(), bench.settings.failure);
    EXPECT_TRUE(isChecked("Other (3.3 MB/s)…"));
    box->close();
}

} // namespace fluvane::support
