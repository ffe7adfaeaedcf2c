// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Settings/SettingsWindow.h"

#include "FluvaneCore/Coding.h"
#include "Support/Windows/Widgets.h"
#include "Support/Windows/WindowBench.h"

#include <QDialog>
#include <QDir>
#include <QSpinBox>

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

    WindowBench bench;
    FakeAutostart autostart;
    std::function<void(std::string)> logAnswer;
    SettingsWindow window{
        bench.context,
        autostart,
        {.log = [this](auto answer) { logAnswer = std::move(answer); }, .diagnostics = [](const auto&) {}}};
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
        {"general", "waitOnHotspots", " ", "waitOnHotspots", false, "true"},
        {"about", "detailedLogging", " ", "detailedLogging", true, "false"},
        {"connections", "simultaneous", "7", "simultaneous", 7, "3"},
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
    auto* const choices = get<QComboBox>("speedLimit");
    choices->setCurrentIndex(choices->count() - 1);
    auto* const other = get<QLineEdit>("otherSpeedLimit");
    typeAndEnter(*other, "much");
    EXPECT_NE(message(), "");
    EXPECT_EQ(other->text(), "much");
    EXPECT_EQ(config().speedLimit, std::nullopt);
    typeAndEnter(*other, "1,5");
    EXPECT_EQ(message(), "");
    EXPECT_EQ(config().speedLimit, 1'500'000);
    changeElsewhere([](Config& c) { c.speedLimit = 1'234'567; });
    EXPECT_EQ(other->text(), "1.234567");
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
    press("import");
    choose("importDialog", "/x/in.json");
    EXPECT_EQ(message(), bench.settings.failure);
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

TEST_F(SettingsWindowTest, showsTextsThatComeLaterOrNotAtAll) {
    window.showPane("about");
    press("showLog");
    auto* viewer = onScreen("log");
    ASSERT_TRUE(viewer);
    logAnswer("a line\n");
    EXPECT_EQ(part<QPlainTextEdit>(*viewer, "text").toPlainText(), "a line\n");
    click(*viewer, "refresh");
    viewer->close();
    deleteClosed();
    logAnswer("too late");
}

TEST_F(SettingsWindowTest, writesRulesInTheEditor) {
    window.showPane("rules");
    press("addRuleButton");
    auto* const editor = onScreen<QDialog>("ruleEditor");
    ASSERT_TRUE(editor);
    activate(*editor);
    const auto save = [&] { QTest::keyClick(editor, Qt::Key_Return); };
    save();
    EXPECT_NE(said(*editor, "problem"), "") << "no folder yet";
    part<QComboBox>(*editor, "matches").setCurrentIndex(2);
    typeInto(part<QLineEdit>(*editor, "site"), "https://www.Example.com/x");
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
}

TEST_F(SettingsWindowTest, reordersDuplicatesAndDeletesRulesByKeyboard) {
    const auto rule = [](const char* id, FileKind kind) { return Rule{id, Rule::Kind{kind}, "/x", {}}; };
    changeElsewhere([&](Config& c) {
        c.rules = {rule("a", FileKind::video), rule("b", FileKind::audio), rule("c", FileKind::images)};
    });
    const auto order = [&] {
        std::string ids;
        for (const auto& each : config().rules) {
            ids += each.id;
        }
        return ids;
    };
    window.showPane("rules");
    auto* const list = get<QListView>("rules");
    list->setFocus();
    list->setCurrentIndex(list->model()->index(1, 0));
    QTest::keyClick(list, Qt::Key_Up, Qt::AltModifier);
    EXPECT_EQ(order(), "bac");
    QTest::keyClick(list, Qt::Key_Down, Qt::AltModifier);
    QTest::keyClick(list, Qt::Key_Down, Qt::AltModifier);
    EXPECT_EQ(order(), "acb");
    QTest::keyClick(list, Qt::Key_D, Qt::ControlModifier);
    ASSERT_EQ(config().rules.size(), 4);
    EXPECT_EQ(config().rules[3].match, config().rules[2].match);
    QTest::keyClick(list, Qt::Key_Delete);
    EXPECT_EQ(order(), "acb");
    QTest::keyClick(list, Qt::Key_Return);
    auto* const editor = onScreen<QDialog>("ruleEditor");
    ASSERT_TRUE(editor);
    activate(*editor);
    QTest::keyClick(editor, Qt::Key_Return);
    EXPECT_EQ(order(), "acb") << "the edited one keeps its place";
    typeInto(*get<QLineEdit>("tryRules"), "x.png");
    EXPECT_EQ(said(window, "trialResult"), "x.png goes to /x, by the rule \"Images\".");
}

} // namespace

} // namespace fluvane
