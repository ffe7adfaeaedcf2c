// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Commands/CommandCenter.h"
#include "Support/Engine.h"
#include "Support/FakeSettings.h"
#include "Support/FakeWindows.h"
#include "Support/TemporaryFolder.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <sstream>

namespace fluvane {
namespace {

using support::FakeSettings;
using support::link;
using support::operator""_id;
using Arguments = CommandCenter::Arguments;

constexpr const char* sha256 = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

DownloadRecord record(std::int64_t id, DownloadState state) {
    DownloadRecord result(DownloadID{id}, link("http://h/file" + std::to_string(id) + ".zip"),
                          URL::folder("/downloads"), std::nullopt, Date());
    result.state = std::move(state);
    return result;
}

/// An engine with room for one download, with 1 starting, 2 and 3 in line, 4 paused, 5 finished, 6 failed and
/// 7 waiting for a fresh link.
class CommandCenterTest : public testing::Test {
protected:
    CommandCenterTest() {
        engine.config.simultaneous = 1;
        engine.manager->apply(engine.config);
        auto& saved = engine.store->saved;
        for (std::int64_t id = 1; id <= 3; ++id) {
            saved.push_back(record(id, DownloadState()));
        }
        saved.push_back(record(4, DownloadState::Paused()));
        saved.push_back(record(5, DownloadState::Finished()));
        saved[4].name = "five \xff.zip";
        saved[4].size = 100;
        saved[4].pieces = {{.start = 0, .end = 100, .done = 100}};
        saved[4].file = URL::file("/downloads/five.zip");
        saved[4].checksum = Checksum::recognise(sha256);
        saved[4].checksumResult = ChecksumResult{ChecksumResult::Matches()};
        saved.push_back(record(6, DownloadState::Failed{"It broke."}));
        saved[5].opensWebPage = true;
        saved.push_back(record(7, DownloadState::Wait::linkExpired));
        engine.files->put("/downloads/five.zip", "");
        engine.manager->start();
        engine.turns();
    }

