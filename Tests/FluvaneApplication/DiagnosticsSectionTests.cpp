// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Application/DiagnosticsSection.h"
#include "Fluvane/Application/Releases.h"
#include "Support/Engine.h"

#include <gmock/gmock.h>

namespace fluvane {

using namespace support;
using namespace testing;

namespace {

/// With secrets wherever there may be any.
Download inState(DownloadState state, std::int64_t done, std::optional<std::int64_t> size) {
    DownloadRecord record(1_id, link("https://secret/secret.iso?token=1"), link("file:///home/secret"),
                          link("https://secret.example.com/"), Date{});
    record.name = "secret name.iso";
    record.partial = link("file:///home/secret/secret%20name.iso.fluvane");
    record.size = size;
    record.state = std::move(state);
    record.pieces = {{.start = 0, .end = size, .done = done}};
    return Download(std::move(record));
}

std::string textOf(const std::vector<const Download*>& downloads, const Config& config = {}) {
    std::string text;
    for (const auto& section : diagnosticsSections(downloads, config)) {
        text += section.title + "\n" + section.text;
    }
    return text;
}

} // namespace

TEST(DiagnosticsSection, TellsOfDownloadsByNumber) {
    auto running = inState(DownloadState::Downloading{}, 4'200'000'000, 10'000'000'000);
    for (std::int64_t start = 0; start < 8; ++start) {
        running.transfers[start].acceptedAt = start;
    }
    auto finished = inState(DownloadState::Finished{}, 10'000'000, 10'000'000);
    finished.record.id = 2_id;
    const auto failed =
        inState(DownloadState::Failed{"Couldn't connect to secret: Connection refused."}, 0, std::nullopt);
    auto mirrored = inState(DownloadState::Failed{"Couldn't connect to mirror."}, 0, std::nullopt);
    mirrored.record.finalURL = link("https://mirror/");
    EXPECT_THAT(textOf({&running, &finished, &failed, &mirrored}),
                AllOf(EndsWith("Downloads\n"
                               "1: downloading, 4.2 of 10 GB, 8 connections\n"
                               "2: finished, 10 MB\n"
                               "1: failed (Couldn't connect to …: Connection refused.)\n"
                               "1: failed (Couldn't connect to ….)\n"),
                      Not(HasSubstr("secret"))));
}

TEST(DiagnosticsSection, TellsSettingsWithoutFoldersAndSites) {
    auto config = Config::everySetting();
    config.folder = "/home/secret";
    config.rules = {{"secret-id", Rule::Site{"secret.example.com"}, std::nullopt, 2},
                    {"secret-id2", Rule::Extensions{{"secret"}}, "/home/secret", std::nullopt},
                    {"secret-id3", Rule::Kind{FileKind::video}, "~/secret", std::nullopt}};
    const auto text = textOf({}, config);
    EXPECT_THAT(text, Not(HasSubstr("secret")));
    const auto from = text.find('{');
    const auto json = coding::Json::parse(text.substr(from, text.find("Downloads\n") - from));
    EXPECT_EQ(json["rules"],
              coding::Json::parse(R"([{"match": "a site", "choosesFolder": false, "connections": 2},
        {"match": "extensions", "choosesFolder": true}, {"match": "video", "choosesFolder": true}])"));
}

TEST(Releases, BeginWithThisVersion) {
    EXPECT_EQ(releases().at(0).version, FLUVANE_VERSION);
}

} // namespace fluvane
