// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Settings/SettingsWindow.h"

#include "Support/Windows/FakeAutostart.h"
#include "Support/Windows/Widgets.h"
#include "Support/Windows/WindowBench.h"

#include <QAction>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDialog>
#include <QDir>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QStackedWidget>
#include <QTest>
#include <QWheelEvent>

#include <gmock/gmock.h>

#include <functional>

namespace fluvane {

namespace {

using namespace support;
using testing::ElementsAre;

class SettingsWindowTest : public testing::Test {
protected:
    void SetUp() override {
        window.show();
        window.activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    }

    template <class Widget>
    Widget* get(const char* name) {
        return window.findChild<Widget*>(name);
    }
    void press(const char* name) { QTest::mouseClick(get<QAbstractButton>(name), Qt::LeftButton); }
    static void typeInto(QWidget* field, const QString& text) {
        field->setFocus();
        QTest::keyClick(field, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClicks(field, text);
    }
    void choose(const char* dialog, const QString& path) { chooseFile(onScreen<QFileDialog>(dialog), path); }
    std::string message() {
        auto* const line = get<QWidget>("message");
        return line->isVisible() ? get<QLabel>("messageText")->text().toStdString() : "";
    }
    Config config() { return bench.settings.config(); }
    void setRules(std::vector<Rule> rules) {
        Config changed = config();
        changed.rules = std::move(rules);
        bench.settings.update(changed);
    }
    std::string ruleOrder() {
        std::string ids;
        for (const auto& rule : config().rules) {
            ids += rule.id;
        }
        return ids;
    }

    WindowBench bench;
    FakeAutostart autostart;
    std::function<void(std::string)> logAnswer;
    SettingsWindow window{bench.context,
                          autostart,
                          {.log = [this](auto answer) { logAnswer = std::move(answer); },
                           .diagnostics = [](const auto& answer) { answer("a report"); }}};
};

/// A control is changed as a person does, and the settings by somebody else; each must follow the other.
TEST_F(SettingsWindowTest, everyControlStandsForItsSetting) {
    struct Row {
        const char* pane;
        const char* name;
        std::function<void()> change;
        std::function<void(Config&)> expected;  ///< After that.
        std::function<void(Config&)> elsewhere; ///< And then by others.
        std::function<bool()> follows;
    };
    const auto box = [&](const char* pane, const char* name, bool Config::*setting) {
        return Row{pane,
                   name,
                   [=, this] { QTest::keyClick(get<QCheckBox>(name), Qt::Key_Space); },
                   [=](Config& c) { c.*setting = !(Config().*setting); },
                   [=](Config& c) { c.*setting = Config().*setting; },
                   [=, this] { return get<QCheckBox>(name)->isChecked() == Config().*setting; }};
    };
    const auto number = [&](const char* name, int Config::*setting, int typed, int counts) {
        return Row{"connections",
                   name,
                   [=, this] {
                       typeInto(get<QSpinBox>(name), QString::number(typed));
                       QTest::keyClick(get<QSpinBox>(name), Qt::Key_Return);
                   },
                   [=](Config& c) { c.*setting = counts; },
                   [=](Config& c) { c.*setting = counts - 1; },
                   [=, this] { return get<QSpinBox>(name)->value() == counts - 1; }};
    };
    const auto combo = [&](const char* name) { return get<QComboBox>(name); };
    const std::vector<Row> rows = {
        box("general", "notifyWhenDone", &Config::notifyWhenDone),
        box("general", "keepAwake", &Config::keepAwake),
        box("general", "waitOnHotspots", &Config::waitOnHotspots),
        box("about", "detailedLogging", &Config::detailedLogging),
        number("simultaneous", &Config::simultaneous, 7, 7),
        number("connectionsPerServer", &Config::connectionsPerServer, 20, 20),
        {"connections", "connections", [=] { QTest::keyClicks(combo("connections"), "12"); },
         [](Config& c) { c.connections = 12; }, [](Config& c) { c.connections = 3; },
         [=] { return combo("connections")->currentText() == "3"; }},
        {"connections", "speedLimit", [=] { QTest::keyClicks(combo("speedLimit"), "5"); },
         [](Config& c) { c.speedLimit = 500'000; }, [](Config& c) { c.speedLimit = 1'234'567; },
         [this] { return get<QLineEdit>("otherSpeedLimit")->text() == "1.234567"; }},
        {"connections", "otherSpeedLimit",
         [this] {
             typeInto(get<QLineEdit>("otherSpeedLimit"), "0,7 ");
             QTest::keyClick(get<QLineEdit>("otherSpeedLimit"), Qt::Key_Return);
         },
         [](Config& c) { c.speedLimit = 700'000; }, [](Config& c) { c.speedLimit.reset(); },
         [=, this] {
             return combo("speedLimit")->currentIndex() == 0 &&
                    !get<QLineEdit>("otherSpeedLimit")->isVisible();
         }},
        {"files", "hyphen", [this] { QTest::keyClick(get<QRadioButton>("hyphen"), Qt::Key_Space); },
         [](Config& c) { c.duplicateNames = DuplicateNaming::hyphen; },
         [](Config& c) { c.duplicateNames = DuplicateNaming::spaceNumber; },
         [this] { return get<QRadioButton>("spaceNumber")->isChecked(); }},
        {"files", "folder",
         [this] {
             QTest::mouseClick(get<QWidget>("folder")->findChild<QPushButton*>("folderButton"),
                               Qt::LeftButton);
             choose("folderDialog", QDir::homePath() + "/Films");
         },
         [](Config& c) { c.folder = "~/Films"; }, [](Config& c) { c.folder = "/srv/files"; },
         [this] {
             return get<QWidget>("folder")->findChild<QPushButton*>("folderButton")->text() == "/srv/files…";
         }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        window.showPane(row.pane);
        Config expected = config();
        row.expected(expected);
        row.change();
        EXPECT_EQ(config().encoded().dump(), expected.encoded().dump());
        row.elsewhere(expected);
        bench.settings.update(expected);
        EXPECT_TRUE(row.follows());
        bench.settings.update(Config());
    }
}

TEST_F(SettingsWindowTest, clampsAndShowsWhatCounts) {
    window.showPane("connections");
    bench.settings.update([] {
        Config changed;
        changed.connectionsPerServer = 9;
        return changed;
    }());
    QTest::keyClicks(get<QComboBox>("connections"), "12");
    EXPECT_EQ(get<QSpinBox>("connectionsPerServer")->value(), 12);
    EXPECT_EQ(config().connectionsPerServer, 12);
}

TEST_F(SettingsWindowTest, keepsWhatIsBeingTyped) {
    window.showPane("connections");
    auto* const spin = get<QSpinBox>("simultaneous");
    typeInto(spin, "6");
    Config changed = config();
    changed.keepAwake = false;
    changed.simultaneous = 2;
    bench.settings.update(changed);
    EXPECT_EQ(spin->text(), "6");
    get<QComboBox>("connections")->setFocus();
    EXPECT_EQ(config().simultaneous, 6);
    EXPECT_FALSE(config().keepAwake);

    auto* const choices = get<QComboBox>("speedLimit");
    choices->setCurrentIndex(choices->count() - 1);
    auto* const other = get<QLineEdit>("otherSpeedLimit");
    ASSERT_TRUE(other->isVisible());
    changed.speedLimit = 1'000'000;
    bench.settings.update(changed);
    QTest::keyClicks(other, "5 MB");
    QTest::keyClick(other, Qt::Key_Return);
    EXPECT_EQ(message(), "Give a speed in MB/s, like 5 or 0.5.");
    EXPECT_EQ(other->text(), "5 MB");
    EXPECT_EQ(config().speedLimit, 1'000'000);
    typeInto(other, "1.5");
    QTest::keyClick(other, Qt::Key_Return);
    EXPECT_EQ(message(), "") << "its reason is gone";
    typeInto(other, "much");
    QTest::keyClick(other, Qt::Key_Return);
    EXPECT_NE(message(), "");
    window.showPane("files");
    EXPECT_EQ(message(), "");
    window.showPane("connections");
    bench.settings.update(changed);
    spin->setFocus();
    EXPECT_EQ(choices->currentText(), "1 MB/s");
}

TEST_F(SettingsWindowTest, theWheelChangesOnlyWhatWasGoneTo) {
    window.showPane("connections");
    const auto turn = [&](QWidget* control) {
        QWheelEvent event(QPointF(5, 5), control->mapToGlobal(QPointF(5, 5)), QPoint(), QPoint(0, -120),
                          Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(control, &event);
    };
    const Config before = config();
    for (const char* name : {"speedLimit", "simultaneous", "connectionsPerServer"}) {
        turn(get<QWidget>(name));
        EXPECT_EQ(config(), before) << name;
    }
    get<QSpinBox>("simultaneous")->setFocus();
    turn(get<QSpinBox>("simultaneous"));
    EXPECT_EQ(config().simultaneous, before.simultaneous - 1);
}

TEST_F(SettingsWindowTest, goesBackToWhatIsInForceWhereItCannotBeSaved) {
    bench.settings.failure = "Couldn't save the settings: No room.";
    autostart.failure = "Couldn't open Fluvane at login: No room.";
    const std::vector<std::pair<const char*, std::string>> rows = {{"keepAwake", bench.settings.failure},
                                                                   {"openAtLogin", autostart.failure}};
    for (const auto& [name, sentence] : rows) {
        const bool before = get<QCheckBox>(name)->isChecked();
        QTest::keyClick(get<QCheckBox>(name), Qt::Key_Space);
        EXPECT_EQ(message(), sentence);
        EXPECT_EQ(get<QCheckBox>(name)->isChecked(), before);
    }
    press("export");
    choose("exportDialog", "/x/out.json");
    EXPECT_EQ(message(), bench.settings.failure);
    press("import");
    choose("importDialog", "/x/in.json");
    EXPECT_EQ(message(), bench.settings.failure);
    EXPECT_TRUE(bench.settings.paths.empty());
}

TEST_F(SettingsWindowTest, exportsImportsAndTakesAnImportBack) {
    press("export");
    choose("exportDialog", "/x/out.json");
    EXPECT_EQ(message(), "Exported settings to /x/out.json.");
    press("import");
    choose("importDialog", "/x/in.json");
    EXPECT_EQ(message(), "Imported settings from /x/in.json.");
    EXPECT_THAT(bench.settings.paths, ElementsAre("to /x/out.json", "from /x/in.json"));
    const Config before = config();
    Config imported;
    imported.simultaneous = 9;
    bench.settings.update(imported); // what the import comes to
    press("messageButton");
    EXPECT_EQ(config(), before);
}

TEST_F(SettingsWindowTest, followsKeysAndAsksOtherWindows) {
    QTest::keyClick(&window, Qt::Key_5, Qt::ControlModifier);
    EXPECT_EQ(get<QListWidget>("panes")->currentRow(), 4);
    EXPECT_TRUE(get<QWidget>("about")->isVisible());
    press("whatsNew");
    press("showCrashNote");
    EXPECT_FALSE(get<QWidget>("checkForUpdates")->isVisible());
    window.showPane("nonsense");
    press("showWelcome");
    EXPECT_THAT(bench.windows.asked, ElementsAre("whats-new", "crash-note", "welcome"));
    QTest::keyClick(&window, Qt::Key_W, Qt::ControlModifier);
    EXPECT_FALSE(window.isVisible());
}

TEST_F(SettingsWindowTest, showsTextsThatComeLaterOrNotAtAll) {
    window.showPane("about");
    press("showLog");
    auto* viewer = onScreen("log");
    ASSERT_TRUE(viewer);
    logAnswer("a line\n");
    EXPECT_EQ(viewer->findChild<QPlainTextEdit*>("text")->toPlainText(), "a line\n");
    QTest::mouseClick(viewer->findChild<QPushButton*>("copy"), Qt::LeftButton);
    EXPECT_EQ(QApplication::clipboard()->text(), "a line\n");
    QTest::mouseClick(viewer->findChild<QPushButton*>("save"), Qt::LeftButton);
    choose("saveDialog", "/nowhere/at/all.txt");
    EXPECT_THAT(viewer->findChild<QLabel*>()->text().toStdString(),
                testing::StartsWith("Couldn't save to /nowhere/at/all.txt: "));
    QTest::mouseClick(viewer->findChild<QPushButton*>("refresh"), Qt::LeftButton);
    viewer->close();
    deleteClosed();
    logAnswer("too late");
    press("showDiagnostics");
    EXPECT_EQ(onScreen("diagnostics")->findChild<QPlainTextEdit*>("text")->toPlainText(), "a report");
}

TEST_F(SettingsWindowTest, writesRulesInTheEditor) {
    window.showPane("rules");
    press("addRuleButton");
    auto* const editor = onScreen<QDialog>("ruleEditor");
    ASSERT_TRUE(editor);
    editor->activateWindow();
    ASSERT_TRUE(QTest::qWaitFor([&] { return QApplication::activeWindow() == editor; }));
    auto* const matches = editor->findChild<QComboBox*>("matches");
    auto* const site = editor->findChild<QLineEdit*>("site");
    const auto save = [&] { QTest::keyClick(editor, Qt::Key_Return); };
    const auto problem = [&] { return editor->findChild<QLabel*>("problem")->text().toStdString(); };
    save();
    EXPECT_EQ(problem(), "Choose the folder that these files go to.");
    matches->setCurrentIndex(2);
    typeInto(site, "https://www.Example.com/x");
    matches->setFocus();
    EXPECT_EQ(site->text(), "example.com");
    QTest::keyClick(editor->findChild<QCheckBox*>("limits"), Qt::Key_Space);
    typeInto(editor->findChild<QSpinBox*>("connections"), "3");
    bench.settings.failure = "No room.";
    save();
    EXPECT_EQ(problem(), "No room.");
    bench.settings.failure.clear();
    save();
    EXPECT_FALSE(editor->isVisible());
    ASSERT_EQ(config().rules.size(), 1);
    EXPECT_EQ(config().rules[0].match, Rule::Match(Rule::Site{"example.com"}));
    EXPECT_EQ(config().rules[0].connections, 3);
    EXPECT_EQ(config().rules[0].id.size(), 36);
}

TEST_F(SettingsWindowTest, reordersDuplicatesAndDeletesRulesByKeyboard) {
    const auto rule = [](const char* id, FileKind kind) { return Rule{id, Rule::Kind{kind}, "/x", {}}; };
    setRules({rule("a", FileKind::video), rule("b", FileKind::audio), rule("c", FileKind::images)});
    window.showPane("rules");
    auto* const list = get<QListView>("rules");
    list->setFocus();
    list->setCurrentIndex(list->model()->index(1, 0));
    QTest::keyClick(list, Qt::Key_Up, Qt::AltModifier);
    EXPECT_EQ(ruleOrder(), "bac");
    EXPECT_FALSE(get<QAction>("moveRuleEarlier")->isEnabled());
    QTest::keyClick(list, Qt::Key_Down, Qt::AltModifier);
    QTest::keyClick(list, Qt::Key_Down, Qt::AltModifier);
    EXPECT_EQ(ruleOrder(), "acb");
    setRules({rule("b", FileKind::audio), rule("c", FileKind::images)}); // elsewhere
    EXPECT_EQ(list->currentIndex().row(), 0);
    QTest::keyClick(list, Qt::Key_D, Qt::ControlModifier);
    ASSERT_EQ(config().rules.size(), 3);
    EXPECT_EQ(config().rules[1].match, config().rules[0].match);
    EXPECT_EQ(list->currentIndex().row(), 1);
    QTest::keyClick(list, Qt::Key_Delete);
    EXPECT_EQ(ruleOrder(), "bc");

    typeInto(get<QLineEdit>("tryRules"), "x.png");
    EXPECT_EQ(get<QLabel>("trialResult")->text(), "x.png goes to /x, by the rule \"Images\".");
    EXPECT_EQ(list->currentIndex().row(), 1);
    bench.settings.failure = "No room.";
    list->setFocus();
    QTest::keyClick(list, Qt::Key_Up, Qt::AltModifier);
    EXPECT_EQ(message(), "No room.");
    EXPECT_EQ(list->currentIndex().row(), 1);
}

} // namespace

} // namespace fluvane
