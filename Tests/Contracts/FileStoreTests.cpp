// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// What every FileStore and its PieceFiles promise, on the one in memory and on the one on the disk alike.

#include "Fluvane/Linux/DiskFiles.h"
#include "Support/ManualScheduler.h"
#include "Support/MemoryFileStore.h"
#include "Support/Numbers.h"
#include "Support/TemporaryFolder.h"
#include "Support/TestQueue.h"

#include <gtest/gtest.h>

namespace fluvane {

using namespace support;

namespace {

struct Memory {
    ManualScheduler scheduler;
    MemoryFileStore store{scheduler};
    std::string root = "/downloads";

    void put(const std::string& path, const std::string& bytes) { store.put(path, bytes); }
    std::string contents(const std::string& path) { return store.contents(path).value_or("(none)"); }
    bool runUntil(const std::function<bool()>& condition) { return scheduler.runUntilTrue(condition); }
};

struct Disk {
    TestQueue queue;
    DiskFileStore store{queue, "test"};
    TemporaryFolder folder;
    std::string root = folder.path().string();

    void put(const std::string& path, const std::string& bytes) { writeFile(path, bytes); }
    std::string contents(const std::string& path) {
        return std::filesystem::exists(path) ? readFile(path) : "(none)";
    }
    bool runUntil(const std::function<bool()>& condition) { return queue.runUntil(condition); }
};

std::span<const std::byte> bytes(std::string_view text) {
    return std::as_bytes(std::span(text));
}

} // namespace

template <class System>
class FileStoreContract : public testing::Test {
protected:
    [[nodiscard]] std::string path(const std::string& name) const { return system.root + "/" + name; }
    [[nodiscard]] URL at(const std::string& name) const { return URL::file(path(name)); }
    FileStore& store() { return system.store; }

    /// What is told in the end: of a move the new name, of a failure the text in brackets.
    template <class Value>
    std::string outcome(const std::function<void(std::function<void(const Outcome<Value>&)>)>& ask) {
        std::optional<Outcome<Value>> told;
        ask([&](const auto& result) { told = result; });
        EXPECT_FALSE(told) << "completed inside the call";
        EXPECT_TRUE(system.runUntil([&] { return told.has_value(); }));
        if (!told->ok()) {
            return "(" + told->error() + ")";
        }
        if constexpr (std::is_same_v<Value, std::optional<URL>>) {
            return told->value() ? std::filesystem::path(told->value()->path()).filename().string() : "taken";
        } else {
            return told->value();
        }
    }
    std::string digest(const std::string& name, Checksum::Algorithm algorithm) {
        return outcome<std::string>([&](auto told) { store().checksum(at(name), {}, algorithm, told); });
    }
    std::string finish(const std::string& partial, const std::string& name,
                       std::optional<DuplicateNaming> naming, std::optional<WrittenFile> written = {}) {
        const auto asItIs = WrittenFile{store().identity(at(partial)).value_or(FileIdentity{}),
                                        store().size(at(partial)), 1_id};
        return outcome<std::optional<URL>>([&](auto told) {
            const FileOrigin origin{*URL::parse("https://host/x")};
            store().move(at(partial), written.value_or(asItIs),
                         {URL::folder(system.root), name, naming, origin}, told);
        });
    }

