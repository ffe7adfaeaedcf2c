// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// What only a disk can do wrong, and what must be on it before what. The system's calls that put it there are
// this program's own here: they note themselves and can fail.

#include "Fluvane/Linux/DiskFiles.h"
#include "Fluvane/Linux/JSONDownloadStore.h"
#include "Support/Numbers.h"
#include "Support/TemporaryFolder.h"
#include "Support/TestQueue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <future>
#include <mutex>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

std::mutex mutex;
std::vector<std::string> calls;
bool syncsFail = false;
std::function<void()> atNextSync = [] {};
std::function<void()> atNextName = [] {};

void note(const std::string& call, const std::filesystem::path& path) {
    const std::lock_guard lock(mutex);
    calls.push_back(call + " " + path.filename().string());
}

} // namespace

extern "C" int fsync(int descriptor) {
    note("sync", std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor)));
    std::exchange(atNextSync, [] {})();
    if (syncsFail) {
        errno = EIO;
        return -1;
    }
    return static_cast<int>(::syscall(SYS_fsync, descriptor));
}

extern "C" int rename(const char* from, const char* to) noexcept {
    note("name", to);
    return static_cast<int>(::syscall(SYS_rename, from, to));
}

extern "C" int renameat2(int fromFolder, const char* from, int toFolder, const char* to,
                         unsigned flags) noexcept {
    note("name", to);
    std::exchange(atNextName, [] {})();
    return static_cast<int>(::syscall(SYS_renameat2, fromFolder, from, toFolder, to, flags));
}

namespace fluvane {

using namespace support;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

std::span<const std::byte> bytes(std::string_view text) {
    return std::as_bytes(std::span(text));
}

std::string messageOf(const std::function<void()>& work) {
    try {
        work();
    } catch (const FileError& error) {
        return error.what();
    }
    return "(done)";
}

/// Sees whether the file is still in its place when writes under way are waited for.
struct OpenFile : PieceFile {
    void write(std::span<const std::byte> /*bytes*/, std::int64_t /*at*/) override {}
    void read(std::span<std::byte> /*bytes*/, std::int64_t /*at*/) override {}
    void sync() override {}
    void close() noexcept override {}
    void awaitWrites() override { wasThere = std::filesystem::exists(path); }
    std::string path;
    std::atomic<bool> wasThere = false;
};

class DiskFileTest : public testing::Test {
protected:
    ~DiskFileTest() override { syncsFail = false; }
    [[nodiscard]] URL at(const std::string& name) const { return URL::file((folder / name).string()); }

    /// The final path, or the failure's text in brackets.
    std::string finish(const URL& partial, const std::string& name, const URL& into) {
        std::optional<Outcome<std::optional<URL>>> outcome;
        const auto open = std::make_shared<OpenFile>();
        open->path = partial.path();
        const WrittenFile written{store.identity(partial).value_or(FileIdentity{}), store.size(partial), 1_id,
                                  open};
        store.move(partial, written,
                   {into, name, DuplicateNaming::spaceParentheses, FileOrigin{*URL::parse("https://host/x")}},
                   [&](const auto& result) { outcome = result; });
        EXPECT_TRUE(queue.runUntil([&] { return outcome.has_value(); }));
        EXPECT_TRUE(open->wasThere || !outcome->ok()) << "writes under way are waited for before the move";
        return outcome->ok() ? outcome->value()->path() : "(" + outcome->error() + ")";
    }
    [[nodiscard]] URL inside() const { return URL::folder((folder / "in").string()); }
    [[nodiscard]] std::string parent() const { return "sync " + folder.path().filename().string(); }
    static std::vector<std::string> taken() { return std::exchange(calls, {}); }

    TemporaryFolder folder;
    TestQueue queue;
    DiskFileStore store{queue, "test"};
};

} // namespace

