// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Support/TemporaryFolder.h"
#include "TessivarCore/AppIdentity.h"
#include "TessivarCore/Log.h"
#include "TessivarCore/SettingsStore.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

namespace tessivar {

using namespace fluvane::support;
using namespace testing;

namespace {

using Json = SettingsFile::Json;

struct Model {
    int speed = 1;
    std::string folder; ///< Empty: absent.

    [[nodiscard]] Json encoded() const {
        return folder.empty() ? Json{{"speed", speed}} : Json{{"speed", speed}, {"folder", folder}};
    }
    static Model decoded(const Json& json) {
        if (!json.value("speed", Json(1)).is_number_integer()) {
            throw std::runtime_error("speed isn't a number.");
        }
        return {json.value("speed", 1), json.value("folder", "")};
    }
    static Model everySetting() { return {1, "~"}; }
    friend bool operator==(const Model&, const Model&) = default;
};

class SettingsTest : public Test {
protected:
    SettingsTest() {
        AppIdentity::current = {"Fluvane", "example.Fluvane", "", "0.1.0"};
        Log::setSink([this](Log::Level level, std::string_view, std::string_view message) {
            if (level == Log::Level::error) {
                errors.emplace_back(message);
            }
        });
    }
    ~SettingsTest() override { Log::setSink({}); }

    [[nodiscard]] Json onDisk() const { return Json::parse(readFile(path)); }

