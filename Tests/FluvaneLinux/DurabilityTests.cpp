// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// What must be on the disk before what. The system's calls are this program's own here: they note themselves
// and can fail.

#include "Fluvane/Linux/DiskFiles.h"
#include "Fluvane/Linux/JSONDownloadStore.h"
#include "Support/TemporaryFolder.h"
#include "Support/TestQueue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <mutex>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

std::mutex mutex;
std::vector<std::string> calls;
bool syncsFail = false;
int namesTaken = 0; ///< How many more names somebody else takes just before they are given.

void note(const std::string& call, const std::filesystem::path& path) {
    const std::lock_guard lock(mutex);
    calls.push_back(call + " " + path.filename().string());
}

} // namespace

extern "C" int fsync(int descriptor) {
    note("sync", std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor)));
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
    if (namesTaken > 0) {
        --namesTaken;
        fluvane::support::writeFile(to, "theirs");
    }
    return static_cast<int>(::syscall(SYS_renameat2, fromFolder, from, toFolder, to, flags));
}

namespace fluvane {

using namespace support;
using testing::ElementsAre;

namespace {

class DurabilityTest : public testing::Test {
protected:
    DurabilityTest() { std::filesystem::create_directory(folder / "in"); }
    ~DurabilityTest() override { syncsFail = false; }

    [[nodiscard]] URL at(const std::string& name) const { return URL::file((folder / name).string()); }
    std::string outcome(const std::string& partial) {
        std::optional<Outcome<URL>> outcome;
        files.finish(at(partial), "a", URL::folder((folder / "in").string()), DuplicateNaming::hyphen,
                     {*URL::parse("https://host/x")}, [&](const auto& result) { outcome = result; });
        EXPECT_TRUE(queue.runUntil([&] { return outcome.has_value(); }));
        return outcome->ok() ? outcome->value().path() : "(" + outcome->error() + ")";
    }
    static std::vector<std::string> taken() { return std::exchange(calls, {}); }

    TemporaryFolder folder;
    TestQueue queue;
    DiskFileStore files{queue, "test"};
};

} // namespace

TEST_F(DurabilityTest, TheListIsWholeBeforeItHasItsName) {
    JSONDownloadStore store(folder / "in/list", queue, "test");
    taken();
    store.save({}, {}, {});
    store.flush();
    EXPECT_THAT(taken(), ElementsAre("sync .list.saving", "name list", "sync in"));
    syncsFail = true;
    store.save({}, {}, {});
    store.flush();
    EXPECT_THAT(taken(), ElementsAre("sync .list.saving"));
    EXPECT_FALSE(std::filesystem::exists(folder / "in/.list.saving"));
}

TEST_F(DurabilityTest, AFileIsWholeBeforeItHasItsName) {
    const auto file = files.create(at("a.part"), 10);
    taken();
    file->close();
    EXPECT_THAT(taken(), ElementsAre("sync a.part"));
    EXPECT_EQ(outcome("a.part"), (folder / "in/a").string());
    EXPECT_THAT(taken(),
                ElementsAre("sync a.part", "name a", "sync in", "sync " + folder.path().filename().string()));
}

TEST_F(DurabilityTest, AFileWhoseSyncFailedIsTrustedNeverAgain) {
    for (const bool closed : {false, true}) {
        const auto file = files.create(at("a.part"), 10);
        syncsFail = true;
        if (closed) {
            file->close();
        } else {
            EXPECT_THROW(file->sync(), FileError);
        }
        syncsFail = false; // the system tells of lost bytes only once
        EXPECT_THROW(file->write({}, 0), FileError);
        EXPECT_THROW(file->sync(), FileError);
        EXPECT_THROW((void)files.open(at("a.part")), FileError);
        EXPECT_EQ(outcome("a.part"), "(Some of its bytes didn't reach the disk.)");
        EXPECT_NO_THROW(files.create(at("a.part"), 10)->sync());
        EXPECT_NO_THROW((void)files.open(at("a.part"))) << "begun afresh";
    }
}

TEST_F(DurabilityTest, ANameTakenInBetweenIsLeftToItsOwner) {
    writeFile(folder / "a.part", "ours");
    namesTaken = 2;
    EXPECT_EQ(outcome("a.part"), (folder / "in/a-2").string());
    const std::pair<const char*, const char*> rows[] = {{"a", "theirs"}, {"a-1", "theirs"}, {"a-2", "ours"}};
    for (const auto& [name, contents] : rows) {
        EXPECT_EQ(readFile(folder / "in" / name), contents) << name;
    }
}

} // namespace fluvane