TEST_F(DiskFileTest, RefusesWhatIsNoFile) {
    std::filesystem::create_directory(folder / "folder");
    std::filesystem::create_symlink("/dev/zero", folder / "device");
    writeFile(folder / "file", "theirs");
    std::filesystem::create_symlink("file", folder / "link");
    std::filesystem::create_symlink("nowhere", folder / "dangling");
    std::filesystem::create_hard_link(folder / "file", folder / "twin");
    const std::tuple<URL, const char*, const char*> rows[] = {
        {at("device"), "(exists)", "Not a regular file"},
        {at("folder"), "(exists)", "Is a directory"},
        {at("link"), "(exists)", "Not a regular file"},
        {at("dangling"), "(exists)", "Not a regular file"},
        {at("twin"), "(exists)", "More than one name leads to it"},
        {at("file/below"), "Not a directory", "Not a directory"},
        {*URL::parse("https://host/file"), "No such file or directory", "(done)"},
    };
    for (const auto& [location, created, opened] : rows) {
        SCOPED_TRACE(location.absoluteString());
        EXPECT_EQ(messageOf([&, &at = location] {
                      if (!store.create(at, 10, 1_id)) {
                          throw FileError("(exists)");
                      }
                  }),
                  created);
        EXPECT_EQ(messageOf([&, &at = location] { (void)store.open(at); }), opened);
        EXPECT_EQ(store.size(location), std::nullopt);
        EXPECT_TRUE(finish(location, "done", inside()).starts_with("("));
    }
    if (::geteuid() == 0) { // nobody else can give files away
        writeFile(folder / "given", "theirs");
        ASSERT_EQ(::chown((folder / "given").c_str(), 12345, 12345), 0);
        EXPECT_EQ(messageOf([&] { (void)store.open(at("given")); }), "It belongs to somebody else");
        EXPECT_EQ(store.size(at("given")), std::nullopt);
    }
    store.remove(at("link"), 1_id, true);
    writeFile(folder / "a.part", "data");
    EXPECT_EQ(finish(at("a.part"), "a", at("file/below")), "(Not a directory)");
    for (const auto* name : {"", "..", "../a", "/a"}) {
        EXPECT_EQ(finish(at("a.part"), name, inside()), "(Invalid argument)") << name;
    }
    EXPECT_TRUE(store.exists(at("a.part")));
    EXPECT_TRUE(store.exists(at("link"))) << "somebody's link";
    EXPECT_EQ(readFile(folder / "file"), "theirs");
    EXPECT_TRUE(store.isFolder(at("folder")) && !store.isFolder(at("dangling")));
}

TEST_F(DiskFileTest, ClosingWaitsForWritesAndSyncs) {
    const auto file = store.create(at("a"), std::nullopt, 1_id);
    const auto writeOn = [&] {
        return messageOf([&] {
            const std::string block(1'000'000, 'x');
            for (std::int64_t round = 0; round < 10'000; ++round) {
                file->write(bytes(block), round % 20 * 1'000'000);
                file->sync();
            }
        });
    };
    std::future<std::string> connections[] = {std::async(std::launch::async, writeOn),
                                              std::async(std::launch::async, writeOn)};
    file->write(bytes("x"), 30'000'000);
    file->close();
    for (auto& connection : connections) {
        EXPECT_EQ(connection.get(), "The file is closed.");
    }
}

TEST_F(DiskFileTest, TellsTheFreeSpaceOfTheNearestFolder) {
    const auto location = URL::folder(folder.path().string());
    const auto space = store.space(location);
    ASSERT_TRUE(space);
    EXPECT_GT(space->free, 0);
    EXPECT_EQ(space->device, store.identity(location)->device);
    EXPECT_TRUE(folder.path().string().starts_with(space->place));
    EXPECT_EQ(store.space(URL::folder((folder / "not/there/yet").string()))->place, space->place);
    EXPECT_EQ(store.space(URL::folder("/proc")), std::nullopt); // counts no blocks
}

