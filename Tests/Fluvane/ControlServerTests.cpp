// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Client/CLI.h"
#include "Fluvane/Commands/ControlConnection.h"
#include "Fluvane/Commands/ControlRequest.h"
#include "Fluvane/Commands/ControlServer.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/stat.h>

#include <future>

namespace fluvane {
namespace {

using support::TemporaryFolder;
using namespace std::chrono_literals;

/// A client of the control socket that does what it is told rather than what is right.
class RawClient {
public:
    explicit RawClient(const std::string& path) : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const auto address = controlSocket::address(path).value();
        EXPECT_EQ(connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        const timeval patience{.tv_sec = 10, .tv_usec = 0};
        setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }
    RawClient& write(std::string_view bytes) {
        controlSocket::writeAll(socket_.get(), bytes);
        return *this;
    }
    RawClient& end() {
        shutdown(socket_.get(), SHUT_WR);
        return *this;
    }

    /// Everything up to the end of the input; a reset or ten silent seconds fail the test.
    std::string readAll() {
        std::string result;
        char chunk[4096];
        ssize_t count = 0;
        while ((count = ::read(socket_.get(), chunk, sizeof chunk)) > 0) {
            result.append(chunk, static_cast<std::size_t>(count));
        }
        EXPECT_EQ(count, 0) << "reset or silent; so far: " << result;
        return result;
    }

private:
    controlSocket::Descriptor socket_;
};

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
    EXPECT_EQ(joined(parseRequest(" [ \"a\" ,\n\"\\u00e9\\ud83d\\ude00\" ] \n").value()), "a|é😀|");
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
    EXPECT_EQ(ask(R"(["é\n\u202e\u009b\udb40\udc41"])"), "ok\né\n\\u202e\\u009b\\udb40\\udc41|");
    EXPECT_EQ(ask(R"(["fail"])"), "error\nfail|");
    EXPECT_EQ(ask("[1]"), refusal);
    for (const std::size_t beyond : {1'000U, 3'000'000U}) { // which waits unread, or isn't even sent yet
        RawClient endless(path);
        endless.write("[\"x").write(std::string(controlSocket::requestLimit + beyond, 'x')).end();
        EXPECT_EQ(endless.readAll(), refusal) << "cut, but told";
    }
    const auto answer = cli::send({"x", std::string(700'000, 'y')}, path);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->text.size(), 700'003u);
    EXPECT_FALSE(cli::send({"fail"}, path)->ok);
}

TEST_F(ControlServerTest, SlowClientsHoldNobodyUp) {
    server.receiveTimeout = 1s;
    server.start();
    RawClient silent(path);
    RawClient unfinished(path);
    unfinished.write(R"(["done"])"); // but never ends its side
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(ask(R"(["quick"])"), "ok\nquick|");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s);
    EXPECT_EQ(unfinished.readAll(), "ok\ndone|");
    EXPECT_EQ(silent.readAll(), refusal);
}

TEST_F(ControlServerTest, LateRepliesReachTheirClientOrNobody) {
    server.start();
    const std::string text(1'000'000, 'x');
    RawClient(path).write(R"(["later"])").end();
    waiting.get_future().get()({.ok = true, .text = text});
    waiting = {};

    RawClient patient(path);
    patient.write(R"(["later"])").end();
    const auto completion = waiting.get_future().get();
    EXPECT_EQ(ask(R"(["meanwhile"])"), "ok\nmeanwhile|");
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
    support::writeFile(path, "stale");
    server.start();
    EXPECT_EQ(ask(R"(["again"])"), "ok\nagain|");
}

} // namespace
} // namespace fluvane