    /// The reply, once it comes.
    Reply ask(const Arguments& arguments) {
        std::optional<Reply> reply;
        center.run(arguments, [&](Reply answer) {
            EXPECT_FALSE(reply) << "a second reply";
            reply = std::move(answer);
        });
        EXPECT_TRUE(reply || engine.scheduler.runUntilTrue([&] { return reply.has_value(); }, 10));
        return reply.value_or(Reply{.ok = false, .text = "no reply"});
    }
    /// The same in words, without quoting.
    std::string say(const std::string& line) {
        std::istringstream words(line);
        const Reply reply = ask(Arguments(std::istream_iterator<std::string>(words), {}));
        return (reply.ok ? "ok: " : "error: ") + reply.text;
    }
    /// The same reply to every one of the commands between semicolons.
    void expectEach(const std::string& commands, const std::string& reply) {
        std::istringstream lines(commands);
        std::string line;
        do {
            std::getline(lines, line, ';');
            EXPECT_EQ(say(line), reply) << line;
        } while (!lines.eof());
    }
    support::Engine engine;
    FakeSettings settings{*engine.manager};
    CommandCenter center{*engine.manager, settings, {}};
};

TEST_F(CommandCenterTest, Replies) {
    const std::string numbers = " `fluvane list` shows their numbers.";
    const std::pair<const char*, std::string> rows[] = {
        {"Foo 1", "error: Unknown command 'foo'. Try: fluvane help"},
        {"pause 8", "error: No download 8." + numbers},
        {"remove all", "error: No download all." + numbers},
        {"pause +001; resume 1; checksum 1", "ok: "},
        {"add; add ftp://h/a --to", "error: Give at least one http or https link: fluvane add <link>"},
        {"add http://h/a --checksum xyz http://h/b",
         "error: That isn't a checksum Fluvane knows: give a SHA-256, SHA-1 or MD5."},
        {"add http://h/a http://h/b --md5 d41d8cd98f00b204e9800998ecf8427e",
         "error: A checksum goes with one link at a time."},
        {"link 1 ftp://h/a; link 9 http://h/a", "error: Usage: fluvane link <number> <fresh link>"},
        {"checksum 1 md5 d41d8cd98f00b204e9800998ecf8427e", "ok: Checked once every byte is in"},
        {"show 1; show; settings rules; welcome; whats-new; state; snapshot",
         "error: There's no window to show: Fluvane runs without a display."},
        {"limit; limit OFF; limit 0; limit", "ok: No limit"},
        {"limit -1; limit abc; limit 5MB; limit inf; limit nan; limit 1e400; limit 0.0",
         "error: Give a speed in MB/s, like 5 or 0.5, or off: fluvane limit 5"},
        {"limit 1,2345678; limit", "ok: Up to 1.2 MB/s"},
        {"export /tmp/s", "ok: Exported settings to /tmp/s"},
        {"import /tmp/s", "ok: Imported settings from /tmp/s"},
    };
    for (const auto& [commands, reply] : rows) {
        expectEach(commands, reply);
    }
    EXPECT_EQ(engine.transport->speedLimit, 1'234'567);
    EXPECT_EQ(settings.paths, (std::vector<std::string>{"to /tmp/s", "from /tmp/s"}));
    settings.failure = "No room.";
    expectEach("limit 5; limit off; export; export /x; import /x", "error: No room.");
    engine.store->error = "No space left on device";
    expectEach("pause 1",
               "error: It is done, but the list of downloads can't be saved: No space left on device");
}

TEST_F(CommandCenterTest, CommandsReachTheDownloadsTheyName) {
    say("next 4");
    EXPECT_EQ(engine.manager->queue().front()->id(), 4_id);
    say("link 7 see:http://new/a,http://new/b");
    EXPECT_EQ(engine.record(7_id).url, link("http://new/a"));
    say("prioritize 6");
    EXPECT_TRUE(engine.manager->download(6_id)->isPrioritized());
    say("prioritize 6 no");
    EXPECT_FALSE(engine.manager->download(6_id)->isPrioritized());
}

TEST_F(CommandCenterTest, Add) {
    const support::TemporaryFolder folder;
    const std::string file = folder / "links.txt";
    support::writeFile(file, "http://f/1\nhttp://f/2 http://f/1\n");
    EXPECT_EQ(ask({"add", file, "--to", "/x y/"}).text, "Added download 8\nAdded download 9");
    EXPECT_EQ(engine.record(8_id).url, link("http://f/1"));
    EXPECT_EQ(engine.record(9_id).url, link("http://f/2"));
    EXPECT_EQ(engine.record(9_id).folder.path(), "/x y");
    EXPECT_FALSE(engine.record(9_id).autoFolder.value_or(false));
    ask({"add", "--sha1", sha256, "http://h/c"});
    EXPECT_EQ(engine.record(10_id).checksum, Checksum::recognise(sha256));
    EXPECT_EQ(engine.record(10_id).folder.path(), "/downloads");
    EXPECT_EQ(engine.record(10_id).autoFolder, true);
}

TEST_F(CommandCenterTest, AddWithASession) {
    const std::string cookies =
        "# Netscape HTTP Cookie File\r\n\n#HttpOnly_.H.example\tTRUE\t/\tTRUE\t0\tsid\tv\r\n"
        "h\tFALSE\t/x\tFALSE\t4000000000.5\tempty\t\n";
    EXPECT_TRUE(ask({"add", "http://u:p@h/a http://[::1]:8/b", "--header", "X-A:  b ", "--cookies", cookies,
                     "--header", "Authorization: Bearer x", "--user-agent", "Me", "--referrer", "http://r/"})
                    .ok);
    Session wanted{
        .cookies = {{.name = "sid", .value = "v", .domain = "h.example", .secure = true, .httpOnly = true},
                    {.name = "empty",
                     .value = "",
                     .domain = "h",
                     .path = "/x",
                     .hostOnly = true,
                     .expires = 4'000'000'000}},
        .userAgent = "Me",
        .headers = {{"X-A", "b"}, {"Authorization", "Bearer x"}},
        .origin = "http://h:80"};
    EXPECT_EQ(*engine.manager->download(8_id)->session, wanted);
    wanted.origin = "http://[::1]:8";
    EXPECT_EQ(*engine.manager->download(9_id)->session, wanted);
    EXPECT_EQ(engine.record(9_id).referrer, link("http://r/"));
    const std::string noCookie = "Line 2 of the cookie file isn't a cookie in the Netscape format.";
    const std::tuple<const char*, std::string, std::string> rows[] = {
        {"--header", "X", "A header is given as --header \"Name: value\"."},
        {"--header", "X y: z", "A header is given as --header \"Name: value\"."},
        {"--header", "X: a\r\nY: b", "A header can't hold line breaks."},
        {"--header", "raNge : bytes=0-", "Fluvane sets the header raNge itself."},
        {"--header", "User-Agent: x", "Give that header as --user-agent."},
        {"--user-agent", "a\nb", "A user agent can't hold line breaks."},
        {"--referrer", "ftp://x/", "--referrer needs an http or https link."},
        {"--cookies", "# none\n", "There are no cookies in that file."},
        {"--cookies", "h\tTRUE\t/\tTRUE\t0\ta\tb\nsecret", noCookie},
        {"--cookies", "\nh\tTRUE\t/\tTRUE\tnever\ta\tb", noCookie},
        {"--cookies", "\nh\tTRUE\tx\tTRUE\t0\ta\tb", noCookie},
    };
    for (const auto& [option, value, sentence] : rows) {
        EXPECT_EQ(ask({"add", "http://h/c", option, value}), (Reply{false, sentence}));
    }
    EXPECT_EQ(ask({"add", "http://h/c", "--cookies"}), (Reply{false, "--cookies needs a value."}));
    EXPECT_FALSE(engine.manager->download(10_id));
}

TEST_F(CommandCenterTest, ListDescribesEveryDownload) {
    say("prioritize 3");
    const Reply reply = ask({"list"});
    const auto list = nlohmann::json::parse(reply.text);
    EXPECT_EQ(reply.text, list.dump(2)); // which sorts the keys
    ASSERT_EQ(list.size(), 7u);
    EXPECT_EQ(list[1].at("placeInLine"), 1);
    EXPECT_EQ(list[2].at("prioritized"), true);
    EXPECT_EQ(list[4], nlohmann::json::parse(R"({"id": 5, "name": "five �.zip", "state": "finished",
        "url": "http://h/file5.zip", "folder": "/downloads", "downloaded": 100, "connections": 0,
        "bytesPerSecond": 0, "size": 100, "file": "/downloads/five.zip", "checksumMatches": true,
        "checksum": "sha256:e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"})"));
    EXPECT_EQ(list[5].at("reason"), "It broke.");
    EXPECT_EQ(list[5].at("opensWebPage"), true);
}

TEST_F(CommandCenterTest, WindowsAreAskedFor) {
    support::FakeWindows windows;
    CommandCenter withWindows(*engine.manager, settings, {.windows = &windows});
    for (const auto& arguments : {Arguments{"show", "3"}, {"settings", "RULES"}}) {
        withWindows.run(arguments, [](const Reply& reply) { EXPECT_EQ(reply, Reply{}); });
    }
    EXPECT_EQ(std::exchange(windows.asked, {}), (std::vector<std::string>{"downloads 3", "settings rules"}));
    const std::pair<const char*, std::vector<std::string>> links[] = {
        {"fluvane://add?url=http://h/a&url=http://h/a%20http://h/b&referrer=http://r/",
         {"new http://h/a http://h/b from http://r/"}},
        {"fluvane:add?url=http://h/p[1-2]&referrer=x", {"new http://h/p1 http://h/p2"}},
        {"fluvane://SHOW", {"downloads"}},
        {"fluvane://settings?pane=Files&pane=rules", {"settings files"}},
        {"fluvane://quit", {}},
    };
    const auto before = engine.manager->downloads().size();
    for (const auto& [text, asked] : links) {
        EXPECT_TRUE(withWindows.open(link(text)).ok);
        EXPECT_EQ(std::exchange(windows.asked, {}), asked) << text;
    }
    EXPECT_TRUE(withWindows.act("pause-all").ok);
    EXPECT_EQ(engine.state(1_id), "paused");
    EXPECT_TRUE(withWindows.open(std::vector<std::string>{"http://h/x", "fluvane://show"}).ok);
    EXPECT_EQ(windows.asked, (std::vector<std::string>{"downloads", "new http://h/x"}));
    EXPECT_EQ(withWindows.open({"", "/nowhere/at all", "file:", "\xff"}).text, "No links found.");
    EXPECT_EQ(withWindows.open({"http://h/d", std::string(1'100'000, 'x')}).text, "That's too much at once.");
    EXPECT_EQ(engine.manager->downloads().size(), before) << "nothing downloads unasked";
}

} // namespace
} // namespace fluvane
