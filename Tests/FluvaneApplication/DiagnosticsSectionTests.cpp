// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Application/DiagnosticsSection.h"
#include "Fluvane/Application/Releases.h"
#include "Support/Engine.h"
#include "Tessivar/Version.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace fluvane {

using namespace support;
using namespace testing;

namespace {

/// A list of downloads without an engine.
struct DownloadList {
    Download& add(DownloadState state, std::int64_t done, std::optional<std::int64_t> size) {
        const auto id = DownloadID{static_cast<std::int64_t>(downloads.size()) + 1};
        DownloadRecord record(id, link("https://secret/secret.iso?token=1"), link("file:///home/secret"),
                              link("https://secret.example.com/"), Date{});
        record.name = "secret name.iso";
        record.partial = link("file:///home/secret/secret%20name.iso.fluvane");
        record.size = size;
        record.state = std::move(state);
        if (done > 0) {
            record.pieces = {{.start = 0, .end = size, .done = done}};
        }
        all.push_back(downloads.emplace_back(std::make_unique<Download>(std::move(record))).get());
        return *downloads.back();
    }

    std::vector<std::unique_ptr<Download>> downloads;
    std::vector<const Download*> all;
};

std::string textOf(const std::vector<const Download*>& downloads, const Config& config = {}) {
    std::string text;
    for (const auto& section : diagnosticsSections(downloads, config)) {
        text += section.title + "\n" + section.text;
    }
    return text;
}

} // namespace

TEST(DiagnosticsSection, TellsOfDownloadsByNumber) {
    DownloadList list;
    auto& running = list.add(DownloadState::Downloading{}, 4'200'000'000, 10'000'000'000);
    for (std::int64_t start = 0; start < 8; ++start) {
        running.transfers[start].acceptedAt = start;
    }
    list.add(DownloadState::Paused{}, 999'000, 10'000'000);
    list.add(DownloadState::Finished{}, 10'000'000, 10'000'000);
    list.add(DownloadState::Failed{"Couldn't connect to secret: Connection refused."}, 0, std::nullopt);
    list.add(DownloadState::Failed{"Couldn't connect to mirror."}, 0, std::nullopt).record.finalURL =
        link("https://mirror/");
    EXPECT_THAT(textOf(list.all), EndsWith("Downloads\n"
                                           "1: downloading, 4.2 of 10 GB, 8 connections\n"
                                           "2: paused, 999 KB of 10 MB\n"
                                           "3: finished, 10 MB\n"
                                           "4: failed (Couldn't connect to …: Connection refused.)\n"
                                           "5: failed (Couldn't connect to ….)\n"));
    EXPECT_THAT(textOf(list.all), Not(HasSubstr("secret")));
}

TEST(DiagnosticsSection, TellsSettingsWithoutFoldersAndSites) {
    auto config = Config::everySetting();
    config.folder = "/home/secret";
    config.rules = {{"secret-id", Rule::Site{"secret.example.com"}, std::nullopt, 2},
                    {"secret-id2", Rule::Extensions{{"secret"}}, "/home/secret", std::nullopt},
                    {"secret-id3", Rule::Kind{FileKind::video}, "~/secret", std::nullopt}};
    const auto text = textOf({}, config);
    EXPECT_THAT(text, Not(HasSubstr("secret")));
    const auto end = text.find("Downloads\n");
    const auto json = coding::Json::parse(text.substr(text.find('{'), end - text.find('{')));
    EXPECT_EQ(json["rules"],
              coding::Json::parse(R"([{"match": "a site", "choosesFolder": false, "connections": 2},
                                                     {"match": "extensions", "choosesFolder": true},
                                                     {"match": "video", "choosesFolder": true}])"));
}

TEST(Releases, AreInOrderAndEndWithThisVersion) {
    const auto all = releases();
    ASSERT_FALSE(all.empty());
    EXPECT_EQ(all.front().version, FLUVANE_VERSION);
    for (std::size_t index = 1; index < all.size(); ++index) {
        const auto earlier = tessivar::Version::parse(all[index].version);
        ASSERT_TRUE(earlier) << all[index].version;
        EXPECT_GT(tessivar::Version::parse(all[index - 1].version), earlier);
    }
}

} // namespace fluvane