TEST_F(DiskFileTest, GivesUpWorkWhenItEnds) {
    bool called = false;
    {
        DiskFileStore ending(queue, "test");
        (void)ending.create(at("huge"), 1LL << 43, 1_id); // 8 TiB of nothing would take hours
        writeFile(folder / "a.part", "data");
        ending.checksum(at("huge"), {}, Checksum::Algorithm::sha256, [&](const auto&) { called = true; });
        ending.move(at("a.part"), {*ending.identity(at("a.part")), 4},
                    {URL::folder(folder.path().string()), "a"}, [&](const auto&) { called = true; });
    }
    queue.runPending();
    EXPECT_FALSE(called);
    EXPECT_TRUE(store.exists(at("a.part")));
}

TEST_F(DiskFileTest, TheListIsWholeBeforeItHasItsName) {
    JSONDownloadStore list(folder / "in/list", queue, "test");
    taken();
    list.save({}, [](const auto&) {});
    EXPECT_TRUE(list.flush(20));
    EXPECT_THAT(taken(), ElementsAre(parent(), "sync .list.saving", "name list", "sync in"));
    syncsFail = true;
    list.save({}, [](const auto&) {});
    EXPECT_TRUE(list.flush(20));
    EXPECT_THAT(taken(), ElementsAre("sync .list.saving"));
    EXPECT_FALSE(std::filesystem::exists(folder / "in/.list.saving"));
}

TEST_F(DiskFileTest, AFileIsWholeBeforeItHasItsName) {
    const auto file = store.create(at("a.part"), 10, 1_id);
    taken();
    const auto itself = testing::StartsWith("sync "); // made without a name, it has a number there
    file->sync();
    EXPECT_THAT(taken(), ElementsAre(itself, parent())) << "its new name, too";
    file->sync();
    file->close();
    EXPECT_THAT(taken(), ElementsAre(itself, itself));
    EXPECT_EQ(finish(at("a.part"), "a", inside()), (folder / "in/a").string());
    EXPECT_THAT(taken(), ElementsAre("sync a.part", parent(), "name a", "sync in", parent()));
}

TEST_F(DiskFileTest, ACopyToAnotherDiskKeepsItsHolesAndItsMark) {
    constexpr std::int64_t size = 1LL << 36, at = size - 5; // all of it would fill the other disk
    const auto file = store.create(this->at("a.part"), size, 1_id);
    const char* const memory = "/dev/shm";
    struct stat there {
    }, copied{};
    if (::stat(memory, &there) != 0 || there.st_dev == file->identity().device) {
        GTEST_SKIP() << "there is one file system only";
    }
    file->write(bytes("mid"), size / 2);
    file->write(bytes("end"), at);
    const auto name = folder.path().filename().string();
    std::optional<Outcome<std::optional<URL>>> outcome;
    const auto counted = std::make_shared<std::atomic<std::int64_t>>(0);
    const auto move = [&](bool isGivenUp) {
        outcome.reset();
        store.move(this->at("a.part"), {file->identity(), size, 1_id, file},
                   {.folder = URL::folder(memory),
                    .name = name,
                    .length = size + 7,
                    .isGivenUp = std::make_shared<const std::atomic<bool>>(isGivenUp),
                    .copied = counted},
                   [&](const auto& result) { outcome = result; });
        return queue.runUntil([&] { return outcome.has_value(); });
    };
    ASSERT_TRUE(move(true));
    EXPECT_FALSE(outcome->ok());
    EXPECT_TRUE(store.exists(this->at("a.part")));
    EXPECT_FALSE(store.exists(URL::file(std::string(memory) + "/" + name)));
    ASSERT_TRUE(move(false));
    ASSERT_TRUE(outcome->ok()) << outcome->error();
    EXPECT_GE(*counted, 6);
    const auto copy = store.open(*outcome->value());
    ::stat(outcome->value()->path().c_str(), &copied);
    EXPECT_EQ(copied.st_size, size + 7);
    EXPECT_LT(copied.st_blocks, 100);
    std::array<std::byte, 3> read{};
    copy->read(read, at);
    EXPECT_TRUE(std::ranges::equal(read, bytes("end")));
    EXPECT_NE(store.mark(*outcome->value(), 1_id), Mark::none);
    EXPECT_FALSE(store.exists(this->at("a.part")));
    EXPECT_TRUE(store.remove(*outcome->value(), 1_id, true));
}

