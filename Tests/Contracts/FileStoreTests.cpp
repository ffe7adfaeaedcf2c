// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// What every FileStore and its PieceFiles promise, on the one in memory and on the one on the disk alike.

#include "Fluvane/Linux/DiskFiles.h"
#include "Support/ManualScheduler.h"
#include "Support/MemoryFileStore.h"
#include "Support/TemporaryFolder.h"
#include "Support/TestQueue.h"

#include <gtest/gtest.h>

#include <thread>

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

    /// The digest, or the failure's text in brackets.
    std::string digest(const std::string& name, Checksum::Algorithm algorithm) {
        std::optional<Outcome<std::string>> outcome;
        store().checksum(at(name), algorithm, [&](const auto& result) { outcome = result; });
        EXPECT_FALSE(outcome) << "completed inside the call";
        EXPECT_TRUE(system.runUntil([&] { return outcome.has_value(); }));
        return outcome->ok() ? outcome->value() : "(" + outcome->error() + ")";
    }

    /// The final name, or the failure's text in brackets.
    std::string finish(const std::string& partial, const std::string& name, DuplicateNaming naming) {
        std::optional<Outcome<URL>> outcome;
        store().finish(at(partial), name, URL::folder(system.root), naming, {*URL::parse("https://host/x")},
                       [&](const auto& result) { outcome = result; });
        EXPECT_FALSE(outcome) << "completed inside the call";
        EXPECT_TRUE(system.runUntil([&] { return outcome.has_value(); }));
        if (!outcome->ok()) {
            return "(" + outcome->error() + ")";
        }
        const auto final = outcome->value().path();
        return final.starts_with(system.root + "/") ? final.substr(system.root.size() + 1)
                                                    : "elsewhere: " + final;
    }

    System system;
};

using Systems = testing::Types<Memory, Disk>;
TYPED_TEST_SUITE(FileStoreContract, Systems);

TYPED_TEST(FileStoreContract, CreatesFilesOfTheSizeAsked) {
    const std::pair<std::optional<std::int64_t>, std::size_t> rows[] = {
        {std::nullopt, 0}, {0, 0}, {10, 10}, {-1, 0}};
    for (const auto& [size, length] : rows) {
        this->system.put(this->path("a"), "what was there before");
        const auto file = this->store().create(this->at("a"), size);
        EXPECT_EQ(this->system.contents(this->path("a")), std::string(length, '\0'));
        EXPECT_EQ(this->store().size(this->at("a")), length);
    }
}

TYPED_TEST(FileStoreContract, OpensKeepingTheContents) {
    this->system.put(this->path("a"), "0123456789");
    this->store().open(this->at("a"))->write(bytes("xy"), 4);
    EXPECT_EQ(this->system.contents(this->path("a")), "0123xy6789");
    EXPECT_NE(this->store().open(this->at("missing")), nullptr);
    EXPECT_EQ(this->system.contents(this->path("missing")), "");
}

TYPED_TEST(FileStoreContract, WritesAnywhere) {
    const auto file = this->store().create(this->at("a"), 4);
    file->write(bytes("cd"), 2);
    file->write(bytes("ab"), 0);
    file->write({}, 1);
    file->write(bytes("end"), 70'000); // past the end: extends
    EXPECT_EQ(this->system.contents(this->path("a")), "abcd" + std::string(69'996, '\0') + "end");
}

TYPED_TEST(FileStoreContract, ConnectionsWriteConcurrently) {
    constexpr std::int64_t part = 1'000'000;
    const auto file = this->store().create(this->at("a"), 4 * part);
    std::vector<std::thread> connections;
    for (int number = 0; number < 4; ++number) {
        connections.emplace_back([&file, number] {
            const std::string block(10'000, static_cast<char>('a' + number));
            for (std::int64_t done = 0; done < part; done += 10'000) {
                file->write(bytes(block), number * part + done);
                if (done % 100'000 == 0) {
                    file->sync();
                }
            }
        });
    }
    for (auto& connection : connections) {
        connection.join();
    }
    const auto contents = this->system.contents(this->path("a"));
    for (std::size_t number = 0; number < 4; ++number) {
        EXPECT_EQ(contents.substr(number * part, part), std::string(part, static_cast<char>('a' + number)));
    }
}

TYPED_TEST(FileStoreContract, AClosedFileTakesNothing) {
    const auto file = this->store().create(this->at("a"), 3);
    file->close();
    file->close();
    EXPECT_NO_THROW(file->sync());
    try {
        file->write(bytes("x"), 0);
        FAIL() << "written";
    } catch (const FileError& error) {
        EXPECT_STREQ(error.what(), "The file is closed.");
    }
}

TYPED_TEST(FileStoreContract, KnowsWhatIsThere) {
    EXPECT_FALSE(this->store().exists(this->at("folder/a")));
    EXPECT_EQ(this->store().size(this->at("folder/a")), std::nullopt);
    (void)this->store().create(this->at("folder/a"), 5); // missing folders included
    EXPECT_TRUE(this->store().exists(this->at("folder/a")));
    EXPECT_TRUE(this->store().exists(this->at("folder")));
    EXPECT_EQ(this->store().size(this->at("folder/a")), 5);
    EXPECT_EQ(this->store().size(this->at("folder")), std::nullopt);
    this->store().remove(this->at("folder/a"));
    this->store().remove(this->at("folder/a"));
    EXPECT_FALSE(this->store().exists(this->at("folder/a")));
}

TYPED_TEST(FileStoreContract, AnOpenFileOutlivesItsName) {
    const auto file = this->store().create(this->at("a.part"), 2);
    EXPECT_EQ(this->finish("a.part", "a", DuplicateNaming::hyphen), "a");
    file->write(bytes("ok"), 0);
    EXPECT_EQ(this->system.contents(this->path("a")), "ok");
    this->store().remove(this->at("a"));
    EXPECT_NO_THROW(file->write(bytes("ok"), 0));
    EXPECT_FALSE(this->store().exists(this->at("a")));
}

TYPED_TEST(FileStoreContract, DigestsWholeFiles) {
    using enum Checksum::Algorithm;
    this->system.put(this->path("empty"), "");
    this->system.put(this->path("abc"), "abc");
    this->system.put(this->path("million"), std::string(1'000'000, 'a'));
    struct Row {
        const char* name;
        Checksum::Algorithm algorithm;
        const char* digest;
    };
    const Row rows[] = {
        {"empty", md5, "d41d8cd98f00b204e9800998ecf8427e"},
        {"abc", md5, "900150983cd24fb0d6963f7d28e17f72"},
        {"abc", sha1, "a9993e364706816aba3e25717850c26c9cd0d89d"},
        {"abc", sha256, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {"million", sha1, "34aa973cd4c4daa4f61eeb2bdbad27316534016f"},
        {"million", sha256, "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
        {"missing", sha256, "(No such file or directory)"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(this->digest(row.name, row.algorithm), row.digest) << row.name;
    }
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
    EXPECT_EQ(this->finish("missing.part", "b", DuplicateNaming::hyphen), "(No such file or directory)");
    EXPECT_FALSE(this->store().exists(this->at("b")));
}

} // namespace fluvane
