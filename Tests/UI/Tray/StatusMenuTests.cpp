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
    WindowBench bench;
    LinuxScheduler scheduler;
    Bus noBus{Bus::Kind::session, scheduler, ""};
    StatusMenu menu{bench.context, noBus};
};

} // namespace

TEST_F(StatusMenuTest, OpensWindows) {
    const std::pair<const char*, const char*> rows[] = {
        {"New Download…", "new"},  {"Downloads", "downloads"},
        {"Settings…", "settings"}, {"About Fluvane", "settings about"},
        {"Quit Fluvane", "quit"},  {"No downloads are running", "downloads"},
    };
    for (const auto& [text, asked] : rows) {
        choose(text);
        EXPECT_EQ(bench.windows.asked.back(), asked) << text;
    }
}

TEST_F(StatusMenuTest, PastesLinks) {
    QGuiApplication::clipboard()->setText("see http://a.example/1.iso and http://a.example/2.iso");
    choose("Paste Links");
    ASSERT_TRUE(QTest::qWaitFor([&] { return !bench.windows.asked.empty(); }));
    EXPECT_EQ(bench.windows.asked.back(), "new http://a.example/1.iso http://a.example/2.iso");
}

TEST_F(StatusMenuTest, ListsPausesAndResumesWhatRuns) {
    EXPECT_FALSE(find(menu.menu(), "Pause All")->isVisible());
    for (const char* const name : {"a_&.bin", "b.bin"}) {
        const auto id = bench.engine.add(std::string("http://a.example/") + name);
        bench.engine.turns();
        bench.engine.transport->last().respondPart(1000);
        ASSERT_TRUE(bench.engine.runUntil(id, "downloading"));
    }
    Q_EMIT menu.menu().aboutToShow();
    bench.engine.manager->pause(2_id);
    menu.update();
    EXPECT_TRUE(find(menu.menu(), "b.bin: paused")) << "nothing moves while it is open";
    choose("a_.bin: 0 %, 0 bytes/s");
    EXPECT_EQ(bench.windows.asked.back(), "downloads 1");
    Q_EMIT menu.menu().aboutToHide();
    choose("Pause All");
    EXPECT_EQ(bench.engine.state(1_id), "paused");
    menu.update();
    choose("Resume All");
    EXPECT_NE(bench.engine.state(1_id), "paused");
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

    bench.settings.failure = "The settings can't be saved: no space left on device.";
    choose("None");
    auto* const box = onScreen<QMessageBox>("tray-message");
    ASSERT_TRUE(box);
    EXPECT_EQ(box->text().toStdString(), bench.settings.failure);
    EXPECT_TRUE(isChecked("5 MB/s"));
    box->close();
}

} // namespace fluvane::support
