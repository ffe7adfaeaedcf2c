// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Settings/SettingsWindow.h"

#include "Fluvane/Linux/Autostart/LinuxAutostart.h"
#include "Fluvane/UI/Models/RuleDraft.h"
#include "FluvaneCore/Coding.h"
#include "Support/TemporaryFolder.h"
#include "Support/Windows/Widgets.h"
#include "Support/Windows/WindowBench.h"
#include "TessivarCore/AppIdentity.h"

#include <QDialog>
#include <QDir>
#include <QSpinBox>

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
    SettingsWindow window{
        bench.context, autostart, {.log = [](const auto&) {}, .diagnostics = [](const auto&) {}}};
};

std::vector<Rule> someRules() {
    return {{"a", Rule::Kind{FileKind::video}, "/videos", {}},
            {"b", Rule::Extensions{{"zip", "rar"}}, "/zips", {}},
            {"c", Rule::Site{"example.com"}, "/c", 2},
            {"d", Rule::Kind{FileKind::images}, "/x", {}}};
}

TEST_F(SettingsWindowTest, everyControlStandsForItsSetting) {
    // Pane, control, what is entered, setting and its value.
    using Text = const char*;
    const std::tuple<Text, Text, Text, Text, coding::Json> rows[] = {
        {"general", "notifyWhenDone", " ", "notifyWhenDone", false},
        {"general", "waitOnHotspots", " ", "waitOnHotspots", false},
        {"about", "detailedLogging", " ", "detailedLogging", true},
        {"connections", "simultaneous", "7", "simultaneous", 7},
        {"connections", "speedLimit", "5", "speedLimit", 500'000},
        {"files", "hyphen", " ", "duplicateNames", "hyphen"},
    };
    for (const auto& [pane, name, entered, setting, value] : rows) {
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
    const auto order = [&] {
        std::string ids;
        for (const auto& each : config().rules) {
            ids += each.id;
        }
        return ids;
    };
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
}

TEST(RuleDraft, holdsWhatWasTypedAsRulesHaveIt) {
    for (const auto& each : someRules()) {
        EXPECT_EQ(RuleDraft::of(each).rule(each.id), each);
    }
    const RuleDraft draft{.matches = RuleDraft::Matches::extensions, .extensions = "zip, .RAR; 7z"};
    EXPECT_EQ(draft.rule("x").match, Rule::Match(Rule::Extensions{{"zip", "rar", "7z"}}));
}

TEST(LinuxAutostart, opensAnyProgramInTheBackgroundUntilSwitchedOff) {
    const TemporaryFolder folder;
    tessivar::AppIdentity::current.identifier = "org.fluvane.Fluvane";
    const auto file = folder / "autostart/org.fluvane.Fluvane.desktop";
    LinuxAutostart autostart(folder / "autostart", "/opt/my $apps\\100%/\"fluvane\"");
    EXPECT_FALSE(autostart.isOn());
    autostart.set(true);
    EXPECT_TRUE(autostart.isOn());
    const auto entry = readFile(file);
    EXPECT_THAT(entry,
                HasSubstr("\nExec=\"/opt/my \\\\$apps\\\\\\\\100%%/\\\\\"fluvane\\\\\"\" --background\n"));
    EXPECT_THAT(entry, HasSubstr("\nTryExec=/opt/my $apps\\\\100%/\"fluvane\"\n"));
    for (const char* const off : {"Hidden = true\r\n", "X-GNOME-Autostart-enabled=false\n"}) {
        writeFile(file, std::string("[Desktop Entry]\r\nExec = x\r\n") + off);
        EXPECT_FALSE(autostart.isOn()) << off;
    }
    autostart.set(false);
    autostart.set(false);
    EXPECT_FALSE(std::filesystem::exists(file));
}

} // namespace

} // namespace fluvane
