// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Tray/StatusMenu.h"

#include "Fluvane/Linux/LinuxScheduler.h"
#include "Fluvane/Linux/Services/Bus.h"
#include "Support/Numbers.h"
#include "Support/Windows/Widgets.h"
#include "Support/Windows/WindowBench.h"

#include <QClipboard>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>

namespace fluvane {

namespace {

using support::onScreen;
using support::operator""_id;

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
    void addRunning(int count) {
        for (int at = 0; at < count; ++at) {
            const auto id = bench.engine.add("http://a.example/file" + std::to_string(++added) + "_&.bin");
            bench.engine.turns();
            bench.engine.transport->last().respondPart(1000);
            ASSERT_TRUE(bench.engine.runUntil(id, "downloading"));
        }
        menu.update();
    }
    /// The visible items above the first separator.
    [[nodiscard]] QStringList upper() {
        QStringList texts;
        for (auto* const action : menu.menu().actions()) {
            if (action->isSeparator()) {
                break;
            }
            if (action->isVisible()) {
                texts += action->text();
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
    support::WindowBench bench{manyAtOnce()};
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
    EXPECT_EQ(bench.windows.asked.size(), rows.size());
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
    EXPECT_EQ(onScreen<QMessageBox>("tray-message")->text(), "There are no links on the clipboard.");
    onScreen<QMessageBox>("tray-message")->close();
}

TEST_F(StatusMenuTest, ListsWhatRunsWithoutMovingItWhileOpen) {
    addRunning(2);
    EXPECT_EQ(upper(),
              (QStringList{"2 downloads", "file1_&&.bin: 0 %, 0 bytes/s", "file2_&&.bin: 0 %, 0 bytes/s"}));
    choose(upper().at(2).toUtf8().replace("&&", ""));
    EXPECT_EQ(bench.windows.asked.back(), "downloads 2");

    Q_EMIT menu.menu().aboutToShow();
    bench.engine.manager->pause(1_id);
    addRunning(1);
    EXPECT_EQ(upper(), (QStringList{"2 downloads", "file1_&&.bin: paused", "file2_&&.bin: 0 %, 0 bytes/s",
                                    "file3_&&.bin: 0 %, 0 bytes/s"}));
    Q_EMIT menu.menu().aboutToHide();
    menu.update();
    EXPECT_EQ(upper().size(), 3);

    addRunning(8);
    EXPECT_EQ(upper().size(), 10);
    EXPECT_EQ(upper().back(), "… and 2 more");
}

TEST_F(StatusMenuTest, PausesAndResumesWhatThereIs) {
    EXPECT_FALSE(find(menu.menu(), "Pause All")->isVisible());
    EXPECT_FALSE(find(menu.menu(), "Resume All")->isVisible());
    addRunning(2);
    choose("Pause All");
    EXPECT_EQ(bench.engine.state(2_id), "paused");
    menu.update();
    EXPECT_FALSE(find(menu.menu(), "Pause All")->isVisible());
    EXPECT_EQ(menu.toolTip(), "2 downloads are paused");
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
    EXPECT_TRUE(find(menu.menu(), "None")->isChecked());
    choose("5 MB/s");
    EXPECT_EQ(limit, 5'000'000);
    EXPECT_TRUE(find(menu.menu(), "5 MB/s")->isChecked());

    choose("Other…");
    auto* const window = onScreen<QDialog>("speed-limit");
    ASSERT_TRUE(window);
    choose("Other…");
    EXPECT_EQ(onScreen<QDialog>("speed-limit"), window) << "once";
    auto* const field = window->findChild<QLineEdit*>();
    EXPECT_EQ(field->text(), "5");
    QTest::keyClicks(field, "fast");
    QTest::keyClick(field, Qt::Key_Return);
    ASSERT_TRUE(window->isVisible()) << "that is no speed";
    field->selectAll();
    QTest::keyClicks(field, "3,3");
    EXPECT_EQ(limit, 5'000'000) << "nothing before it is confirmed";
    QTest::keyClick(field, Qt::Key_Return);
    ASSERT_EQ(limit, 3'300'000);
    EXPECT_TRUE(find(menu.menu(), "Other (3.3 MB/s)…")->isChecked());

    bench.settings.failure = "The settings can't be saved: no space left on device.";
    choose("None");
    auto* const box = onScreen<QMessageBox>("tray-message");
    ASSERT_TRUE(box);
    EXPECT_EQ(box->text().toStdString(), bench.settings.failure);
    EXPECT_TRUE(find(menu.menu(), "Other (3.3 MB/s)…")->isChecked());
    box->close();
}

} // namespace fluvane