    System system;
};

using Systems = testing::Types<Memory, Disk>;
TYPED_TEST_SUITE(FileStoreContract, Systems);

TYPED_TEST(FileStoreContract, CreatesFilesOfTheSizeAsked) {
    const URL file = this->at("folder/a"); // missing folders included
    EXPECT_FALSE(this->store().exists(file));
    const std::pair<std::optional<std::int64_t>, std::size_t> rows[] = {{std::nullopt, 0}, {10, 10}, {-1, 0}};
    for (const auto& [size, length] : rows) {
        (void)this->store().create(file, size, 1_id);
        EXPECT_EQ(this->system.contents(file.path()), std::string(length, '\0'));
        EXPECT_TRUE(this->store().exists(file) && !this->store().isFolder(file));
        EXPECT_EQ(this->store().size(file), length);
        this->store().remove(file, 1_id, true);
        this->store().remove(file, 1_id, true);
        EXPECT_FALSE(this->store().exists(file));
        EXPECT_EQ(this->store().size(file), std::nullopt);
    }
    EXPECT_EQ(this->store().size(this->at("folder")), std::nullopt);
    EXPECT_TRUE(this->store().isFolder(this->at("folder")));
    this->system.put(file.path(), "theirs");
    EXPECT_EQ(this->store().create(file, 10, 1_id), nullptr);
    EXPECT_EQ(this->system.contents(file.path()), "theirs");
}

TYPED_TEST(FileStoreContract, WritesAnywhereUntilItIsClosed) {
    this->system.put(this->path("a"), "0123");
    const auto file = this->store().open(this->at("a"));
    file->write(bytes("cd"), 2);
    file->write(bytes("ab"), 0);
    file->write({}, 1);
    file->write(bytes("end"), 70'000); // past the end: extends
    EXPECT_EQ(this->system.contents(this->path("a")), "abcd" + std::string(69'996, '\0') + "end");
    file->close();
    file->close();
    EXPECT_NO_THROW(file->sync());
    EXPECT_THROW(file->write(bytes("x"), 0), FileError);
    EXPECT_EQ(this->store().open(this->at("missing")), nullptr);
    EXPECT_EQ(this->system.contents(this->path("missing")), "(none)");
}

TYPED_TEST(FileStoreContract, RemovesNobodyElsesFile) {
    (void)this->store().create(this->at("tried"), 0, 1_id);
    if (this->store().mark(this->at("tried"), 1_id) == Mark::unkept) {
        GTEST_SKIP() << "the disk of temporary files keeps no marks";
    }
    // What the mark says, what is in it, whether the list says it was created; whether it stays.
    const std::tuple<const char*, Mark, const char*, bool, bool> rows[] = {
        {"made a moment ago", Mark::own, "some", false, false},
        {"another download's", Mark::anothers, "some", true, true},
        {"without a mark, but known", Mark::none, "some", true, false},
        {"without a mark", Mark::none, "theirs", false, true},
        {"without a mark or bytes", Mark::none, "", false, true},
    };
    for (const auto& [what, mark, contents, wasCreated, stays] : rows) {
        SCOPED_TRACE(what);
        if (mark == Mark::none) {
            this->system.put(this->path("a"), contents);
        } else {
            const auto owner = mark == Mark::own ? 1_id : 2_id;
            this->store().create(this->at("a"), 10, owner)->write(bytes(contents), 0);
        }
        EXPECT_EQ(this->store().mark(this->at("a"), 1_id), mark);
        this->store().remove(this->at("a"), 1_id, wasCreated);
        EXPECT_EQ(this->store().exists(this->at("a")), stays);
        this->store().remove(this->at("a"), 2_id, true);
    }
    EXPECT_EQ(this->store().mark(this->at("a"), 1_id), Mark::none) << "nothing is there";
}

TYPED_TEST(FileStoreContract, AnOpenFileOutlivesItsName) {
    const auto file = this->store().create(this->at("a.part"), 2, 1_id);
    EXPECT_EQ(this->finish("a.part", "a", DuplicateNaming::hyphen), "a");
    file->write(bytes("ok"), 0);
    EXPECT_EQ(this->system.contents(this->path("a")), "ok");
    EXPECT_NE(this->store().mark(this->at("a"), 1_id), Mark::none) << "the mark goes with it";
    this->store().remove(this->at("a"), 1_id, true);
    EXPECT_NO_THROW(file->write(bytes("ok"), 0));
}

TYPED_TEST(FileStoreContract, ChecksAndMovesOnlyWhatWasWritten) {
    const auto file = this->store().create(this->at("a.part"), 3, 1_id);
    const WrittenFile written{file->identity(), 3};
    const auto refused = [&](const std::string& why, const std::string& contents) {
        EXPECT_EQ(this->template outcome<std::string>([&](auto told) {
            this->store().checksum(this->at("a.part"), written, Checksum::Algorithm::md5, told);
        }),
                  why);
        EXPECT_EQ(this->finish("a.part", "a", DuplicateNaming::hyphen, written), why);
        EXPECT_EQ(this->system.contents(this->path("a.part")), contents);
        EXPECT_FALSE(this->store().exists(this->at("a")));
    };
    file->write(bytes("more"), 0);
    refused("(Another program changed it)", "more");
    this->store().remove(this->at("a.part"), 1_id, true);
    this->system.put(this->path("a.part"), "new");
    EXPECT_NE(this->store().identity(this->at("a.part")), file->identity());
    refused("(Another file has its name)", "new");
}

TYPED_TEST(FileStoreContract, DigestsWholeFiles) {
    using enum Checksum::Algorithm;
    this->system.put(this->path("abc"), "abc");
    EXPECT_EQ(this->digest("abc", md5), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(this->digest("abc", sha1), "a9993e364706816aba3e25717850c26c9cd0d89d");
    EXPECT_EQ(this->digest("abc", sha256),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(this->digest("missing", sha256), "(No such file or directory)");
}

TYPED_TEST(FileStoreContract, FinishesUnderAFreeNameAndReplacesNothing) {
    this->system.put(this->path("a.tar.gz"), "old");
    for (const std::string name : {"a 2.tar.gz", "a 3.tar.gz"}) {
        this->system.put(this->path("a.part"), name);
        EXPECT_EQ(this->finish("a.part", "a.tar.gz", DuplicateNaming::spaceNumber), name);
        EXPECT_EQ(this->system.contents(this->path(name)), name);
        EXPECT_FALSE(this->store().exists(this->at("a.part")));
    }
    EXPECT_EQ(this->system.contents(this->path("a.tar.gz")), "old");
    EXPECT_EQ(this->finish("a 3.tar.gz", "a.tar.gz", std::nullopt), "taken");
    EXPECT_EQ(this->system.contents(this->path("a 3.tar.gz")), "a 3.tar.gz");
    EXPECT_EQ(this->finish("missing.part", "b", DuplicateNaming::hyphen), "(No such file or directory)");
}

} // namespace fluvane
