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
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

RecordSnapshot record(std::int64_t id, const std::string& name = "ä \"b\"\n") {
    DownloadRecord value(id, *URL::parse("https://host/file"), URL::folder("/downloads"), std::nullopt,
                         Date(std::chrono::seconds(1'772'356'542)));
    value.name = name;
    value.validators = Validators{.etag = "\"x\"", .lastModified = std::nullopt};
    value.state = DownloadState::Failed{"It's over."};
    return std::make_shared<const DownloadRecord>(value);
}

std::vector<std::int64_t> ids(const std::vector<DownloadRecord>& records) {
    std::vector<std::int64_t> all;
    for (const auto& one : records) {
        all.push_back(one.id);
    }
    return all;
}

/// Its sync takes until it is let go on.
struct SlowFile : PieceFile {
    void write(std::span<const std::byte>, std::int64_t) override {}
    void sync() override {
        begun.count_down();
        goOn.wait();
        throw FileError("Input/output error");
    }
    void close() noexcept override {}
    ~SlowFile() override { *endedOn = std::this_thread::get_id(); }

    std::latch begun{1};
    std::latch goOn{1};
    std::shared_ptr<std::thread::id> endedOn = std::make_shared<std::thread::id>();
};

class StoreTest : public testing::Test {
protected:
    [[nodiscard]] auto marking(bool& flag) {
        return [&flag] { flag = true; };
    }
    [[nodiscard]] std::vector<std::int64_t> onDisk() {
        return ids(JSONDownloadStore(file, queue, "test").load());
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
        store.save(list, {}, {});
        store.flush();
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

TEST_F(StoreTest, DoesNotCheckTheVersion) {
    store.save({record(1)}, {}, {});
    store.flush();
    auto json = nlohmann::json::parse(readFile(file));
    json["version"] = 2;
    json["unknown"] = nullptr;
    writeFile(file, json.dump());
    EXPECT_THAT(ids(store.load()), ElementsAre(1));
}

TEST_F(StoreTest, MovesAsideWhatMakesNoSense) {
    store.save({record(1)}, {}, {});
    store.flush();
    auto broken = nlohmann::json::parse(readFile(file));
    broken["downloads"][0].erase("folder");
    const std::pair<const char*, std::string> rows[] = {
        {"empty", ""},
        {"half", R"({"version": 1, "downloads": [)"},
        {"no object", "[]"},
        {"no version", R"({"downloads": []})"},
        {"no list", R"({"version": 1})"},
        {"another type", R"({"version": 1, "downloads": {}})"},
        {"a broken record", broken.dump()},
        {"nested absurdly", std::string(200'000, '[')},
        {"not text", "\xff\xfe\x00"}};
    for (const auto& [name, text] : rows) {
        SCOPED_TRACE(name);
        log.lines.clear();
        writeFile(file, text);
        EXPECT_THAT(store.load(), IsEmpty());
        EXPECT_THAT(log.lines, ElementsAre(StartsWith("files: couldn't read the saved downloads: ")));
        EXPECT_GT(log.lines.at(0).size(), std::string("files: couldn't read the saved downloads: ").size());
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
    store.save({record(3)}, {}, {});
    store.flush();
    EXPECT_THAT(onDisk(), ElementsAre(3));
}

TEST_F(StoreTest, WhatCannotEvenBeReadIsNeverReplaced) {
    std::filesystem::create_directories(file / "inside");
    writeFile(file.string() + ".unreadable", "older");
    EXPECT_THAT(store.load(), IsEmpty());
    EXPECT_THAT(log.lines, ElementsAre("files: couldn't read the saved downloads: Is a directory"));
    store.save({record(1)}, {}, {});
    store.flush();
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
    slow->goOn.count_down(); // and its sync fails, which nobody minds
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
    bool done = false;
    store.save({record(1)}, {}, marking(done));
    EXPECT_TRUE(queue.runUntil([&] { return done; }));
    EXPECT_THAT(log.lines, ElementsAre("files: couldn't save the downloads: Not a directory"));
    std::filesystem::remove(file.parent_path());
    store.save({record(1)}, {}, {});
    store.flush();
    EXPECT_THAT(onDisk(), ElementsAre(1));
}

TEST_F(StoreTest, PendingSavesAreDoneBeforeItEnds) {
    bool done = false;
    {
        JSONDownloadStore ending(file, queue, "test");
        for (int number = 1; number <= 20; ++number) {
            const auto synced = std::make_shared<SlowFile>();
            synced->goOn.count_down();
            ending.save({record(number)}, {synced}, number == 1 ? marking(done) : std::function<void()>());
        }
    }
    EXPECT_THAT(onDisk(), ElementsAre(20));
    queue.runPending();
    EXPECT_TRUE(done);
}

} // namespace fluvane
