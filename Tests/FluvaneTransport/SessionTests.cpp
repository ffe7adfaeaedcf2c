// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "TransportFixture.h"

#include <gmock/gmock.h>

namespace fluvane::support {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

ScriptedServer::Script answering(std::vector<std::string> answers) {
    return [answers = std::move(answers)](ScriptedServer::Client& client) {
        for (const auto& answer : answers) {
            client.readRequest();
            client.send(answer);
        }
    };
}

std::string refusal(const std::string& challenge) {
    return "HTTP/1.1 401 No\r\nWWW-Authenticate: " + challenge + "\r\nContent-Length: 3\r\n\r\nno!";
}

SharedSession sessionFor(const std::string& link) {
    Session session{.cookies = {{.name = "all", .value = "c1", .domain = "127.0.0.1", .hostOnly = true},
                                {.name = "sub", .value = "c2", .domain = "127.0.0.1", .path = "/sub"},
                                {.name = "there", .value = "c3", .domain = "localhost"},
                                {.name = "tabbed", .value = "x\tTRUE", .domain = "127.0.0.1"},
                                {.name = "two", .value = "x; y=z", .domain = "127.0.0.1"},
                                {.name = "over", .value = "x", .domain = "127.0.0.1", .expires = 5}},
                    .userAgent = "Browser/1",
                    .headers = {{"X-Key", "secret"}, {"X-Empty", ""}},
                    .login = Login{.user = "me", .password = "pass"},
                    .origin = URL::parse(link)->origin()};
    return std::make_shared<const Session>(std::move(session));
}

/// "me:pass"
constexpr const char* basic = "Authorization: Basic bWU6cGFzcw==\r\n";

} // namespace

TEST_F(TransportTest, ASessionGoesWhereItBelongsAndNowhereElse) {
    ScriptedServer other(answering({ok("body"), ok("body")}));
    const auto there = other.url("/there", "localhost");
    ScriptedServer own(answering(
        {refusal("Basic realm=x"), "HTTP/1.1 302 Found\r\nLocation: /sub/a\r\nContent-Length: 0\r\n\r\n",
         "HTTP/1.1 302 Found\r\nLocation: " + there + "\r\nContent-Length: 0\r\n\r\n"}));
    const auto session = sessionFor(own.url("/"));
    auto fetch = start({.url = *URL::parse(own.url("/file")), .from = 0, .session = session});
    EXPECT_EQ(run(*fetch), "finished 4");
    EXPECT_THAT(own.requests().at(0), AllOf(HasSubstr("Cookie: all=c1\r\n"), HasSubstr("X-Key: secret\r\n"),
                                            HasSubstr("X-Empty:\r\n"), Not(HasSubstr("Authorization"))));
    EXPECT_THAT(own.requests().at(1), HasSubstr(basic));
    EXPECT_THAT(own.requests().at(2), AllOf(HasSubstr("sub=c2"), HasSubstr("all=c1"), HasSubstr(basic),
                                            HasSubstr("X-Key: secret\r\n"), Not(HasSubstr("over="))));
    const auto isStranger =
        AllOf(HasSubstr("Cookie: there=c3\r\n"), HasSubstr("User-Agent: Browser/1\r\n"),
              HasSubstr("Range: bytes=0-\r\n"), Not(HasSubstr("X-")), Not(HasSubstr("Authorization")));
    EXPECT_THAT(other.requests().at(0), isStranger);
    // As the engine asks for pieces: straight.
    EXPECT_EQ(run(*start({.url = *URL::parse(there), .from = 0, .session = session})), "finished 4");
    EXPECT_THAT(other.requests().at(1), isStranger);
    ScriptedServer otherPort(answering({ok("body")}));
    EXPECT_EQ(run(*start({.url = *URL::parse(otherPort.url("/")), .session = session})), "finished 4");
    EXPECT_THAT(otherPort.requests().at(0), AllOf(Not(HasSubstr("X-")), Not(HasSubstr("Authorization"))));
}

TEST_F(TransportTest, ALoginAnswersWhatTheServerAsksFor) {
    ScriptedServer server([](ScriptedServer::Client& client) {
        for (auto request = client.readRequest(); !request.empty(); request = client.readRequest()) {
            const bool isDigest = request.starts_with("GET /digest");
            const bool isIn =
                request.find(isDigest ? "Authorization: Digest username=\"me\"" : basic) != std::string::npos;
            const bool mayBe = isIn && !request.starts_with("GET /no");
            client.send(mayBe ? ok("body") : refusal(isDigest ? "Digest realm=x, nonce=\"n\"" : "Basic"));
        }
    });
    const auto session = sessionFor(server.url("/"));
    const auto get = [&](const std::string& path) {
        auto fetch = start({.url = *URL::parse(server.url(path)), .session = session});
        const auto outcome = run(*fetch);
        return std::to_string(fetch->response()->status()) + " " + outcome + " after " +
               std::to_string(server.requests().size());
    };
    EXPECT_EQ(get("/digest"), "200 finished 4 after 2");
    EXPECT_EQ(get("/basic"), "200 finished 4 after 4");
    EXPECT_EQ(get("/basic"), "200 finished 4 after 5") << "at once, now that the server has asked for it";
    EXPECT_EQ(get("/no"), "401 finished 3 after 6");
}

} // namespace fluvane::support
