// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// What every DownloadStore promises, on the one in memory and on the one on the disk alike; and the file of
// the latter.

#include "Fluvane/Linux/JSONDownloadStore.h"
#include "Support/FakePorts.h"
#include "Support/ManualScheduler.h"
#include "Support/TemporaryFolder.h"
#include "Support/TestQueue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <latch>

namespace fluvane {

using namespace support;
using namespace testing;

namespace {

/// A file whose sync may wait, and then notes or fails.
struct SyncedFile : PieceFile {
    explicit SyncedFile(std::uint64_t device_, std::ptrdiff_t waits = 0) : device(device_), goOn(waits) {}
    void write(std::span<const std::byte>, std::int64_t) override {}
    void read(std::span<std::byte>, std::int64_t) override {}
    void close() noexcept override {}
    void sync() override {
        goOn.wait();
        onSync();
    }
    [[nodiscard]] FileIdentity identity() const override { return {.device = device}; }

    std::uint64_t device;
    std::latch goOn;
    std::function<void()> onSync = [] {};
};
using File = std::shared_ptr<SyncedFile>;
constexpr double patience = 20;

struct Memory {
    ManualScheduler scheduler;
    FakeStore store{scheduler};

    /// A file whose sync ends with `goOn`; so do those of others on the device that are synced after it.
    File hungFile(std::uint64_t device) {
        store.hung.insert(device);
        return std::make_shared<SyncedFile>(device);
    }
    void goOn(SyncedFile& hung) { store.hung.erase(hung.device); }
    void setFailing(bool fails) {
        store.error = fails ? std::optional<std::string>("Not a directory") : std::nullopt;
    }
    std::vector<DownloadRecord> saved() { return store.saved; }
    void damage() { store.saved.clear(); }
    bool runUntil(const std::function<bool()>& condition) { return scheduler.runUntilTrue(condition); }
};

struct Disk {
    TemporaryFolder folder;
    std::filesystem::path file = folder / "Fluvane/downloads.json";
    TestQueue queue;
    JSONDownloadStore store{file, queue, "test"};

