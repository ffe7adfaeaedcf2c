// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// What every DownloadStore promises, on the one in memory and on the one on the disk alike.

#include "Fluvane/Linux/JSONDownloadStore.h"
#include "Support/FakePorts.h"
#include "Support/ManualScheduler.h"
#include "Support/TemporaryFolder.h"
#include "Support/TestQueue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <latch>

namespace fluvane {

using namespace support;
using namespace testing;

namespace {

/// A file whose sync may wait, and then fail or look around.
struct SyncedFile : PieceFile {
    explicit SyncedFile(std::ptrdiff_t waits = 0) : goOn(waits) {}
    void write(std::span<const std::byte>, std::int64_t) override {}
    void read(std::span<std::byte>, std::int64_t) override {}
    void close() noexcept override {}
    void sync() override {
        goOn.wait();
        onSync();
    }

    std::latch goOn;
    std::function<void()> onSync = [] {};
};
using Files = std::vector<std::shared_ptr<PieceFile>>;

struct Memory {
    ManualScheduler scheduler;
    FakeStore store{scheduler};

    /// A file whose sync ends with `goOn`; files go on in the order in which they were made and saved.
    std::shared_ptr<SyncedFile> slowFile() {
        store.syncDelay += 10;
        return std::make_shared<SyncedFile>();
    }
    void goOn(SyncedFile&) {
        scheduler.runFor(10);
        store.syncDelay -= 10;
    }
    void setFailing(bool fails) {
        store.error = fails ? std::optional<std::string>("Not a directory") : std::nullopt;
    }
    std::vector<DownloadRecord> saved() { return store.saved; }
    bool runUntil(const std::function<bool()>& condition) { return scheduler.runUntilTrue(condition); }
    void runPending() { scheduler.runTurns(); }
};

struct Disk {
    TemporaryFolder folder;
    std::filesystem::path parent = folder / "Fluvane";
    TestQueue queue;
    JSONDownloadStore store{parent / "downloads.json", queue, "test"};

