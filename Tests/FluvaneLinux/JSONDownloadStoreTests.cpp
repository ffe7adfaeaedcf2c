// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/JSONDownloadStore.h"
#include "Support/FakePorts.h"
#include "Support/TemporaryFolder.h"
#include "Support/TestQueue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace fluvane {

using namespace support;
using namespace testing;

namespace {

RecordSnapshot record(std::int64_t id, const std::string& name = "ä \"b\"\n") {
    DownloadRecord value(DownloadID{id}, *URL::parse("https://host/file"), URL::folder("/downloads"),
                         std::nullopt, Date(std::chrono::seconds(1'772'356'542)));
    value.name = name;
    return std::make_shared<const DownloadRecord>(value);
}

class StoreTest : public Test {
protected:
    void saveNow(std::vector<RecordSnapshot> records) {
        store.save(std::move(records), [](const auto&) {});
        EXPECT_TRUE(store.flush(20));
    }

    TemporaryFolder folder;
    std::filesystem::path file = folder / "Fluvane/downloads.json";
    TestQueue queue;
    LogCapture log;
    JSONDownloadStore store{file, queue, "test"};
};

} // namespace

TEST_F(StoreTest, TheFileIsSortedIndentedAndItsOwnersOnly) {
    // Whatever is kept from one save to the next, the text is that of the whole list.
    const auto one = record(1);
    const auto two = record(2);
    const auto changed = record(2, "changed");
    const std::vector<RecordSnapshot> lists[] = {{one, two}, {two, one}, {changed, one, one}, {one}, {}};
    for (const auto& list : lists) {
        saveNow(list);
        const auto text = readFile(file);
        const auto json = nlohmann::json::parse(text); // sorts
        EXPECT_EQ(text, json.dump(2) + "\n");
        ASSERT_EQ(json["downloads"].size(), list.size());
        for (std::size_t index = 0; index < list.size(); ++index) {
            EXPECT_EQ(json["downloads"][index]["name"], *list[index]->name);
        }
    }
    using enum std::filesystem::perms;
    EXPECT_EQ(status(file).permissions(), owner_read | owner_write);
    EXPECT_EQ(status(file.parent_path()).permissions(), owner_all);
}

TEST_F(StoreTest, MovesAsideWhatMakesNoSense) {
    saveNow({record(1)});
    auto json = nlohmann::json::parse(readFile(file));
    json["version"] = 2; // isn't checked
    json["unknown"] = nullptr;
    writeFile(file, json.dump());
    EXPECT_THAT(store.load(), ElementsAre(*record(1)));
    json["downloads"][0].erase("folder");
    for (const auto& text : {std::string(), std::string(R"({"version": 1})"), json.dump()}) {
        log.lines.clear();
        writeFile(file, text);
        EXPECT_THAT(store.load(), IsEmpty());
        EXPECT_THAT(log.lines, ElementsAre(StartsWith("files: couldn't read the saved downloads: ")));
        EXPECT_FALSE(std::filesystem::exists(file));
        EXPECT_EQ(readFile(file.string() + ".unreadable"), text);
        std::filesystem::remove(file.string() + ".unreadable");
    }
    writeFile(file, "older");
    (void)store.load();
    writeFile(file, "newer");
    EXPECT_THAT(store.load(), IsEmpty());
    EXPECT_EQ(readFile(file.string() + ".unreadable"), "older");
    EXPECT_EQ(readFile(file), "newer"); // stays
}

TEST_F(StoreTest, WhatCannotEvenBeReadIsNeverReplaced) {
    std::filesystem::create_directories(file / "inside");
    writeFile(file.string() + ".unreadable", "older");
    EXPECT_THAT(store.load(), IsEmpty());
    EXPECT_THAT(log.lines, ElementsAre("files: couldn't read the saved downloads: Is a directory"));
    saveNow({record(1)});
    EXPECT_THAT(store.load(), ElementsAre(*record(1)));
    EXPECT_EQ(readFile(file.string() + ".unreadable"), "older");
    EXPECT_TRUE(std::filesystem::exists(file.string() + ".unreadable.2/inside"));
}

} // namespace fluvane
