// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Support/TemporaryFolder.h"
#include "TessivarCore/AtomicFile.h"
#include "TessivarCore/FileSystem.h"

#include <gmock/gmock.h>

#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace tessivar {

using namespace fluvane::support;
using namespace testing;

namespace fs = std::filesystem;

TEST(FileSystem, EveryWayOfMovingRefusesToReplace) {
    for (auto* const move : {moveByExclusiveRename, moveByLink, moveByReservation, moveWithoutReplacing}) {
        const TemporaryFolder folder;
        writeFile(folder / "new", "new");
        writeFile(folder / "old", "old");
        fs::create_symlink("nowhere", folder / "dangling");
        EXPECT_EQ(move(folder / "new", folder / "old"), EEXIST);
        EXPECT_EQ(move(folder / "new", folder / "dangling"), EEXIST);
        EXPECT_EQ(move(folder / "missing", folder / "free"), ENOENT);
        EXPECT_EQ(move(folder / "new", folder / "free"), 0);
        EXPECT_EQ(readFile(folder / "free"), "new");
        EXPECT_EQ(readFile(folder / "old"), "old");
        EXPECT_THAT(folder.names(), ElementsAre("dangling", "free", "old"));
    }
}

TEST(FileSystem, OpensOnlyRegularFilesAndPutsFoldersInNobodysPlace) {
    const TemporaryFolder folder;
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    for (const std::string& path :
         {(folder / "pipe").string(), std::string("/dev/zero"), folder.path().string(),
          (folder / "missing").string(), std::string("/tmp/a\0b", 8)}) {
        EXPECT_THROW((void)openRegular(path, O_RDONLY), SystemError) << path;
    }
    EXPECT_THROW(AtomicFile(folder / "pipe").write("x"), SystemError);
    EXPECT_THROW(AtomicFile(folder.path()).write("x"), SystemError);
    EXPECT_THROW(createFolders(folder / "pipe", 0700), SystemError);
    EXPECT_THAT(folder.names(), ElementsAre("pipe"));
    createFolders(folder / "a/b", 0700);
    createFolders(folder / "a/b", 0700);
    EXPECT_EQ(fs::status(folder / "a").permissions(), fs::perms(0700));
}

TEST(AtomicFile, ReplacesWholeFilesPrivatelyOrLeavesTheOldOne) {
    const TemporaryFolder folder;
    const AtomicFile file(folder / "list");
    EXPECT_EQ(file.read(), std::nullopt);
    writeFile(folder / ".list.saving", "left by a crash");
    const std::string big(600'000, 'x');
    file.write([&](const AtomicFile::Put& put) {
        put("head ");
        put(big);
        put(" tail");
    });
    EXPECT_EQ(file.read(), "head " + big + " tail");
    EXPECT_THROW((void)file.read(1000), SystemError);
    EXPECT_EQ(fs::status(folder / "list").permissions(), fs::perms(0600));
    file.write("");
    EXPECT_EQ(file.read(), "");
    rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    const rlimit full{100'000, before.rlim_max}; // as on a full disk
    auto* const handler = std::signal(SIGXFSZ, SIG_IGN);
    ::setrlimit(RLIMIT_FSIZE, &full);
    EXPECT_THROW(file.write(big), SystemError);
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(file.read(), "");
    EXPECT_THAT(folder.names(), ElementsAre("list"));
}

TEST(AtomicFile, KeepsSymbolicLinks) {
    const TemporaryFolder folder;
    fs::create_directory(folder / "dotfiles");
    writeFile(folder / "dotfiles/real", "old");
    fs::create_symlink("dotfiles/real", folder / "list");
    AtomicFile(folder / "list").write("new");
    EXPECT_TRUE(fs::is_symlink(folder / "list"));
    EXPECT_EQ(readFile(folder / "dotfiles/real"), "new");
    fs::create_symlink("loop", folder / "loop");
    EXPECT_THROW(AtomicFile(folder / "loop").write("x"), SystemError);
}

} // namespace tessivar
