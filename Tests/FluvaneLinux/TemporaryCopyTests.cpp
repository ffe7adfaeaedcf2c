// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/TemporaryCopy.h"
#include "Support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <optional>

namespace fluvane {

using namespace support;
using testing::UnorderedElementsAre;
using Naming = TemporaryCopy::Naming;

TEST(TemporaryCopy, ReplacesNothingOrGoesAway) {
    for (const auto naming : {Naming::none, Naming::hidden}) {
        const TemporaryFolder folder;
        writeFile(folder / "taken", "theirs");
        {
            TemporaryCopy copy(folder.path(), naming);
            const TemporaryCopy other(folder.path(), naming);
            EXPECT_EQ(copy.moveTo(folder / "taken"), EEXIST);
            EXPECT_EQ(copy.moveTo(folder / "free"), 0);
        }
        EXPECT_EQ(readFile(folder / "taken"), "theirs");
        EXPECT_THAT(folder.names(), UnorderedElementsAre("free", "taken"));
    }
}

TEST(TemporaryCopy, LeavesWhatComesInItsPlace) {
    const TemporaryFolder folder;
    std::optional<TemporaryCopy> copy(std::in_place, folder.path(), Naming::hidden);
    const auto name = *folder.names().begin();
    writeFile(folder / "theirs", "theirs");
    std::filesystem::rename(folder / "theirs", folder / name);
    EXPECT_EQ(copy->moveTo(folder / "free"), ESTALE);
    copy.reset();
    EXPECT_THAT(folder.names(), testing::ElementsAre(name));
}

TEST(TemporaryCopy, ClearsOnlyWhatACopyLeft) {
    const TemporaryFolder folder;
    const TemporaryCopy living(folder.path(), Naming::hidden);
    const auto name = *folder.names().begin();
    const char* const others[] = {".fluvane-unfinished-copy-aB3xy", "fluvane-aB3xyZ", ".fluvane-backup"};
    for (const auto* other : others) {
        writeFile(folder / other, "");
    }
    writeFile(folder / ".fluvane-unfinished-copy-aB3xyZ", "");
    std::filesystem::create_symlink(others[0], folder / ".fluvane-unfinished-copy-symlnk");
    std::filesystem::create_hard_link(folder / others[1], folder / ".fluvane-unfinished-copy-secend");
    TemporaryCopy::clearLeftovers(folder.path());
    TemporaryCopy::clearLeftovers(folder / "missing");
    EXPECT_THAT(folder.names(),
                UnorderedElementsAre(name, others[0], others[1], others[2], ".fluvane-unfinished-copy-symlnk",
                                     ".fluvane-unfinished-copy-secend"));
}

} // namespace fluvane
