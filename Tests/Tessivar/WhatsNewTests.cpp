// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Support/TemporaryFolder.h"
#include "Tessivar/Version.h"
#include "Tessivar/WhatsNew.h"
#include "TessivarCore/AppIdentity.h"

#include <gtest/gtest.h>

namespace tessivar {

using namespace fluvane::support;

TEST(Version, OrdersAsReleasesFollowEachOther) {
    const std::vector<std::string> ascending = {
        "0.9",      "0.10.0-alpha.9", "0.10.0-alpha.10",        "0.10.0-alpha.beta",     "0.10.0",
        "0.10.0.1", "0.11.0-1",       "18446744073709551617.1", "18446744073709551617.2"};
    for (std::size_t one = 0; one < ascending.size(); ++one) {
        for (std::size_t other = 0; other < ascending.size(); ++other) {
            EXPECT_TRUE((*Version::parse(ascending[one]) <=> *Version::parse(ascending[other])) ==
                        (one <=> other))
                << ascending[one] << " and " << ascending[other];
        }
    }
    EXPECT_EQ(Version::parse("0.10.0-alpha.10"), Version::parse("v0.10-alpha.010+1.2-3"));
    for (const auto* const text : {"", "v", "1.", "1..2", "1.x", "-1", "1-", "1-a b", "vv1", "1.2.3_4"}) {
        EXPECT_FALSE(Version::parse(text)) << text;
    }
}

namespace {

class WhatsNewTest : public testing::Test {
protected:
    WhatsNewTest() { AppIdentity::current.displayName = "Fluvane"; }

    /// What a start of the version shows.
    std::string start(const std::string& version, bool welcomed = true) {
        std::string shown;
        WhatsNew({.releases = {{"0.10.0", "2026-05-01", {"Ten.", "More of it."}},
                               {"0.10.0-rc.1", "", {"Nearly ten."}},
                               {"0.9", "2026-04-01", {"Nine."}},
                               {"0.8", "2026-03-01", {"Eight."}}},
                  .version = version,
                  .stateFile = stateFile,
                  .welcomed = [welcomed] { return welcomed; }})
            .showIfUpdated([&](const std::string& text) { shown += text; });
        return shown;
    }

    TemporaryFolder folder;
    std::filesystem::path stateFile = folder / "state/whats-new";
    const std::string nine = "Fluvane 0.9 (2026-04-01)\n- Nine.\n";
    const std::string nearlyTen = "Fluvane 0.10.0-rc.1\n- Nearly ten.\n";
    const std::string ten = "Fluvane 0.10.0 (2026-05-01)\n- Ten.\n- More of it.\n";
};

} // namespace

TEST_F(WhatsNewTest, IsShownOnceAfterEachUpdate) {
    const std::pair<const char*, std::string> starts[] = {
        {"0.8.1", ""},                    // the first ever
        {"0.9", nine},                    // updated
        {"0.9", ""},                      //
        {"0.10", ten + "\n" + nearlyTen}, // over another
    };
    for (const auto& [version, shown] : starts) {
        EXPECT_EQ(start(version), shown) << version;
    }
    writeFile(stateFile, "no version");
    EXPECT_EQ(start("0.9"), "") << "as at a first start";
    std::filesystem::create_directory(folder / "state/.whats-new.saving");
    EXPECT_EQ(start("0.10"), "") << "it couldn't remember";
    std::filesystem::remove(folder / "state/.whats-new.saving");
    EXPECT_EQ(start("0.10", false), "") << "not welcomed yet";
}

} // namespace tessivar
