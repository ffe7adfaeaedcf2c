// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/LinuxScheduler.h"
#include "Fluvane/Linux/Services/Bus.h"
#include "Fluvane/UI/Desktop/ActivationVariable.h"
#include "Fluvane/UI/Desktop/DesktopWindows.h"
#include "Support/Numbers.h"
#include "Support/TemporaryFolder.h"
#include "Support/Windows/Widgets.h"
#include "Support/Windows/WindowBench.h"
#include "Tessivar/Windows/Appearance.h"
#include "Tessivar/Windows/Style.h"

#include <nlohmann/json.hpp>

#include <QApplication>
#include <QScreen>
#include <QSettings>
#include <QStyle>
#include <QTimer>
#include <QWindow>

#include <fstream>
#include <memory>
#include <tuple>

namespace fluvane {
namespace {

using nlohmann::json;
using namespace support;
using namespace testing;

/// All windows over an engine with one download that runs, one paused and one failed.
class DesktopWindowsTest : public Test {
protected:
    DesktopWindowsTest() {
        welcome(true);
        bench.engine.store->saved = {
            savedRecord(1, "http://a.example/running.iso"),
            savedRecord(2, "http://a.example/paused.zip", DownloadState::Paused()),
            savedRecord(3, "http://a.example/broken.mkv", DownloadState::Failed{"It broke."})};
        bench.engine.manager->start();
        bench.engine.turns();
        windows.start();
    }

    void welcome(bool over) {
        Config config;
        config.hasCompletedOnboarding = over;
        bench.settings.update(config);
    }
    json shown() { return json::parse(windows.state())["windows"]; }
    std::vector<std::string> names() {
        std::vector<std::string> all;
        for (const json now = shown(); const auto& window : now) {
            all.push_back(window["name"]);
        }
        return all;
    }
    static void close(const QString& name) {
        ASSERT_TRUE(onScreen(name)) << name.toStdString();
        onScreen(name)->close();
        deleteClosed();
    }

