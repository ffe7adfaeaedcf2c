// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/RuntimeSessionStore.h"

#include "Support/FakePorts.h"
#include "Support/TemporaryFolder.h"

#include <sys/stat.h>

#include <filesystem>

#include <gtest/gtest.h>

namespace fluvane::support {
namespace {

mode_t modeOf(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 ? status.st_mode & 0777 : 0;
}

const std::vector<KeptSession> some = {
    {.owner = Owner(DownloadID{7}, Date(std::chrono::seconds(1'800'000'000))),
     .link = URL::parse("https://h/ä?x").value(),
     .session = std::make_shared<const Session>(Session{
         .cookies = {{.name = "n", .value = "\u00e4\"", .domain = "h", .secure = true, .httpOnly = true},
                     {.name = "m",
                      .value = "",
                      .domain = "h",
                      .path = "/p",
                      .hostOnly = true,
                      .expires = 4'000'000'000}},
         .userAgent = "Me",
         .headers = {{"A", "b"}, {"A", ""}},
         .login = Login{.user = "u", .password = "p"},
         .origin = "https://h:443"})},
    {.owner = Owner(DownloadID{8}),
     .link = URL::parse("http://h/").value(),
     .session = std::make_shared<Session>()}};

std::vector<KeptSession> keptAfter(const std::string& file, const std::vector<KeptSession>& sessions) {
    RuntimeSessionStore(file, "test").keep(sessions);
    return RuntimeSessionStore(file, "test").load();
}

TEST(RuntimeSessionStore, KeepsAllOfItForItsOwnerAlone) {
    const TemporaryFolder folder;
    const auto file = folder / "fluvane/sessions.json";
    EXPECT_TRUE(RuntimeSessionStore(file, "test").load().empty());
    const auto found = keptAfter(file, some);
    ASSERT_EQ(found.size(), some.size());
    for (std::size_t i = 0; i < some.size(); ++i) {
        EXPECT_EQ(found[i].owner, some[i].owner);
        EXPECT_EQ(found[i].link, some[i].link);
        EXPECT_EQ(*found[i].session, *some[i].session);
    }
    EXPECT_EQ(modeOf(file), 0600u);
    EXPECT_EQ(modeOf(folder / "fluvane"), 0700u);
    EXPECT_TRUE(keptAfter(file, {}).empty());
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST(RuntimeSessionStore, KeepsNothingWhereOthersMayLookAndQuotesNothing) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder / "elsewhere");
    std::filesystem::create_directory_symlink(folder / "elsewhere", folder / "link");
    LogCapture log;
    EXPECT_TRUE(keptAfter(folder / "link/sessions.json", some).empty());
    EXPECT_TRUE(std::filesystem::is_empty(folder / "elsewhere"));
    std::filesystem::create_directory(folder / "open");
    std::filesystem::permissions(folder / "open", std::filesystem::perms::all);
    EXPECT_EQ(keptAfter(folder / "open/sessions.json", some).size(), 2u);
    EXPECT_EQ(modeOf(folder / "open"), 0700u);
    for (const char* text : {R"({"sessions": [{"secret": 1}]})", R"({"secret)", "[]"}) {
        writeFile(folder / "bad.json", text);
        EXPECT_TRUE(RuntimeSessionStore(folder / "bad.json", "test").load().empty());
        EXPECT_EQ(log.lines.back(), "files: the kept sessions make no sense");
    }
}

} // namespace
} // namespace fluvane::support
