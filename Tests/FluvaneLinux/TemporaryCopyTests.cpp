// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/TemporaryCopy.h"
#include "Support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cerrno>

namespace fluvane {

using namespace support;
using testing::UnorderedElementsAre;
using Naming = TemporaryCopy::Naming;

TEST(TemporaryCopy, GetsAFreeNameOrGoesAway) {
    for (const auto naming : {Naming::none, Naming::hidden}) {
        SCOPED_TRACE(naming == Naming::none ? "none" : "hidden");
        const TemporaryFolder folder;
        writeFile(folder / "taken", "theirs");
        {
            TemporaryCopy copy(folder.path(), naming);
            tessivar::writeFully(copy.descriptor(), std::as_bytes(std::span("ours", 4)));
            EXPECT_EQ(copy.moveTo(folder / "taken"), EEXIST);
            EXPECT_EQ(copy.moveTo(folder / "free"), 0);
            const TemporaryCopy given(folder.path(), naming);
        }
        EXPECT_EQ(readFile(folder / "free"), "ours");
        EXPECT_EQ(readFile(folder / "taken"), "theirs");
        EXPECT_THAT(folder.names(), UnorderedElementsAre("free", "taken"));
        EXPECT_THROW(TemporaryCopy(folder / "missing", naming), tessivar::SystemError);
    }
}

TEST(TemporaryCopy, ClearsOnlyWhatACopyLeft) {
    const TemporaryFolder folder;
    const TemporaryCopy living(folder.path(), Naming::hidden);
    const auto name = *folder.names().begin();
    for (const auto* left : {".fluvane-unfinished-copy-aB3xyZ", ".fluvane-unfinished-copy-aB3xy",
                             ".fluvane-unfinished-copy-aB3x.Z", "fluvane-aB3xyZ", ".fluvane-backup"}) {
        writeFile(folder / left, "");
    }
    std::filesystem::create_directory(folder / ".fluvane-unfinished-copy-folder");
    std::filesystem::create_symlink(".fluvane-unfinished-copy-aB3xy",
                                    folder / ".fluvane-unfinished-copy-symlnk");
    std::filesystem::create_hard_link(folder / "fluvane-aB3xyZ", folder / ".fluvane-unfinished-copy-secend");
    ASSERT_EQ(::mkfifo((folder / ".fluvane-unfinished-copy-fifo01").c_str(), 0600), 0);
    TemporaryCopy::clearLeftovers(folder.path());
    TemporaryCopy::clearLeftovers(folder / "missing");
    EXPECT_THAT(folder.names(),
                UnorderedElementsAre(name, ".fluvane-backup", ".fluvane-unfinished-copy-aB3xy",
                                     ".fluvane-unfinished-copy-aB3x.Z", "fluvane-aB3xyZ",
                                     ".fluvane-unfinished-copy-folder", ".fluvane-unfinished-copy-symlnk",
                                     ".fluvane-unfinished-copy-secend", ".fluvane-unfinished-copy-fifo01"));
}

} // namespace fluvane