    File hungFile(std::uint64_t device) { return std::make_shared<SyncedFile>(device, 1); }
    void goOn(SyncedFile& hung) { hung.goOn.count_down(); }
    void setFailing(bool fails) {
        std::filesystem::remove_all(file.parent_path());
        if (fails) {
            writeFile(file.parent_path(), "in the way");
        }
    }
    std::vector<DownloadRecord> saved() { return JSONDownloadStore(file, queue, "test").load(); }
    void damage() { std::filesystem::resize_file(file, 500); }
    bool runUntil(const std::function<bool()>& condition) { return queue.runUntil(condition); }
};

RecordSnapshot record(std::int64_t id, const std::string& name = "ä \"b\"\n") {
    DownloadRecord value(DownloadID{id}, *URL::parse("https://host/file"), URL::folder("/downloads"),
                         std::nullopt, Date(std::chrono::seconds(1'772'356'542)));
    value.name = name;
    return std::make_shared<const DownloadRecord>(value);
}

} // namespace

template <class System>
class DownloadStoreContract : public Test {
protected:
    /// "stored", the error's text, or "synced" with the indices of files that couldn't be; empty until told.
    using Result = std::shared_ptr<std::string>;

    Result save(std::vector<RecordToSave> records) {
        auto result = std::make_shared<std::string>();
        system.store.save(std::move(records),
                          [result](const auto& error) { *result += error.value_or("stored"); });
        EXPECT_EQ(*result, "") << "completed inside the call";
        return result;
    }
    Result sync(
        std::vector<std::shared_ptr<PieceFile>> files, std::function<void()> then = [] {}) {
        auto result = std::make_shared<std::string>();
        system.store.sync(std::move(files), [=](const auto& failed) {
            *result += "synced" + PrintToString(failed);
            then();
        });
        EXPECT_EQ(*result, "") << "completed inside the call";
        return result;
    }
    void expectSaved(std::int64_t id) { EXPECT_THAT(system.saved(), ElementsAre(*record(id))); }
    std::string outcome(const Result& result) {
        EXPECT_TRUE(system.runUntil([&] { return !result->empty(); }));
        return *result;
    }

    System system;
};

using Stores = testing::Types<Memory, Disk>;
TYPED_TEST_SUITE(DownloadStoreContract, Stores);

TYPED_TEST(DownloadStoreContract, SyncsEachFileInOrderAndLetsItGoOffTheContext) {
    std::vector<int> order;
    std::vector<std::shared_ptr<PieceFile>> files;
    for (int number = 0; number < 4; ++number) {
        const auto file = std::make_shared<SyncedFile>(7);
        file->onSync = [&order, number] {
            order.push_back(number);
            if (number % 2 == 0) {
                throw FileError("Input/output error");
            }
        };
        files.push_back(file);
    }
    const std::vector<std::weak_ptr<PieceFile>> held(files.begin(), files.end());
    const auto result = this->sync(std::exchange(files, {}), [&] {
        EXPECT_TRUE(std::ranges::all_of(held, [](const auto& file) { return file.expired(); }));
    });
    EXPECT_EQ(this->outcome(result), "synced{ 0, 2 }");
    EXPECT_THAT(order, ElementsAre(0, 1, 2, 3));
}

TYPED_TEST(DownloadStoreContract, AHungDiskHoldsUpNeitherListsNorAnotherDisk) {
    const auto hung = this->system.hungFile(1);
    std::string order;
    hung->onSync = [&] { order += "first "; };
    const auto behind = std::make_shared<SyncedFile>(1);
    behind->onSync = [&] { order += "second"; };
    SyncedFile& disk = *hung;
    const auto first = this->sync({hung});
    const auto second = this->sync({behind});
    EXPECT_EQ(this->outcome(this->sync({std::make_shared<SyncedFile>(2)})), "synced{}");
    EXPECT_EQ(this->outcome(this->save({record(2)})), "stored");
    this->expectSaved(2);
    EXPECT_FALSE(this->system.store.flush(0.05));
    EXPECT_EQ(*first + *second, "");
    this->system.goOn(disk);
    EXPECT_TRUE(this->system.store.flush(patience));
    EXPECT_EQ(*first + *second, "synced{}synced{}");
    EXPECT_EQ(order, "first second");
}

TYPED_TEST(DownloadStoreContract, TellsWhyNothingIsStored) {
    EXPECT_THAT(this->system.store.load(), IsEmpty());
    this->system.setFailing(true);
    EXPECT_EQ(this->outcome(this->save({record(2)})), "Not a directory");
    this->system.setFailing(false);
    EXPECT_THAT(this->system.saved(), IsEmpty());
    EXPECT_EQ(this->outcome(this->save({record(5)})), "stored");
    this->expectSaved(5);
}

TYPED_TEST(DownloadStoreContract, TakesWhatIsUnchangedFromTheListStoredLastOrAsksForAll) {
    const auto changed = record(2, std::string(400'000, 'c'));
    EXPECT_EQ(this->outcome(this->save({record(1), record(2), record(3)})), "stored");
    EXPECT_EQ(this->outcome(this->save({DownloadID{3}, changed, DownloadID{1}})), "stored");
    EXPECT_EQ(this->outcome(this->save({DownloadID{2}, DownloadID{1}})), "stored");
    EXPECT_THAT(this->system.saved(), ElementsAre(*changed, *record(1)));
    EXPECT_EQ(this->outcome(this->save({DownloadID{3}})), DownloadStore::needsAll) << "which is no more";
    this->system.damage();
    EXPECT_EQ(this->outcome(this->save({record(4), DownloadID{2}})), DownloadStore::needsAll);
    EXPECT_EQ(this->outcome(this->save({record(4)})), "stored");
    this->expectSaved(4);
}

TYPED_TEST(DownloadStoreContract, FlushingCallsWhatIsPendingInOrderAndWaitsForWhatThatBrings) {
    const auto first = this->save({record(1)});
    typename TestFixture::Result last;
    const auto synced =
        this->sync({std::make_shared<SyncedFile>(1)}, [&] { last = this->save({record(3)}); });
    const auto second = this->save({record(2)});
    EXPECT_TRUE(this->system.store.flush(patience));
    ASSERT_TRUE(last);
    EXPECT_EQ(*first + *second + *synced + *last, "storedstoredsynced{}stored");
    this->expectSaved(3);
    EXPECT_EQ(this->outcome(this->save({record(4)})), "stored");
    EXPECT_EQ(*first + *second + *synced + *last, "storedstoredsynced{}stored") << "nothing is called twice";
}

using ListFile = DownloadStoreContract<Disk>;

TEST_F(ListFile, IsSortedIndentedAndItsOwnersOnly) {
    // Whatever is kept from one save to the next, the text is that of the whole list.
    const auto one = record(1);
    const auto two = record(2);
    const auto changed = record(2, "changed");
    const std::vector<RecordSnapshot> lists[] = {{one, two}, {two, one}, {changed, one, one}, {one}, {}};
    for (const auto& list : lists) {
        EXPECT_EQ(outcome(save({list.begin(), list.end()})), "stored");
        const auto text = readFile(system.file);
        const auto json = nlohmann::json::parse(text); // sorts
        EXPECT_EQ(text, json.dump(2) + "\n");
        ASSERT_EQ(json["downloads"].size(), list.size());
        for (std::size_t index = 0; index < list.size(); ++index) {
            EXPECT_EQ(json["downloads"][index]["name"], *list[index]->name);
        }
    }
    using enum std::filesystem::perms;
    EXPECT_EQ(status(system.file).permissions(), owner_read | owner_write);
    EXPECT_EQ(status(system.file.parent_path()).permissions(), owner_all);
}

TEST_F(ListFile, IsMovedAsideOnceIfItMakesNoSense) {
    EXPECT_EQ(outcome(save({record(1)})), "stored");
    auto json = nlohmann::json::parse(readFile(system.file));
    json["version"] = 2; // isn't checked
    json["unknown"] = nullptr;
    writeFile(system.file, json.dump());
    expectSaved(1);
    json["downloads"][0].erase("folder");
    const auto aside = system.file.string() + ".unreadable";
    for (const auto& text : {std::string(), std::string(R"({"version": 1})"), json.dump()}) {
        const LogCapture log;
        std::filesystem::remove(aside);
        writeFile(system.file, text);
        EXPECT_THAT(system.saved(), IsEmpty());
        EXPECT_THAT(log.lines, ElementsAre(StartsWith("files: couldn't read the saved downloads: ")));
        EXPECT_FALSE(std::filesystem::exists(system.file));
        EXPECT_EQ(readFile(aside), text);
    }
    writeFile(system.file, "newer");
    EXPECT_THAT(system.saved(), IsEmpty());
    EXPECT_EQ(readFile(aside), json.dump());
    EXPECT_EQ(readFile(system.file), "newer"); // stays
}

TEST_F(ListFile, IsNeverReplacedIfItCannotEvenBeRead) {
    std::filesystem::create_directories(system.file / "inside");
    writeFile(system.file.string() + ".unreadable", "older");
    EXPECT_THAT(system.store.load(), IsEmpty());
    EXPECT_EQ(outcome(save({record(1)})), "stored");
    expectSaved(1);
    EXPECT_EQ(readFile(system.file.string() + ".unreadable"), "older");
    EXPECT_TRUE(std::filesystem::exists(system.file.string() + ".unreadable.2/inside"));
}

} // namespace fluvane
