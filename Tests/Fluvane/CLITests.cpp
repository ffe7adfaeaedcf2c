// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Client/CLI.h"
#include "Fluvane/Client/DataFolders.h"
#include "Fluvane/Client/Usage.h"
#include "Sockets.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <thread>

namespace fluvane {
namespace {

using support::TemporaryFolder;
using Arguments = std::vector<std::string>;

/// A world in which nobody answers until told otherwise.
struct World {
    std::vector<Arguments> sent{};
    std::optional<cli::Answer> answer{};
    std::size_t answersFrom = 0; ///< The number of tries that nobody answers.
    bool launches = false;
    int launched = 0;
    int slept = 0;
    std::string output{}, error{};
    std::error_code lost{}; ///< What became of the output.

    int run(const Arguments& arguments) {
        const auto send = [this](const Arguments& list) {
            sent.push_back(list);
            return sent.size() > answersFrom ? answer : std::nullopt;
        };
        const auto launch = [this] { return ++launched > 0 && launches; };
        return cli::run(arguments, {send, launch, [this](auto) { ++slept; },
                                    [this](auto text) { return output += text, lost; },
                                    [this](auto text) { error += text; }});
    }
};

TEST(CLI, AnswersDecideOutputAndStatus) {
    struct Row {
        const char* name;
        Arguments arguments;
        std::optional<cli::Answer> answer{};
        int status;
        const char* output;
        const char* error;
        std::errc lost{};
    };
    const Row rows[] = {
        {"text", {"list"}, cli::Answer{true, "[]"}, 0, "[]\n", ""},
        {"nothing to say", {"pause", "1"}, cli::Answer{true, ""}, 0, "", ""},
        {"refused", {"pause"}, cli::Answer{false, "No."}, 1, "", "No.\n"},
        {"capitals", {"LIST"}, cli::Answer{true, "[]"}, 0, "[]\n", ""},
        {"nobody", {"list"}, std::nullopt, 1, "", "Fluvane isn't running.\n"},
        {"full disk",
         {"list"},
         cli::Answer{true, "[]"},
         1,
         "[]\n",
         "Couldn't write the output: No space left on device\n",
         std::errc::no_space_on_device},
        {"reader gone", {"list"}, cli::Answer{true, "[]"}, 1, "[]\n", "", std::errc::broken_pipe},
    };
    for (const Row& row : rows) {
        World world;
        world.answer = row.answer;
        world.lost = make_error_code(row.lost);
        EXPECT_EQ(world.run(row.arguments), row.status) << row.name;
        EXPECT_EQ(world.output, row.output) << row.name;
        EXPECT_EQ(world.error, row.error) << row.name;
        EXPECT_EQ(world.launched, 0) << row.name;
    }
}

TEST(CLI, UnknownCommandsAndHelpAreNotSent) {
    World world;
    EXPECT_EQ(world.run({"Foo", "1"}), 2);
    EXPECT_EQ(world.error, "Unknown command 'Foo'. Try: fluvane help\n");
    EXPECT_EQ(world.run({""}), 2);
    for (const char* help : {"help", "HELP", "--help", "-h"}) {
        world.output.clear();
        EXPECT_EQ(world.run({help}), 0);
        EXPECT_EQ(world.output, usageText() + "\n") << help;
    }
    for (const char* part :
         {"Usage: fluvane <command>\n\nDownloads:\n  add <link|file>… [--to <folder>] [--checksum <hash>]\n"
          "                 Download links,",
          "number\n  pause <n|all>  Pause", "\n  resume <n|all> Resume (", "\n  link <n> <link>  Give",
          "with its report\n\nHelp:\n  log            Print", "in a file\n\nLinks work too"}) {
        EXPECT_NE(world.output.find(part), std::string::npos) << part;
    }
    EXPECT_TRUE(world.sent.empty());
}

TEST(CLI, StartsTheApplicationOnlyForWhatOpensSomething) {
    for (const char* command : {"add", "show", "settings", "welcome", "whats-new"}) {
        World world{.answer = cli::Answer{true, "there"}, .answersFrom = 3, .launches = true};
        EXPECT_EQ(world.run({command}), 0) << command;
        EXPECT_EQ(world.launched, 1) << command;
        EXPECT_EQ(world.slept, 3) << command;
    }
    World refused;
    EXPECT_EQ(refused.run({"add", "x"}), 1);
    EXPECT_EQ(refused.sent.size(), 1u);
    World silent{.launches = true};
    EXPECT_EQ(silent.run({"add", "x"}), 1);
    EXPECT_EQ(silent.sent.size(), 51u);
    EXPECT_EQ(silent.error, "Fluvane isn't running.\n");
}

TEST(CLI, MakesPathsAbsolute) {
    const TemporaryFolder folder;
    support::writeFile(folder / "part.txt", "x");
    std::filesystem::create_directory(folder / "sub");
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    const std::string here = folder / "";
    const std::string home = dataFolders::home();
    struct Row {
        const char* name;
        Arguments typed;
        Arguments sent;
    };
    const Row rows[] = {
        {"command", {"LiSt", "X"}, {"list", "X"}},
        {"existing file", {"add", "part.txt"}, {"add", here + "part.txt"}},
        {"dots", {"add", "sub/.././part.txt"}, {"add", here + "part.txt"}},
        {"missing file", {"add", "other.txt"}, {"add", "other.txt"}},
        {"link", {"add", "http://h/part.txt"}, {"add", "http://h/part.txt"}},
        {"folder", {"add", "x", "--to", "new/"}, {"add", "x", "--to", here + "new"}},
        {"two folders", {"add", "--to", "a", "--to", "b"}, {"add", "--to", here + "a", "--to", here + "b"}},
        {"home", {"add", "--to", "~/d"}, {"add", "--to", home + "/d"}},
        {"nobody's home", {"export", "~no-such-user/f"}, {"export", here + "~no-such-user/f"}},
        {"last word", {"add", "--to"}, {"add", "--to"}},
        {"export", {"export", "missing"}, {"export", here + "missing"}},
        {"export to nowhere", {"export"}, {"export"}},
        {"import", {"import", "../x", "y"}, {"import", before.root_path().string() + "tmp/x", "y"}},
        {"snapshot", {"snapshot", ".", "p"}, {"snapshot", folder.path(), "p"}},
        {"others", {"link", "1", "part.txt"}, {"link", "1", "part.txt"}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(cli::rewritten(row.typed), row.sent) << row.name;
    }
    std::filesystem::current_path(before);
}

TEST(DataFolders, FollowTheBaseDirectoryVariables) {
    const std::string home = getenv("HOME") ? getenv("HOME") : "";
    setenv("HOME", "/home/u", 1);
    const std::string usual = "/home/u/.local/share/Fluvane/control.sock";
    const std::pair<const char*, std::string> rows[] = {
        {nullptr, usual}, {"", usual}, {"relative", usual}, {"/data/", "/data/Fluvane/control.sock"}};
    for (const auto& [value, socket] : rows) {
        value ? setenv("XDG_DATA_HOME", value, 1) : unsetenv("XDG_DATA_HOME");
        EXPECT_EQ(dataFolders::controlSocket(), socket) << (value ? value : "unset");
    }
    unsetenv("XDG_DATA_HOME");
    setenv("HOME", home.c_str(), 1);
}

/// The request that reaches a server, and what the client makes of its reply.
std::pair<std::string, std::optional<cli::Answer>> sendTo(const std::string& reply,
                                                          const Arguments& arguments) {
    const TemporaryFolder folder;
    const auto listener = support::listening(folder / "s", 1);
    std::string request;
    std::thread server([&] {
        const controlSocket::Descriptor client(accept(listener.get(), nullptr, nullptr));
        char chunk[4096];
        for (ssize_t count = 0; (count = read(client.get(), chunk, sizeof chunk)) > 0;) {
            request.append(chunk, static_cast<std::size_t>(count));
        }
        controlSocket::writeAll(client.get(), reply);
    });
    const auto answer = cli::send(arguments, folder / "s");
    server.join();
    return {request, answer};
}

TEST(CLI, ReadsReplies) {
    const std::string big(3'000'000, 'x');
    struct Row {
        const char* name;
        std::string reply;
        std::string answer; ///< "none", or whether it went well and the text.
    };
    const Row rows[] = {
        {"empty success", "ok\n", "1"},
        {"text", "ok\ntwo\nlines", "1two\nlines"},
        {"error", "error\nNo.", "0No."},
        {"another status", "OK\nx", "0x"},
        {"no line feed", "ok", "none"},
        {"nothing", "", "none"},
        {"broken text", "ok\n\xff\xe2\x82|\xed\xa0\x80|…", "1\uFFFD\uFFFD|\uFFFD\uFFFD\uFFFD|…"},
        {"big", "ok\n" + big, "1" + big},
    };
    for (const Row& row : rows) {
        const auto [request, answer] = sendTo(row.reply, {"add", "\"…\n"});
        EXPECT_TRUE((answer ? std::to_string(answer->ok) + answer->text : "none") == row.answer) << row.name;
        EXPECT_EQ(request, R"(["add","\"…\n"])") << row.name;
    }
}

TEST(CLI, NobodyThereIsNoAnswer) {
    const TemporaryFolder folder;
    EXPECT_FALSE(cli::canBeSent({"add", "--to", "\xe4"}));
    EXPECT_FALSE(cli::send({"list"}, folder / "none"));
    EXPECT_FALSE(cli::send({"list"}, "/" + std::string(103, 'x')));
    EXPECT_TRUE(controlSocket::address("/" + std::string(102, 'x')));
    EXPECT_FALSE(controlSocket::address("/" + std::string(103, 'x')));
    support::writeFile(folder / "file", "no socket");
    EXPECT_FALSE(cli::send({"list"}, folder / "file"));
}

TEST(CLI, AFullBacklogIsWaitedFor) {
    const TemporaryFolder folder;
    const std::string path = folder / "s";
    const auto listener = support::listening(path, 0);
    support::RawClient first(path); // fills the backlog
    std::optional<cli::Answer> answer{};
    std::thread client([&] { answer = cli::send({"list"}, path); });
    controlSocket::Descriptor(accept(listener.get(), nullptr, nullptr)).reset();
    const controlSocket::Descriptor second(accept(listener.get(), nullptr, nullptr));
    controlSocket::writeAll(second.get(), "ok\nin the end");
    shutdown(second.get(), SHUT_WR);
    client.join();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->text, "in the end");
}

} // namespace
} // namespace fluvane