    TemporaryFolder folder;
    WindowBench bench;
    LinuxScheduler scheduler;
    Bus bus{Bus::Kind::session, scheduler, ""};
    FakeAutostart autostart;
    DesktopWindows windows{*bench.engine.manager,
                           bench.settings,
                           bench.files,
                           autostart,
                           bus,
                           folder.path().string(),
                           {.log = [](auto completion) { completion("a log line"); },
                            .diagnostics = [](auto completion) { completion("a report"); },
                            .settingsProblem = [] { return std::string(); },
                            .whatsNew = [] { return std::string("Fluvane 9\n- Everything."); },
                            .crashNote = [] { return std::string("It crashed.\n\nReport 1"); },
                            .notices = [] { return std::vector<ApplicationWindows::Notice>(); },
                            .tell = [](const auto&) {}}};
};

TEST_F(DesktopWindowsTest, EachIsShownOnceAndTellsWhatIsOnIt) {
    const std::tuple<const char*, std::function<void()>, const char*> rows[] = {
        {"downloads", [&] { windows.showDownloads(std::nullopt); }, "broken.mkv"},
        {"new-download", [&] { windows.newDownload({link("http://h/part.zip")}, std::nullopt, nullptr); },
         "part.zip"},
        {"settings", [&] { windows.showSettings("connections"); }, "Most connections for each download"},
        {"welcome", [&] { windows.showWelcome(); }, "Wait on metered connections"},
        {"whats-new", [&] { windows.showWhatsNew(); }, "Everything."},
        {"crash-note", [&] { windows.showCrashNote(); }, "It crashed."},
        {"change-link", [&] { windows.changeLink(2_id); }, "Paste a fresh link to the same file."},
        {"rename", [&] { windows.rename(2_id); }, "a name that is taken gets a number"},
        {"change-folder", [&] { windows.changeFolder({2_id}); }, "Change Folder"},
        {"checksum", [&] { windows.editChecksum(2_id); }, "SHA-256"},
        {"quit", [&] { windows.quit(); },
         "It carries on from the last bytes saved when you open Fluvane again."},
    };
    for (const auto& [name, show, text] : rows) {
        show();
        show();
        EXPECT_TRUE(QTest::qWaitFor([&, only = name] { return names() == std::vector<std::string>{only}; }));
        EXPECT_TRUE(QTest::qWaitFor([&, wanted = text] {
            return shown()[0].dump().find(wanted) != std::string::npos;
        })) << text
            << " isn't in " << shown().dump(2);
        for (const json now = shown()[0]; const auto& control : now["controls"]) {
            EXPECT_NE(control.value("name", ""), "") << name << ": " << control;
        }
        close(name);
        EXPECT_THAT(names(), IsEmpty());
    }
    windows.changeLink(99_id);
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(DesktopWindowsTest, TheListIsLeftToItselfWhileUnseenAndComesBackAsItWas) {
    windows.showDownloads(3_id);
    part<QLineEdit>(*onScreen("downloads"), "search").setText("broken");
    const QPointer<QWidget> window = onScreen("downloads");
    windows.newDownload({}, std::nullopt, nullptr);
    close("downloads");
    QApplication::processEvents();
    EXPECT_TRUE(window) << "another window is there";
    close("new-download");
    EXPECT_TRUE(QTest::qWaitFor([&] { return window.isNull(); }));
    windows.showDownloads(std::nullopt);
    const auto& again = *onScreen("downloads");
    EXPECT_EQ(said(again, "search"), "broken");
    EXPECT_EQ(again.focusWidget(), &part<QListView>(again, "list"));
    EXPECT_EQ(said(again, "details-name"), "broken.mkv");
}

TEST_F(DesktopWindowsTest, OthersStayInTheMiddleOfTheListUntilTheyAreMoved) {
    windows.showDownloads(std::nullopt);
    QWidget& list = *onScreen("downloads");
    const std::pair<const char*, std::function<void()>> rows[] = {
        {"settings", [&] { windows.showSettings("general"); }},
        {"new-download", [&] { windows.newDownload({}, std::nullopt, nullptr); }},
        {"rename", [&] { windows.rename(2_id); }},
    };
    for (const auto& [name, show] : rows) {
        const auto shown = [&, name = name, show = show]() -> QWidget& {
            show();
            EXPECT_TRUE(QTest::qWaitFor([&] { return onScreen(name) && onScreen(name)->isActiveWindow(); }));
            return *onScreen(name);
        };
        for (int time = 0; time < 2; ++time) {
            const QRect frame = shown().frameGeometry();
            EXPECT_LE((frame.center() - list.frameGeometry().center()).manhattanLength(), 60) << name;
            EXPECT_EQ(shown().windowHandle()->transientParent(), list.windowHandle()) << name;
            close(name);
        }
        shown().setGeometry(20, 30, 600, 500);
        close(name);
        EXPECT_EQ(shown().geometry(), QRect(20, 30, 600, 500)) << name;
        onScreen(name)->move(700, 30);
        close(name);
        // A screen that is gone since, or a smaller one.
        QSettings(QString::fromStdString((folder.path() / "windows.ini").string()), QSettings::IniFormat)
            .setValue(QString("windows/%1/place").arg(name), QPoint(5000, -300));
        const QRect room = shown().screen()->availableGeometry();
        EXPECT_TRUE(room.contains(shown().frameGeometry())) << name;
        close(name);
    }
}

TEST_F(DesktopWindowsTest, QuitsAtOnceOnlyWhenNothingRuns) {
    windows.quit();
    EXPECT_THAT(names(), ElementsAre("quit"));
    QTest::keyClick(onScreen("quit"), Qt::Key_Escape);
    EXPECT_THAT(names(), IsEmpty());
    bench.engine.manager->pauseAll();
    QMetaObject::invokeMethod(
        qApp, [&] { windows.quit(); }, Qt::QueuedConnection);
    QTimer::singleShot(20'000, &bench.feed, [] { QCoreApplication::exit(1); });
    EXPECT_EQ(QApplication::exec(), 0);
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(DesktopWindowsTest, TheFirstStartLeadsToTheList) {
    welcome(false);
    windows.showWelcome();
    close("welcome");
    EXPECT_THAT(names(), ElementsAre("downloads"));
    EXPECT_TRUE(bench.settings.config().hasCompletedOnboarding);
}

TEST(ActivationVariable, IsThereWhileItIsSet) {
    constexpr const char* name = "XDG_ACTIVATION_TOKEN";
    activationVariable::makeRoom();
    for (const char* token : {"one", "another that is longer"}) {
        activationVariable::set(token);
        EXPECT_STREQ(::getenv(name), token);
        ::unsetenv(name); // as Qt does
        EXPECT_TRUE(::getenv("PATH"));
    }
}

TEST(AppearanceTest, KeepsStillWhereKDEIsToldTo) {
    const TemporaryFolder folder;
    qputenv("XDG_CONFIG_HOME", folder.path().c_str());
    // One that was set before there was an application belongs to nobody.
    const std::unique_ptr<QStyle> former(QApplication::style()->parent() ? nullptr : QApplication::style());
    QApplication::setStyle(new tessivar::Style);
    for (const auto& [desktop, factor, isStill] : {std::tuple("KDE", "0", true),
                                                   {"KDE", "0.5", false},
                                                   {"KDE", "fast", false},
                                                   {"GNOME", "0", false}}) {
        qputenv("XDG_CURRENT_DESKTOP", desktop);
        std::ofstream(folder / "kdeglobals") << "[KDE]\nAnimationDurationFactor=" << factor << "\n";
        const tessivar::Appearance appearance;
        EXPECT_EQ(tessivar::motionTime(QWidget()) == 0, isStill) << desktop << " " << factor;
    }
}

} // namespace
} // namespace fluvane