    TemporaryFolder folder;
    std::filesystem::path path = folder / "config/settings.json";
    std::vector<std::string> errors;
};

using Store = SettingsStore<Model>;

} // namespace

TEST_F(SettingsTest, KeepsChangesWithTheEnvelopeAndSettingsOfALaterVersion) {
    {
        Store store(path, "2026-03-01");
        EXPECT_EQ(store.value(), Model());
        store.update([](Model&) {});
        EXPECT_FALSE(std::filesystem::exists(path)); // nothing changed, nothing saved
        store.update([](Model& model) { model.speed = 7; });
    }
    EXPECT_EQ(onDisk(), Json::parse(R"({"application": "Fluvane", "version": "0.1.0", "built": "2026-03-01",
                                        "settings": {"speed": 7}})"));
    writeFile(path, R"({"settings": {"speed": 3, "folder": "/a", "shape": {"round": true}}})");
    Store(path).update([](Model& model) { model.folder.clear(); });
    EXPECT_EQ(onDisk()["settings"], Json::parse(R"({"speed": 3, "shape": {"round": true}})"));
    EXPECT_EQ(errors.size(), 0U);
}

TEST_F(SettingsTest, MovesAsideWhatItCannotUse) {
    const std::string senseless[] = {"", "{\"settings\": \"\xff\"}", std::string(100'000, '['),
                                     R"({"settings": {"speed": "fast"}})"};
    for (const auto& text : senseless) {
        SCOPED_TRACE(text.substr(0, 40));
        const TemporaryFolder fresh;
        const auto file = fresh / "settings.json";
        writeFile(file, text);
        errors.clear();
        Store store(file);
        EXPECT_EQ(store.value(), Model());
        EXPECT_THAT(errors, ElementsAre(StartsWith("couldn't read the settings: ")));
        EXPECT_THAT(store.problem(), HasSubstr("renamed to end in .unreadable: "));
        store.update([](Model& model) { model.speed = 2; });
        EXPECT_EQ(store.problem(), "");
        EXPECT_EQ(readFile(fresh / "settings.json.unreadable"), text);
    }
}

TEST_F(SettingsTest, TellsSubscribersUntilTheyEnd) {
    Store store(path);
    std::vector<int> told;
    Subscription itself;
    itself = store.subscribe([&](const Model& model) {
        told.push_back(model.speed);
        if (model.speed == 2) {
            store.update([](Model& changed) { changed.speed = 3; });
        } else {
            itself = Subscription();
        }
    });
    const auto other = store.subscribe([&](const Model& model) { told.push_back(-model.speed); });
    store.update([](Model& model) { model.speed = 2; });
    store.update([](Model& model) { model.speed = 4; });
    EXPECT_THAT(told, ElementsAre(2, 3, -3, -3, -4));
}

TEST_F(SettingsTest, WhatCannotBeSavedIsNotInForce) {
    writeFile(folder / "config", "in the way");
    writeFile(folder / "exported", R"({"settings": {"speed": 9, "shape": 1}})");
    Store store(path);
    const auto subscription = store.subscribe([](const Model&) { ADD_FAILURE(); });
    const std::string why = "Couldn't save the settings: Not a directory";
    EXPECT_THAT([&] { store.update([](Model& model) { model.speed = 9; }); },
                ThrowsMessage<std::runtime_error>(why));
    EXPECT_THAT([&] { store.importFrom(folder / "exported"); }, ThrowsMessage<std::runtime_error>(why));
    EXPECT_EQ(Json::parse(store.exportText())["settings"], Model().encoded());
}

TEST_F(SettingsTest, TakesUpEditsAndKeepsTheirUnknownKeys) {
    Store store(path);
    store.update([](Model& model) { model.speed = 7; });
    std::vector<int> told;
    const auto subscription = store.subscribe([&](const Model& model) { told.push_back(model.speed); });
    store.takeUpEdits(); // our own writing
    EXPECT_THAT(told, IsEmpty());
    writeFile(path, R"({"settings": {"speed": 8, "shape": 1}})");
    store.takeUpEdits();
    EXPECT_THAT(told, ElementsAre(8));
    EXPECT_EQ(readFile(path), R"({"settings": {"speed": 8, "shape": 1}})"); // nobody writes over it
    std::filesystem::remove(path);
    store.takeUpEdits();
    EXPECT_EQ(store.value().speed, 8);
    writeFile(path, R"({"settings": {"speed": 9, "size": 2}})");
    store.update([](Model& model) { model.folder = "/a"; }); // before anybody noticed the edit
    EXPECT_EQ(onDisk()["settings"], Json::parse(R"({"speed": 9, "folder": "/a", "size": 2})"));
}

TEST_F(SettingsTest, AnEditThatCannotBeUsedChangesNothingAndIsNotLost) {
    Store store(path);
    store.update([](Model& model) { model.speed = 7; });
    const auto good = readFile(path);
    auto subscription = store.subscribe([](const Model&) { ADD_FAILURE(); });
    errors.clear();
    writeFile(path, R"({"settings": {"speed": "fast"}})");
    store.takeUpEdits();
    EXPECT_THAT(errors, ElementsAre("couldn't read the edited settings: speed isn't a number."));
    EXPECT_THAT(store.problem(),
                AllOf(HasSubstr("so those from before stay: "), EndsWith("speed isn't a number.")));
    EXPECT_EQ(store.value().speed, 7);
    writeFile(path, good);
    store.takeUpEdits();
    EXPECT_EQ(store.problem(), "");
    subscription = Subscription();
    writeFile(path, "half of an edit");
    store.update([](Model& model) { model.speed = 8; }); // set aside before anything is saved
    EXPECT_EQ(Store(path).value().speed, 8);
    EXPECT_EQ(readFile(path.string() + ".unreadable"), "half of an edit");
}

TEST_F(SettingsTest, ExportsAndImportsUnlessTheFileIsBroken) {
    Store store(path);
    store.update([](Model& model) { model.speed = 7; });
    store.exportTo(folder / "exported.json");
    store.update([](Model& model) { model.speed = 8; });
    store.importFrom(folder / "exported.json");
    EXPECT_EQ(store.value().speed, 7);
    const auto before = readFile(path);
    writeFile(folder / "foreign", R"({"application": "Other", "settings": {}})");
    writeFile(folder / "wrong", R"({"settings": {"speed": []}})");
    const std::pair<std::string, std::string> rows[] = {
        {"/dev/zero", "Not a regular file"},
        {folder / "foreign", "It holds the settings of another application."},
        {folder / "wrong", "speed isn't a number."},
    };
    for (const auto& row : rows) {
        EXPECT_THAT([&] { store.importFrom(row.first); },
                    ThrowsMessage<std::runtime_error>("Couldn't read " + row.first + ": " + row.second));
    }
    EXPECT_EQ(readFile(path), before);
}

} // namespace tessivar
