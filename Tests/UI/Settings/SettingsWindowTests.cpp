// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Settings/SettingsWindow.h"

#include "Fluvane/Linux/Autostart/LinuxAutostart.h"
#include "Fluvane/UI/Models/RuleDraft.h"
#include "Fluvane/UI/Models/RulesModel.h"
#include "FluvaneCore/Coding.h"
#include "Support/TemporaryFolder.h"
#include "Support/Windows/Widgets.h"
#include "Support/Windows/WindowBench.h"
#include "TessivarCore/AppIdentity.h"

#include <QDialog>
#include <QDir>
#include <QSpinBox>

#include <functional>

namespace fluvane {

namespace {

using namespace support;
using namespace testing;

class SettingsWindowTest : public Test {
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
    void changeElsewhere(const std::function<void(Config&)>& change) {
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

std::string order(const std::vector<Rule>& rules) {
    std::string ids;
    for (const auto& each : rules) {
        ids += each.id;
    }
    return ids;
}

std::vector<Rule> someRules() {
    return {{"a", Rule::Kind{FileKind::video}, "/videos", {}},
            {"b", Rule::Extensions{{"zip", "rar"}}, "/zips", {}},
            {"c", Rule::Site{"example.com"}, "/c", 2},
            {"d", Rule::Kind{FileKind::images}, "/x", {}}};
}

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
    // Pane, control, what is entered, setting and its value, and what is shown where nothing is set.
    using Text = const char*;
    const std::tuple<Text, Text, Text, Text, coding::Json, Text> rows[] = {
        {"general", "notifyWhenDone", " ", "notifyWhenDone", false, "true"},
        {"general", "waitOnHotspots", " ", "waitOnHotspots", false, "true"},
        {"about", "detailedLogging", " ", "detailedLogging", true, "false"},
        {"connections", "simultaneous", "7", "simultaneous", 7, "3"},
        {"connections", "speedLimit", "5", "speedLimit", 500'000, "No limit"},
        {"files", "hyphen", " ", "duplicateNames", "hyphen", "false"},
    };
    for (const auto& [pane, name, entered, setting, value, otherwise] : rows) {
        SCOPED_TRACE(name);
        window.showPane(pane);
        auto& control = part<QWidget>(*get<QWidget>(pane), name);
        const bool isNumber = qobject_cast<QSpinBox*>(&control) != nullptr;
        isNumber ? typeAndEnter(control, entered) : QTest::keyClicks(&control, entered);
        const auto changes = coding::Json::diff(Config().encoded(), config().encoded());
        ASSERT_EQ(changes.size(), 1U) << changes;
        EXPECT_EQ(changes[0]["path"], std::string("/") + setting);
        EXPECT_EQ(changes[0]["value"], value);
        bench.settings.update(Config());
        EXPECT_EQ(shownBy(control), otherwise);
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
    const auto order = [&] { return fluvane::order(config().rules); };
    changeElsewhere([&](Config& c) { c.rules = someRules(); });
    window.showPane("rules");
    auto* const list = get<QListView>("rules");
    list->setFocus();
    list->setCurrentIndex(list->model()->index(1, 0));
    QTest::keyClick(list, Qt::Key_Up, Qt::AltModifier);
    EXPECT_EQ(order(), "bacd");
    QTest::keyClick(list, Qt::Key_Down, Qt::AltModifier);
    QTest::keyClick(list, Qt::Key_Down, Qt::AltModifier);
    EXPECT_EQ(order(), "acbd");
    QTest::keyClick(list, Qt::Key_D, Qt::ControlModifier);
    ASSERT_EQ(config().rules.size(), 5);
    EXPECT_EQ(config().rules[3].match, config().rules[2].match);
    QTest::keyClick(list, Qt::Key_Delete);
    EXPECT_EQ(order(), "acbd");
    QTest::keyClick(list, Qt::Key_Return);
    auto* const editor = onScreen<QDialog>("ruleEditor");
    ASSERT_TRUE(editor);
    activate(*editor);
    QTest::keyClick(editor, Qt::Key_Return);
    EXPECT_EQ(order(), "acbd") << "the edited one keeps its place";
    typeInto(*get<QLineEdit>("tryRules"), "x.png");
    EXPECT_EQ(said(window, "trialResult"), "x.png goes to /x, by the rule \"Images\".");
}

TEST(RulesModel, movesRowsAsViewsAskFor) {
    const std::tuple<int, int, int, bool, const char*> rows[] = {{0, 1, 2, true, "bacd"},
                                                                 {3, 1, 0, true, "dabc"},
                                                                 {1, 1, 2, false, "abcd"},
                                                                 {-1, 1, 2, false, "abcd"},
                                                                 {0, 1, 5, false, "abcd"}};
    for (const auto& [from, count, before, moved, expected] : rows) {
        RulesModel model([](const auto& path) { return URL::folder(path.value_or("/downloads")); });
        model.setRules(someRules());
        EXPECT_EQ(model.moveRows({}, from, count, {}, before), moved);
        EXPECT_EQ(order(model.rules()), expected) << from << " before " << before;
    }
}

TEST(RuleDraft, refusesWhatWouldDoNothing) {
    using Matches = RuleDraft::Matches;
    using Field = RuleDraft::Field;
    const std::tuple<const char*, RuleDraft, std::optional<Field>> rows[] = {
        {"no endings",
         {.matches = Matches::extensions, .extensions = " , .", .folder = "/x"},
         Field::extensions},
        {"no host", {.matches = Matches::site, .site = "two words", .folder = "/x"}, Field::site},
        {"a site and nothing else", {.matches = Matches::site, .site = "example.com"}, Field::folder},
        {"a limit", {.matches = Matches::site, .site = "example.com", .connections = 1}, {}},
        {"another script", {.matches = Matches::site, .site = "bücher.example", .folder = "/x"}, {}},
    };
    for (const auto& [name, draft, incomplete] : rows) {
        const auto problem = draft.problem();
        EXPECT_EQ(problem ? std::optional(problem->field) : std::nullopt, incomplete) << name;
    }
}

TEST(RuleDraft, holdsWhatWasTypedAsRulesHaveIt) {
    for (const auto& each : someRules()) {
        EXPECT_EQ(RuleDraft::of(each).rule(each.id), each);
    }
    const RuleDraft draft{.matches = RuleDraft::Matches::extensions, .extensions = "zip, .RAR; 7z"};
    EXPECT_EQ(draft.rule("x").match, Rule::Match(Rule::Extensions{{"zip", "rar", "7z"}}));
}

class LinuxAutostartTest : public Test {
protected:
    static void SetUpTestSuite() {
        tessivar::AppIdentity::current = {"Fluvane", "org.fluvane.Fluvane", "", "1.2.3"};
    }
    TemporaryFolder folder;
    std::filesystem::path file = folder / "autostart/org.fluvane.Fluvane.desktop";
    LinuxAutostart autostart{folder / "autostart", "/opt/my $apps\\100%/\"fluvane\""};
};

TEST_F(LinuxAutostartTest, isOnWhereTheDesktopWouldOpenIt) {
    std::filesystem::create_directory(folder / "autostart");
    EXPECT_FALSE(autostart.isOn());
    const std::pair<const char*, bool> rows[] = {
        {"# none\n[Desktop Entry]\r\nExec = x\r\nHidden = false\r\n", true},
        {"[Desktop Entry]\nExec=x\nHidden=true\n", false},
        {"[Desktop Entry]\nExec=x\nX-GNOME-Autostart-enabled=false\n", false},
        {"", false},
    };
    for (const auto& [text, on] : rows) {
        writeFile(file, text);
        EXPECT_EQ(autostart.isOn(), on) << text;
    }
}

TEST_F(LinuxAutostartTest, opensAnyProgramInTheBackgroundUntilSwitchedOff) {
    autostart.set(true);
    EXPECT_TRUE(autostart.isOn());
    EXPECT_THAT(readFile(file),
                HasSubstr("\nExec=\"/opt/my \\\\$apps\\\\\\\\100%%/\\\\\"fluvane\\\\\"\" --background\n"));
    EXPECT_THAT(readFile(file), HasSubstr("\nTryExec=/opt/my $apps\\\\100%/\"fluvane\"\n"));
    autostart.set(false);
    autostart.set(false);
    EXPECT_FALSE(std::filesystem::exists(file));
}

} // namespace

} // namespace fluvane
