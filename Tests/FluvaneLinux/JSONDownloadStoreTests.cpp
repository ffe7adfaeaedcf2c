// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/JSONDownloadStore.h"
#include "Support/FakePorts.h"
#include "Support/TemporaryFolder.h"
#include "Support/TestQueue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <atomic>
#include <latch>
#include <sys/stat.h>
#include <thread>

namespace fluvane {

using namespace support;
using namespace testing;

namespace {

RecordSnapshot record(std::int64_t id, const std::string& name = "ä \"b\"\n") {
    DownloadRecord value(DownloadID{id}, *URL::parse("https://host/file"), URL::folder("/downloads"),
                         std::nullopt, Date(std::chrono::seconds(1'772'356'542)));
    value.name = name;
    value.validators = Validators{.etag = "\"x\"", .lastModified = std::nullopt};
    value.state = DownloadState::Failed{"It's over."};
    return std::make_shared<const DownloadRecord>(value);
}

/// Its sync takes until it is let go on.
struct SlowFile : PieceFile {
    void write(std::span<const std::byte>, std::int64_t) override {}
    void sync() override {
        begun.count_down();
        goOn.wait();
        if (!works) {
            throw FileError("Input/output error");
        }
    }
    void close() noexcept override {}
    ~SlowFile() override { *endedOn = std::this_thread::get_id(); }

    bool works = true;
    std::latch begun{1};
    std::latch goOn{1};
    std::shared_ptr<std::thread::id> endedOn = std::make_shared<std::thread::id>();
};

class StoreTest : public Test {
protected:
    void saveNow(std::vector<RecordSnapshot> records) {
        store.save(std::move(records), {}, {});
        store.flush();
    }
    [[nodiscard]] auto marking(bool& flag) {
        return [&flag](const SaveResult&) { flag = true; };
    }
    [[nodiscard]] std::vector<std::int64_t> onDisk() {
        std::vector<std::int64_t> ids;
        for (const auto& one : JSONDownloadStore(file, queue, "test").load()) {
            ids.push_back(number(one.id));
        }
        return ids;
    }

    TemporaryFolder folder;
    std::filesystem::path file = folder / "Fluvane/downloads.json";
    TestQueue queue;
    LogCapture log;
    JSONDownloadStore store{file, queue, "test"};
};

} // namespace

TEST_F(StoreTest, SavesAndLoads) {
    EXPECT_THAT(store.load(), IsEmpty());
    bool saved = false;
    store.save({record(2), record(1)}, {}, marking(saved));
    EXPECT_TRUE(queue.runUntil([&] { return saved; }));
    EXPECT_THAT(store.load(), ElementsAre(*record(2), *record(1)));
    struct stat status {};
    ::stat(file.c_str(), &status);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
    ::stat(file.parent_path().c_str(), &status);
    EXPECT_EQ(status.st_mode & 0777, 0700U);
    EXPECT_THAT(log.lines, IsEmpty());
}

TEST_F(StoreTest, TheFileIsSortedAndIndented) {
    // Whatever is kept from one save to the next, the text is that of the whole list.
    const auto one = record(1);
    const auto two = record(2);
    const auto changed = record(2, "changed");
    const std::vector<RecordSnapshot> lists[] = {{}, {one, two}, {two, one}, {changed, one, one}, {one}, {}};
    for (const auto& list : lists) {
        saveNow(list);
        const auto text = readFile(file);
        const auto json = nlohmann::json::parse(text); // sorts
        EXPECT_EQ(text, json.dump(2) + "\n");
        EXPECT_EQ(json["version"], 1);
        ASSERT_EQ(json["downloads"].size(), list.size());
        for (std::size_t index = 0; index < list.size(); ++index) {
            EXPECT_EQ(json["downloads"][index]["name"], *list[index]->name);
        }
    }
}

TEST_F(StoreTest, MovesAsideWhatMakesNoSense) {
    saveNow({record(1)});
    auto json = nlohmann::json::parse(readFile(file));
    json["version"] = 2; // isn't checked
    json["unknown"] = nullptr;
    writeFile(file, json.dump());
    EXPECT_THAT(onDisk(), ElementsAre(1));
    json["downloads"][0].erase("folder");
    const std::string senseless[] = {"",
                                     R"({"version": 1, "downloads": [)",
                                     "[]",
                                     R"({"downloads": []})",
                                     R"({"version": 1})",
                                     R"({"version": 1, "downloads": {}})",
                                     json.dump(),
                                     std::string(200'000, '['),
                                     "\xff\xfe\x00"};
    const std::string told = "files: couldn't read the saved downloads: ";
    for (const auto& text : senseless) {
        SCOPED_TRACE(text.substr(0, 40));
        log.lines.clear();
        writeFile(file, text);
        EXPECT_THAT(store.load(), IsEmpty());
        EXPECT_THAT(log.lines, ElementsAre(AllOf(StartsWith(told), SizeIs(Gt(told.size())))));
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
    saveNow({record(3)});
    EXPECT_THAT(onDisk(), ElementsAre(3));
}

TEST_F(StoreTest, WhatCannotEvenBeReadIsNeverReplaced) {
    std::filesystem::create_directories(file / "inside");
    writeFile(file.string() + ".unreadable", "older");
    EXPECT_THAT(store.load(), IsEmpty());
    EXPECT_THAT(log.lines, ElementsAre("files: couldn't read the saved downloads: Is a directory"));
    saveNow({record(1)});
    EXPECT_THAT(onDisk(), ElementsAre(1));
    EXPECT_EQ(readFile(file.string() + ".unreadable"), "older");
    EXPECT_TRUE(std::filesystem::exists(file.string() + ".unreadable.2/inside"));
}

TEST_F(StoreTest, ASlowSyncHoldsNoLaterSaveUp) {
    const auto slow = std::make_shared<SlowFile>();
    bool first = false;
    bool second = false;
    store.save({record(1)}, {slow}, marking(first));
    slow->begun.wait();
    store.save({record(2)}, {}, marking(second));
    ASSERT_TRUE(queue.runUntil([&] { return second; }));
    EXPECT_THAT(onDisk(), ElementsAre(2));
    EXPECT_FALSE(first);
    slow->goOn.count_down();
    ASSERT_TRUE(queue.runUntil([&] { return first; }));
    store.flush();
    EXPECT_THAT(onDisk(), ElementsAre(2)); // the older list isn't written any more
    EXPECT_THAT(log.lines, IsEmpty());
}

TEST_F(StoreTest, AnOvertakenListIsDoneOnceTheLaterOneIsStored) {
    const auto slow = std::make_shared<SlowFile>();
    const auto slower = std::make_shared<SlowFile>();
    bool first = false;
    bool second = false;
    store.save({record(1)}, {slow}, marking(first));
    store.save({record(2)}, {slower}, marking(second));
    slow->goOn.count_down();
    slower->begun.wait();
    queue.runPending();
    EXPECT_FALSE(first); // its files are synced, but nothing is stored
    EXPECT_THAT(onDisk(), IsEmpty());
    slower->goOn.count_down();
    store.flush();
    EXPECT_THAT(onDisk(), ElementsAre(2));
    queue.runPending();
    EXPECT_TRUE(first);
    EXPECT_TRUE(second);
}

TEST_F(StoreTest, AListThatClaimsWhatWasNotSyncedIsNotStored) {
    const auto bad = std::make_shared<SlowFile>();
    const auto good = std::make_shared<SlowFile>();
    bad->works = false;
    bad->goOn.count_down();
    good->goOn.count_down();
    std::optional<SaveResult> result;
    store.save({record(1)}, {good, bad}, [&](const SaveResult& told) { result = told; });
    ASSERT_TRUE(queue.runUntil([&] { return result.has_value(); }));
    EXPECT_THAT(result->unsynced, ElementsAre(1));
    EXPECT_THAT(onDisk(), IsEmpty());
}

TEST_F(StoreTest, LetsFilesGoOnItsOwnQueue) {
    auto file_ = std::make_shared<SlowFile>();
    const auto endedOn = file_->endedOn;
    file_->goOn.count_down();
    store.save({}, {std::move(file_)}, {});
    store.flush();
    EXPECT_NE(*endedOn, std::thread::id());
    EXPECT_NE(*endedOn, std::this_thread::get_id());
}

TEST_F(StoreTest, AFailedSaveIsLoggedAndTheNextOneTriesAgain) {
    writeFile(file.parent_path(), "in the way");
    std::optional<SaveResult> result;
    for (int time = 0; time < 2; ++time) {
        store.save({record(1)}, {}, [&](const SaveResult& told) { result = told; });
    }
    store.flush();
    EXPECT_TRUE(queue.runUntil([&] { return result.has_value(); }));
    EXPECT_EQ(result->error, "Not a directory");
    EXPECT_THAT(log.lines, ElementsAre("files: couldn't save the downloads: Not a directory")) << "once";
    std::filesystem::remove(file.parent_path());
    saveNow({record(1)});
    EXPECT_THAT(onDisk(), ElementsAre(1));
}

TEST_F(StoreTest, PendingSavesAreDoneBeforeItEnds) {
    bool done = false;
    {
        JSONDownloadStore ending(file, queue, "test");
        for (int number = 1; number <= 20; ++number) {
            const auto synced = std::make_shared<SlowFile>();
            synced->goOn.count_down();
            ending.save({record(number)}, {synced},
                        number == 1 ? marking(done) : std::function<void(const SaveResult&)>());
        }
    }
    EXPECT_THAT(onDisk(), ElementsAre(20));
    queue.runPending();
    EXPECT_TRUE(done);
}

} // namespace fluvane
