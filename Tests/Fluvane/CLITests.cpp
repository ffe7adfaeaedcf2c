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
    std::optional<CLI::Answer> answer{};
    std::size_t answersFrom = 0; ///< The number of tries that nobody answers.
    bool launches = false;
    int launched = 0;
    int slept = 0;
    std::string output{}, error{};

    int run(const Arguments& arguments) {
        return CLI::run(arguments, {
                                       .send =
                                           [this](const Arguments& list) {
                                               sent.push_back(list);
                                               return sent.size() > answersFrom ? answer : std::nullopt;
                                           },
                                       .launch =
                                           [this] {
                                               ++launched;
                                               return launches;
                                           },
                                       .sleep = [this](auto) { ++slept; },
                                       .output = [this](auto text) { output += text; },
                                       .error = [this](auto text) { error += text; },
                                   });
    }
};

TEST(CLI, AnswersDecideOutputAndStatus) {
    struct Row {
        const char* name;
        Arguments arguments;
        std::optional<CLI::Answer> answer{};
        int status;
        const char* output;
        const char* error;
    };
    const Row rows[] = {
        {"text", {"list"}, CLI::Answer{true, "[]"}, 0, "[]\n", ""},
        {"nothing to say", {"pause", "1"}, CLI::Answer{true, ""}, 0, "", ""},
        {"refused", {"pause"}, CLI::Answer{false, "No."}, 1, "", "No.\n"},
        {"capitals", {"LIST"}, CLI::Answer{true, "[]"}, 0, "[]\n", ""},
        {"nobody", {"list"}, std::nullopt, 1, "", "Fluvane isn't running.\n"},
    };
    for (const Row& row : rows) {
        World world;
        world.answer = row.answer;
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
        EXPECT_EQ(world.output, std::string(usageText()) + "\n") << help;
    }
    EXPECT_TRUE(world.sent.empty());
}

TEST(CLI, StartsTheApplicationOnlyForWhatOpensSomething) {
    for (const char* command : {"add", "show", "settings", "welcome", "whats-new"}) {
        World world{.answer = CLI::Answer{true, "there"}, .answersFrom = 3, .launches = true};
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
    std::ofstream(folder.path + "/part.txt") << "x";
    std::filesystem::create_directory(folder.path + "/sub");
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path);
    const std::string here = folder.path + "/";
    const std::string home = DataFolders::home();
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
        {"snapshot", {"snapshot", ".", "p"}, {"snapshot", folder.path, "p"}},
        {"others", {"link", "1", "part.txt"}, {"link", "1", "part.txt"}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(CLI::rewritten(row.typed), row.sent) << row.name;
    }
    std::filesystem::current_path(before);
}

TEST(DataFolders, FollowTheBaseDirectoryVariables) {
    const std::string home = getenv("HOME") ? getenv("HOME") : "";
    setenv("HOME", "/home/u", 1);
    struct Row {
        const char* name;
        const char* value;
        const char* socket;
    };
    const Row rows[] = {
        {"unset", nullptr, "/home/u/.local/share/Fluvane/control.sock"},
        {"empty", "", "/home/u/.local/share/Fluvane/control.sock"},
        {"relative", "share", "/home/u/.local/share/Fluvane/control.sock"},
        {"absolute", "/data/", "/data/Fluvane/control.sock"},
    };
    for (const Row& row : rows) {
        row.value ? setenv("XDG_DATA_HOME", row.value, 1) : unsetenv("XDG_DATA_HOME");
        EXPECT_EQ(DataFolders::controlSocket(), row.socket) << row.name;
    }
    unsetenv("XDG_DATA_HOME");
    setenv("HOME", home.c_str(), 1);
}

/// A server of one connection that answers with fixed bytes, whatever it is asked.
std::optional<CLI::Answer> sendTo(const std::string& reply, const Arguments& arguments,
                                  std::string* request) {
    const TemporaryFolder folder;
    const std::string path = folder.path + "/s";
    const auto address = ControlSocket::address(path).value();
    const ControlSocket::Descriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    EXPECT_EQ(bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(listener.get(), 1), 0);
    std::thread server([&] {
        const ControlSocket::Descriptor client(accept(listener.get(), nullptr, nullptr));
        char chunk[4096];
        for (ssize_t count = 1; count > 0;) {
            count = read(client.get(), chunk, sizeof chunk);
            request->append(chunk, count > 0 ? static_cast<std::size_t>(count) : 0);
        }
        ControlSocket::writeAll(client.get(), reply);
    });
    const auto answer = CLI::send(arguments, path);
    server.join();
    return answer;
}

TEST(CLI, ReadsReplies) {
    struct Row {
        const char* name;
        std::string reply;
        std::optional<std::pair<bool, std::string>> answer;
    };
    const Row rows[] = {
        {"empty success", "ok\n", {{true, ""}}},
        {"text", "ok\ntwo\nlines", {{true, "two\nlines"}}},
        {"error", "error\nNo.", {{false, "No."}}},
        {"another status", "OK\nx", {{false, "x"}}},
        {"no line feed", "ok", std::nullopt},
        {"nothing", "", std::nullopt},
        {"broken text",
         "ok\n\xff\xe2\x82|\xed\xa0\x80|\xe2\x80\xa6",
         {{true, "\uFFFD\uFFFD\uFFFD|\uFFFD\uFFFD\uFFFD|…"}}},
        {"big", "ok\n" + std::string(3'000'000, 'x'), {{true, std::string(3'000'000, 'x')}}},
    };
    for (const Row& row : rows) {
        std::string request;
        const auto answer = sendTo(row.reply, {"list"}, &request);
        EXPECT_EQ(answer.has_value(), row.answer.has_value()) << row.name;
        if (answer && row.answer) {
            EXPECT_EQ(answer->ok, row.answer->first) << row.name;
            EXPECT_TRUE(answer->text == row.answer->second) << row.name;
        }
        EXPECT_EQ(request, R"(["list"])") << row.name;
    }
    std::string request;
    EXPECT_TRUE(sendTo("ok\n", {"add", "\"…\n"}, &request));
    EXPECT_EQ(request, "[\"add\",\"\\\"…\\n\"]");
}

TEST(CLI, NobodyThereIsNoAnswer) {
    const TemporaryFolder folder;
    EXPECT_FALSE(CLI::canBeSent({"add", "--to", "\xe4"}));
    EXPECT_FALSE(CLI::send({"list"}, folder.path + "/none"));
    EXPECT_FALSE(CLI::send({"list"}, "/" + std::string(103, 'x')));
    EXPECT_TRUE(ControlSocket::address("/" + std::string(102, 'x')));
    EXPECT_FALSE(ControlSocket::address("/" + std::string(103, 'x')));
    std::ofstream(folder.path + "/file") << "no socket";
    EXPECT_FALSE(CLI::send({"list"}, folder.path + "/file"));
}

TEST(CLI, AFullBacklogIsWaitedFor) {
    const TemporaryFolder folder;
    const std::string path = folder.path + "/s";
    const auto address = ControlSocket::address(path).value();
    const ControlSocket::Descriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener.get(), 0), 0);
    support::RawClient first(path); // fills the backlog
    std::optional<CLI::Answer> answer{};
    std::thread client([&] { answer = CLI::send({"list"}, path); });
    ControlSocket::Descriptor(accept(listener.get(), nullptr, nullptr)).reset();
    const ControlSocket::Descriptor second(accept(listener.get(), nullptr, nullptr));
    ControlSocket::writeAll(second.get(), "ok\nin the end");
    shutdown(second.get(), SHUT_WR);
    client.join();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->text, "in the end");
}

} // namespace
} // namespace fluvane