TEST_F(DiskFileTest, AMarkIsReadWithoutAFreeDescriptor) {
    (void)store.create(at("a.part"), 10, 1_id);
    const auto mark = store.mark(at("a.part"), 1_id);
    rlimit before{};
    ::getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none{0, before.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_EQ(store.mark(at("a.part"), 1_id), mark) << "else it would be taken for another's, and lost";
    ::setrlimit(RLIMIT_NOFILE, &before);
}

TEST_F(DiskFileTest, AFileWhoseSyncFailedIsTrustedOnceItIsOpenedAgain) {
    for (const bool closed : {false, true}) {
        const auto file = store.create(at("a.part"), 10, 1_id);
        ASSERT_TRUE(file);
        syncsFail = true;
        if (closed) {
            file->close();
        } else {
            EXPECT_THROW(file->sync(), FileError);
        }
        syncsFail = false; // the system tells of lost bytes only once
        EXPECT_THROW(file->write({}, 0), FileError);
        EXPECT_THROW(file->sync(), FileError);
        EXPECT_EQ(finish(at("a.part"), "a", inside()), "(Some of its bytes didn't reach the disk.)");
        const auto again = store.open(at("a.part"));
        syncsFail = true;
        file->close(); // says nothing of the one opened since
        syncsFail = false;
        EXPECT_NO_THROW(again->write({}, 0));
        EXPECT_NO_THROW(again->sync());
        EXPECT_TRUE(finish(at("a.part"), "a", inside()).starts_with("/"));
    }
}

TEST_F(DiskFileTest, WhatComesInItsPlaceIsLeftAlone) {
    const auto exchange = [&] { std::filesystem::rename(folder / "b", folder / "a.part"); };
    const auto twin = [&] { std::filesystem::create_hard_link(folder / "a.part", folder / "twin"); };
    const std::tuple<const char*, std::function<void()>, std::function<void()>> rows[] = {
        {"(Another file has its name)", exchange, [] {}},
        {"(Another file has its name)", [] {}, exchange},
        {"(Another program changed it)", twin, [] {}},
    };
    for (const auto& [why, duringSync, beforeName] : rows) {
        writeFile(folder / "a.part", "ours");
        writeFile(folder / "b", "same");
        atNextSync = duringSync;
        atNextName = beforeName;
        EXPECT_EQ(finish(at("a.part"), "a", inside()), why);
        EXPECT_TRUE(store.exists(at("a.part")) && !store.exists(at("in/a")));
        atNextName = [] {};
    }
}

TEST_F(DiskFileTest, FoldersThatComeInTheirPlacesAreLeftAlone) {
    for (const auto* name : {"from", "in", "other"}) {
        std::filesystem::create_directory(folder / name);
        writeFile(folder / name / "a.part", name);
    }
    atNextName = [&] {
        for (const std::string name : {"from", "in"}) {
            std::filesystem::rename(folder / name, folder / (name + " before"));
            std::filesystem::create_symlink("other", folder / name);
        }
    };
    EXPECT_TRUE(finish(at("from/a.part"), "a", inside()).starts_with("/"));
    EXPECT_EQ(readFile(folder / "in before/a"), "from");
    EXPECT_EQ(readFile(folder / "other/a.part"), "other");
    EXPECT_FALSE(store.exists(at("other/a")) || store.exists(at("from before/a.part")));
}

} // namespace fluvane
