// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Client/CLI.h"
#include "Fluvane/Commands/ControlConnection.h"
#include "Fluvane/Commands/ControlRequest.h"
#include "Fluvane/Commands/ControlServer.h"
#include "Sockets.h"
#include "Support/TestQueue.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/stat.h>

#include <array>
#include <fstream>
#include <future>
#include <mutex>

namespace fluvane {
namespace {

using support::RawClient;
using support::TemporaryFolder;
using namespace std::chrono_literals;

class Inline : public MainQueue {
public:
    void post(std::function<void()> work) override { work(); }
};

std::string joined(const std::vector<std::string>& arguments) {
    std::string text;
    for (const auto& argument : arguments) {
        text += argument + "|";
    }
    return text;
}

/// A server that answers with its arguments; "later" waits for the test.
class ControlServerTest : public testing::Test {
protected:
    ControlServerTest()
        : server(path, queue, [this](auto arguments, auto completion) {
              if (joined(arguments) == "later|") {
                  waiting.set_value(completion);
              } else {
                  completion({.ok = arguments.empty() || arguments[0] != "fail", .text = joined(arguments)});
              }
          }) {}

    std::string ask(std::string_view request) { return RawClient(path).write(request).end().readAll(); }

    TemporaryFolder folder;
    std::string path = folder / "Fluvane/control.sock";
    Inline queue;
    std::promise<ReplyCompletion> waiting;
    ControlServer server;
};

constexpr const char* refusal = "error\nThat wasn't a command.";

TEST(ControlRequest, OnlyAnArrayOfStrings) {
    const std::pair<const char*, const char*> rows[] = {
        {R"(["add","http://h/a"])", "add|http://h/a|"},
        {" [ \"a\" ,\n\"b\" ] \n", "a|b|"},
        {"[]", ""},
        {R"(["\u00e9\ud83d\ude00"])", "é😀|"},
    };
    for (const auto& [text, arguments] : rows) {
        EXPECT_EQ(joined(parseRequest(text).value()), arguments);
    }
    const std::string refused[] = {
        "",           R"(["pause",1])",  R"({"a":"b"})",           R"(["list"]["list"])",
        "[\"\xff\"]", R"(["a\u0000b"])", std::string(500'000, '[')};
    for (const auto& text : refused) {
        EXPECT_FALSE(parseRequest(text)) << text.substr(0, 40);
    }
}

TEST_F(ControlServerTest, Answers) {
    server.start();
    server.start();
    EXPECT_EQ(ask(R"(["a","b"])"), "ok\na|b|");
    EXPECT_EQ(ask(R"(["fail"])"), "error\nfail|");
    EXPECT_EQ(ask("[]"), "ok\n");
    EXPECT_EQ(ask(""), refusal);
    EXPECT_EQ(ask("[1]"), refusal);
    for (const std::size_t beyond : {1'000U, 3'000'000U}) { // which waits unread, or isn't even sent yet
        RawClient endless(path);
        endless.write("[\"x").write(std::string(controlSocket::requestLimit + beyond, 'x')).end();
        EXPECT_EQ(endless.readAll(), refusal) << "cut, but told";
    }
    const auto answer = cli::send({"x", std::string(700'000, 'y')}, path);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->text.size(), 700'003u);
}

TEST_F(ControlServerTest, SlowClientsHoldNobodyUpAndAreTimedOverAll) {
    server.receiveTimeout = 1s;
    server.start();
    RawClient silent(path);
    RawClient unfinished(path);
    unfinished.write(R"(["done"])"); // but never ends its side
    RawClient dribbling(path);
    dribbling.write("[");
    std::promise<void> ended;
    std::thread dribble([&, end = ended.get_future()] {
        while (end.wait_for(20ms) == std::future_status::timeout) {
            dribbling.write(" "); // each within any time-out of a single read
        }
    });
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(ask(R"(["quick"])"), "ok\nquick|");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s);
    EXPECT_EQ(unfinished.readAll(), "ok\ndone|");
    EXPECT_EQ(silent.readAll(), refusal);
    EXPECT_EQ(dribbling.readAll(), refusal);
    ended.set_value();
    dribble.join();
}

TEST_F(ControlServerTest, ManyClientsAtOnce) {
    server.receiveTimeout = 1h;
    server.start();
    std::vector<RawClient> silent;
    for (int i = 0; i < 100; ++i) {
        silent.emplace_back(path); // more than there is room for
    }
    std::vector<std::future<std::optional<cli::Answer>>> answers;
    for (int i = 0; i < 40; ++i) {
        answers.push_back(
            std::async(std::launch::async, [&, i] { return cli::send({std::to_string(i)}, path); }));
    }
    for (int i = 0; i < 40; ++i) {
        const auto answer = answers[static_cast<std::size_t>(i)].get();
        ASSERT_TRUE(answer);
        EXPECT_EQ(answer->text, std::to_string(i) + "|");
    }
}

TEST_F(ControlServerTest, LateRepliesReachTheirClientOrNobody) {
    server.start();
    RawClient gone(path);
    gone.write(R"(["later"])").end();
    const auto forNobody = waiting.get_future().get();
    gone.close();
    forNobody({.ok = true, .text = std::string(1'000'000, 'x')});

    waiting = {};
    RawClient patient(path);
    patient.write(R"(["later"])").end();
    const auto completion = waiting.get_future().get();
    EXPECT_EQ(ask(R"(["meanwhile"])"), "ok\nmeanwhile|");
    const std::string text(1'000'000, 'x');
    completion({.ok = true, .text = text});
    completion({.ok = true, .text = "twice"}); // while the first is still being written
    EXPECT_TRUE(patient.readAll() == "ok\n" + text);
}

TEST_F(ControlServerTest, StopRemovesTheSocketAndLateRepliesComeToNothing) {
    server.start();
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, 0600u);
    RawClient client(path);
    client.write(R"(["later"])").end();
    const auto completion = waiting.get_future().get();
    server.stop();
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ(client.readAll(), "");
    completion({});
    server.start();
    EXPECT_EQ(ask(R"(["again"])"), "ok\nagain|");
}

TEST_F(ControlServerTest, WhatIsStillToBeDoneWhenItStopsIsLeft) {
    support::TestQueue later;
    bool done = false;
    ControlServer ending(folder / "socket", later, [&](auto&&...) { done = true; });
    ending.start();
    RawClient client(folder / "socket");
    client.write("[]").end();
    ASSERT_TRUE(later.waitForWork());
    ending.stop();
    later.runPending();
    EXPECT_FALSE(done);
}

TEST_F(ControlServerTest, TakesOverAStaleSocketAndGetsByWithoutOne) {
    std::filesystem::create_directories(folder / "Fluvane");
    support::writeFile(path, "stale");
    server.start();
    EXPECT_EQ(ask(R"(["a"])"), "ok\na|");

    ControlServer tooLong(folder / std::string(104, 'x'), queue, {});
    tooLong.start();
    EXPECT_FALSE(tooLong.listening());
}

} // namespace
} // namespace fluvane