    std::shared_ptr<SyncedFile> slowFile() { return std::make_shared<SyncedFile>(1); }
    void goOn(SyncedFile& file) { file.goOn.count_down(); }
    void setFailing(bool fails) {
        std::filesystem::remove_all(parent);
        if (fails) {
            writeFile(parent, "in the way");
        }
    }
    std::vector<DownloadRecord> saved() {
        return JSONDownloadStore(parent / "downloads.json", queue, "test").load();
    }
    bool runUntil(const std::function<bool()>& condition) { return queue.runUntil(condition); }
    void runPending() { queue.runPending(); }
};

RecordSnapshot record(std::int64_t id) {
    DownloadRecord value(DownloadID{id}, *URL::parse("https://host/file"), URL::folder("/downloads"),
                         std::nullopt, Date(std::chrono::seconds(1'772'356'542)));
    value.name = "ä \"b\"\n";
    return std::make_shared<const DownloadRecord>(value);
}

} // namespace

template <class System>
class DownloadStoreContract : public Test {
protected:
    using Result = std::shared_ptr<std::optional<SaveResult>>;

    /// What the completion told, once it has.
    Result save(const std::vector<std::int64_t>& ids, Files files = {}) {
        std::vector<RecordSnapshot> records;
        for (const auto id : ids) {
            records.push_back(record(id));
        }
        auto result = std::make_shared<std::optional<SaveResult>>();
        system.store.save(std::move(records), std::move(files), [result](const SaveResult& told) {
            EXPECT_FALSE(*result) << "told twice";
            *result = told;
        });
        EXPECT_FALSE(*result) << "completed inside the call";
        return result;
    }
    std::vector<std::int64_t> saved() {
        std::vector<std::int64_t> ids;
        for (const auto& one : system.saved()) {
            ids.push_back(number(one.id));
        }
        return ids;
    }
    /// "stored", "unsynced" with the files, or the error's text.
    std::string outcome(const Result& result) {
        EXPECT_TRUE(system.runUntil([&] { return result->has_value(); }));
        std::string text = (*result)->error.value_or((*result)->unsynced.empty() ? "stored" : "unsynced");
        for (const auto index : (*result)->unsynced) {
            text += " " + std::to_string(index);
        }
        return text;
    }
    static std::shared_ptr<SyncedFile> broken(std::shared_ptr<SyncedFile> file) {
        file->onSync = [] { throw FileError("Input/output error"); };
        return file;
    }

    System system;
};

using Stores = testing::Types<Memory, Disk>;
TYPED_TEST_SUITE(DownloadStoreContract, Stores);

TYPED_TEST(DownloadStoreContract, LoadsWhatWasSavedInItsOrder) {
    EXPECT_THAT(this->system.store.load(), IsEmpty());
    EXPECT_EQ(this->outcome(this->save({2, 1})), "stored");
    EXPECT_THAT(this->system.store.load(), ElementsAre(*record(2), *record(1)));
    EXPECT_EQ(this->outcome(this->save({})), "stored");
    EXPECT_THAT(this->saved(), IsEmpty());
}

TYPED_TEST(DownloadStoreContract, SyncsEveryFileBeforeItStores) {
    std::vector<std::vector<std::int64_t>> savedAtSync;
    const auto file = std::make_shared<SyncedFile>();
    file->onSync = [&] { savedAtSync.push_back(this->saved()); };
    this->outcome(this->save({1}));
    EXPECT_EQ(this->outcome(this->save({2}, {file, file})), "stored");
    EXPECT_THAT(savedAtSync, ElementsAre(ElementsAre(1), ElementsAre(1)));
    EXPECT_THAT(this->saved(), ElementsAre(2));
}

TYPED_TEST(DownloadStoreContract, AListThatClaimsWhatWasNotSyncedIsNotStored) {
    const auto bad = this->broken(std::make_shared<SyncedFile>());
    const auto good = std::make_shared<SyncedFile>();
    int synced = 0;
    good->onSync = [&] { ++synced; };
    this->outcome(this->save({1}));
    EXPECT_EQ(this->outcome(this->save({2}, {bad, good, bad})), "unsynced 0 2");
    EXPECT_EQ(synced, 1);
    EXPECT_THAT(this->saved(), ElementsAre(1));
}

TYPED_TEST(DownloadStoreContract, ASlowSyncHoldsNoLaterSaveUp) {
    const auto slow = this->system.slowFile();
    const auto first = this->save({1}, {slow});
    const auto second = this->save({2});
    EXPECT_EQ(this->outcome(second), "stored");
    EXPECT_THAT(this->saved(), ElementsAre(2));
    EXPECT_FALSE(*first);
    this->system.goOn(*slow);
    EXPECT_EQ(this->outcome(first), "stored");
    this->system.store.flush();
    EXPECT_THAT(this->saved(), ElementsAre(2)) << "the older list isn't written any more";
}

TYPED_TEST(DownloadStoreContract, AnOvertakenListIsDoneOnceTheLaterOneIsStored) {
    const auto slow = this->system.slowFile();
    const auto first = this->save({1}, {slow});
    const auto slower = this->system.slowFile();
    const auto second = this->save({2}, {slower});
    this->system.goOn(*slow);
    this->system.runPending();
    EXPECT_FALSE(*first);
    EXPECT_THAT(this->saved(), IsEmpty());
    this->system.goOn(*slower);
    EXPECT_EQ(this->outcome(first), "stored");
    EXPECT_EQ(this->outcome(second), "stored");
    EXPECT_THAT(this->saved(), ElementsAre(2));
}

TYPED_TEST(DownloadStoreContract, TheLatestListThatMayBeIsStored) {
    for (const std::int64_t older : {1, 4}) {
        const bool newerIsThere = older == 4;
        const auto slow = this->system.slowFile();
        const auto first = this->save({older}, {slow});
        if (newerIsThere) {
            this->save({5});
        }
        const auto bad = this->broken(this->system.slowFile());
        const auto last = this->save({6}, {bad});
        this->system.goOn(*slow);
        this->system.goOn(*bad);
        EXPECT_EQ(this->outcome(last), "unsynced 0");
        EXPECT_EQ(this->outcome(first), "stored");
        this->system.store.flush();
        EXPECT_THAT(this->saved(), ElementsAre(newerIsThere ? 5 : older));
    }
}

TYPED_TEST(DownloadStoreContract, TellsWhyNothingIsStored) {
    this->system.setFailing(true);
    const auto slow = this->system.slowFile();
    const auto early = this->save({1}, {slow});
    EXPECT_EQ(this->outcome(this->save({2})), "Not a directory");
    this->system.goOn(*slow);
    EXPECT_EQ(this->outcome(early), "Not a directory") << "the list that stands for it isn't stored either";
    this->system.setFailing(false);
    EXPECT_THAT(this->saved(), IsEmpty());
    EXPECT_EQ(this->outcome(this->save({5})), "stored");
    EXPECT_THAT(this->saved(), ElementsAre(5));
}

TYPED_TEST(DownloadStoreContract, FlushingDoesEverySaveThatIsPending) {
    const auto good = std::make_shared<SyncedFile>();
    const auto bad = this->broken(std::make_shared<SyncedFile>());
    const std::pair<std::vector<Files>, std::int64_t> rows[] = {
        {{{}, {good}, {}}, 3},
        {{{good}, {}, {bad}}, 2},
        {{{good}, {bad}, {bad}}, 1},
    };
    for (const auto& [saves, stored] : rows) {
        SCOPED_TRACE(stored);
        std::vector<decltype(this->save({}))> results;
        for (const auto& files : saves) {
            results.push_back(this->save({std::ssize(results) + 1}, files));
        }
        this->system.store.flush();
        EXPECT_THAT(this->saved(), ElementsAre(stored));
        const auto wasTold = [](const auto& result) { return result->has_value(); };
        EXPECT_TRUE(std::ranges::none_of(results, wasTold)) << "completed inside the call";
        this->system.runPending();
        EXPECT_TRUE(std::ranges::all_of(results, wasTold));
    }
}

} // namespace fluvane
