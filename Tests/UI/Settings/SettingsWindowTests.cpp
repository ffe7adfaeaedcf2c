// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Settings/SettingsWindow.h"

#include "FluvaneCore/Coding.h"
#include "Support/Windows/FakeAutostart.h"
#include "Support/Windows/Widgets.h"
#include "Support/Windows/WindowBench.h"

#include <QDialog>
#include <QDir>
#include <QListWidget>
#include <QRadioButton>
#include <QSpinBox>
#include <QWheelEvent>

#include <functional>

namespace fluvane {

namespace {

using namespace support;
using testing::ElementsAre;

class SettingsWindowTest : public testing::Test {
protected:
    SettingsWindowTest() { activate(window); }

    template <class Widget>
    Widget* get(const char* name) {
        return &part<Widget>(window, name);
    }
    void press(const char* name) { click(window, name); }
    void choose(const char* dialog, const QString& path) { chooseFile(onScreen<QFileDialog>(dialog), path); }
    std::string message() { return said(window, "messageText"); }
    Config config() { return bench.settings.config(); }
    template <class Change>
    void changeElsewhere(const Change& change) {
        Config changed = config();
        change(changed);
        bench.settings.update(changed);
    }
    void setRules(std::vector<Rule> rules) {
        changeElsewhere([&](Config& c) { c.rules = std::move(rules); });
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

QString shownBy(const QWidget& control) {
    for (const char* const property : {"checked", "currentText", "text"}) {
        if (const QVariant value = control.property(property); value.isValid()) {
            return value.toString();
        }
    }
    return {};
}

/// A control is changed as a person does, and the settings by somebody else; each must follow the other.
TEST_F(SettingsWindowTest, everyControlStandsForItsSetting) {
    const struct {
        const char* pane;
        const char* name;
        const char* entered;
        const char* setting;
        coding::Json value;
        const char* otherwise; ///< What is shown where nothing is set.
    } rows[] = {
        {"general", "notifyWhenDone", " ", "notifyWhenDone", false, "true"},
        {"general", "keepAwake", " ", "keepAwake", false, "true"},
        {"general", "waitOnHotspots", " ", "waitOnHotspots", false, "true"},
        {"about", "detailedLogging", " ", "detailedLogging", true, "false"},
        {"connections", "simultaneous", "7", "simultaneous", 7, "3"},
        {"connections", "connectionsPerServer", "20", "connectionsPerServer", 20, "16"},
        {"connections", "connections", "12", "connections", 12, "8"},
        {"connections", "speedLimit", "5", "speedLimit", 500'000, "No limit"},
        {"files", "hyphen", " ", "duplicateNames", "hyphen", "false"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        window.showPane(row.pane);
        auto& control = part<QWidget>(*get<QWidget>(row.pane), row.name);
        const bool isNumber = qobject_cast<QSpinBox*>(&control) != nullptr;
        isNumber ? typeAndEnter(control, row.entered) : QTest::keyClicks(&control, row.entered);
        const auto changes = coding::Json::diff(Config().encoded(), config().encoded());
        ASSERT_EQ(changes.size(), 1U) << changes;
        EXPECT_EQ(changes[0]["path"], std::string("/") + row.setting);
        EXPECT_EQ(changes[0]["value"], row.value);
        bench.settings.update(Config());
        EXPECT_EQ(shownBy(control), row.otherwise);
    }
}

TEST_F(SettingsWindowTest, aFolderAndASpeedOfOnesOwnAreSettingsToo) {
    window.showPane("files");
    auto& folder = part<QPushButton>(*get<QWidget>("folder"), "folderButton");
    QTest::mouseClick(&folder, Qt::LeftButton);
    choose("folderDialog", QDir::homePath() + "/Films");
    EXPECT_EQ(config().folder, "~/Films");
    changeElsewhere([](Config& c) { c.folder = "/srv/files"; });
    EXPECT_EQ(folder.text(), "/srv/files…");

    window.showPane("connections");
    auto* const other = get<QLineEdit>("otherSpeedLimit");
    changeElsewhere([](Config& c) { c.speedLimit = 1'234'567; });
    EXPECT_EQ(other->text(), "1.234567");
    typeInto(*other, "0,7 ");
    get<QSpinBox>("simultaneous")->setFocus();
    EXPECT_EQ(config().speedLimit, 700'000);
    changeElsewhere([](Config& c) { c.speedLimit.reset(); });
    EXPECT_FALSE(other->isVisible());
}

TEST_F(SettingsWindowTest, clampsAndShowsWhatCounts) {
    window.showPane("connections");
    changeElsewhere([](Config& c) { c.connectionsPerServer = 9; });
    QTest::keyClicks(get<QComboBox>("connections"), "12");
    EXPECT_EQ(get<QSpinBox>("connectionsPerServer")->value(), 12);
    EXPECT_EQ(config().connectionsPerServer, 12);
}

TEST_F(SettingsWindowTest, keepsWhatIsBeingTyped) {
    window.showPane("connections");
    auto* const spin = get<QSpinBox>("simultaneous");
    typeInto(*spin, "6");
    changeElsewhere([](Config& c) {
        c.keepAwake = false;
        c.simultaneous = 2;
    });
    EXPECT_EQ(spin->text(), "6");
    get<QComboBox>("connections")->setFocus();
    EXPECT_EQ(config().simultaneous, 6);
    EXPECT_FALSE(config().keepAwake);
}

TEST_F(SettingsWindowTest, objectsToWhatIsNoSpeedUntilItsReasonIsGone) {
    window.showPane("connections");
    auto* const choices = get<QComboBox>("speedLimit");
    choices->setCurrentIndex(choices->count() - 1);
    auto* const other = get<QLineEdit>("otherSpeedLimit");
    ASSERT_TRUE(other->isVisible());
    changeElsewhere([](Config& c) { c.speedLimit = 1'000'000; });
    QTest::keyClicks(other, "5 MB");
    QTest::keyClick(other, Qt::Key_Return);
    EXPECT_NE(message(), "");
    EXPECT_EQ(other->text(), "5 MB");
    EXPECT_EQ(config().speedLimit, 1'000'000);
    typeAndEnter(*other, "1.5");
    EXPECT_EQ(message(), "");
    EXPECT_EQ(config().speedLimit, 1'500'000);
    typeAndEnter(*other, "much");
    EXPECT_NE(message(), "");
    window.showPane("files");
    EXPECT_EQ(message(), "");
    window.showPane("connections");
    changeElsewhere([](Config& c) { c.speedLimit = 1'000'000; });
    get<QSpinBox>("simultaneous")->setFocus();
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
    for (const auto& [name, sentence] :
         {std::pair("keepAwake", bench.settings.failure), {"openAtLogin", autostart.failure}}) {
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
    press("import");
    choose("importDialog", "/x/in.json");
    EXPECT_THAT(bench.settings.paths, ElementsAre("to /x/out.json", "from /x/in.json"));
    const Config before = config();
    changeElsewhere([](Config& c) { c.simultaneous = 9; }); // what the import comes to
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
    EXPECT_EQ(part<QPlainTextEdit>(*viewer, "text").toPlainText(), "a line\n");
    click(*viewer, "copy");
    EXPECT_EQ(QApplication::clipboard()->text(), "a line\n");
    click(*viewer, "save");
    choose("saveDialog", "/nowhere/at/all.txt");
    EXPECT_THAT(viewer->findChild<QLabel*>()->text().toStdString(),
                testing::StartsWith("Couldn't save to /nowhere/at/all.txt: "));
    click(*viewer, "refresh");
    viewer->close();
    deleteClosed();
    logAnswer("too late");
    press("showDiagnostics");
    EXPECT_EQ(part<QPlainTextEdit>(*onScreen("diagnostics"), "text").toPlainText(), "a report");
}

TEST_F(SettingsWindowTest, writesRulesInTheEditor) {
    window.showPane("rules");
    press("addRuleButton");
    auto* const editor = onScreen<QDialog>("ruleEditor");
    ASSERT_TRUE(editor);
    activate(*editor);
    auto& matches = part<QComboBox>(*editor, "matches");
    auto& site = part<QLineEdit>(*editor, "site");
    const auto save = [&] { QTest::keyClick(editor, Qt::Key_Return); };
    save();
    EXPECT_NE(said(*editor, "problem"), "") << "no folder yet";
    matches.setCurrentIndex(2);
    typeInto(site, "https://www.Example.com/x");
    matches.setFocus();
    EXPECT_EQ(site.text(), "example.com");
    QTest::keyClick(&part<QCheckBox>(*editor, "limits"), Qt::Key_Space);
    typeInto(part<QSpinBox>(*editor, "connections"), "3");
    bench.settings.failure = "No room.";
    save();
    EXPECT_EQ(said(*editor, "problem"), "No room.");
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
    QTest::keyClick(list, Qt::Key_Return);
    auto* const editor = onScreen<QDialog>("ruleEditor");
    ASSERT_TRUE(editor);
    activate(*editor);
    QTest::keyClick(editor, Qt::Key_Return);
    EXPECT_FALSE(editor->isVisible());
    activate(window);
    EXPECT_EQ(ruleOrder(), "bc") << "the edited one keeps its place";

    typeInto(*get<QLineEdit>("tryRules"), "x.png");
    EXPECT_EQ(said(window, "trialResult"), "x.png goes to /x, by the rule \"Images\".");
    EXPECT_EQ(list->currentIndex().row(), 1);
    bench.settings.failure = "No room.";
    list->setFocus();
    QTest::keyClick(list, Qt::Key_Up, Qt::AltModifier);
    EXPECT_EQ(message(), "No room.");
    EXPECT_EQ(list->currentIndex().row(), 1);
}

} // namespace

} // namespace fluvane
