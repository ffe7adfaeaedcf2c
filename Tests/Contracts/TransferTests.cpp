// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// What every Transfer promises, on the fake one and on one that fetches from a server alike.

#include "FluvaneTransport/TransportFixture.h"
#include "Support/FakeTransport.h"
#include "Support/ManualScheduler.h"

#include <atomic>
#include <latch>

namespace fluvane::support {

namespace {

struct Fake {
    ManualScheduler scheduler;
    FakeTransport transport{scheduler};
    std::string url = "http://a.example/f";
    std::int64_t left = 0;

    void awaitRequest() {}
    void answer(std::int64_t size) {
        left = size;
        transport.last().respond(200, {{"Content-Length", std::to_string(size)}});
    }
    void answerUnseen(std::int64_t size) {
        scheduler.after(0, [this, size] { answer(size); });
    }
    void send(std::int64_t from, std::int64_t to) {
        transport.last().writesOnCancel = 5; // the bytes that are under way when it is cancelled
        transport.last().send(to - from);
        left -= to - from;
        if (left == 0) {
            transport.last().finish();
        }
    }
    void sendInVain() { send(0, left); }
    bool runUntil(const std::function<bool()>& condition) { return scheduler.runUntilTrue(condition); }
    void runPending() { scheduler.runTurns(); }
};

/// Its server does what the test tells it, one thing after the other.
struct Session {
    TestQueue queue;
    SessionTransport transport{queue};
    TestQueue steps;
    std::atomic<ScriptedServer::Client*> client = nullptr; ///< The server's own, of the newest connection.
    ScriptedServer server{[this](ScriptedServer::Client& connected) {
        connected.readRequest();
        client = &connected;
        steps.runUntil([this] { return !client; });
    }};
    std::string url = server.url("/f");
    std::size_t requests = 0;

    ~Session() {
        steps.post([this] { client = nullptr; });
    }

    void awaitRequest() {
        ++requests;
        EXPECT_TRUE(runUntil([&] { return server.requests().size() == requests; }));
    }
    void answer(std::int64_t size) {
        steps.post([this, size] {
            client.load()->send("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n");
        });
    }
    void answerUnseen(std::int64_t size) {
        answer(size);
        EXPECT_TRUE(queue.waitForWork());
    }
    void send(std::int64_t from, std::int64_t to) {
        steps.post([=, this] { client.load()->send(content(from, to)); });
    }
    /// Sends more, and returns once the client has closed.
    void sendInVain() {
        std::latch closed(1);
        send(0, 1000);
        steps.post([&] {
            client.load()->waitForClose();
            client = nullptr;
            closed.count_down();
        });
        closed.wait();
    }
    /// Looks again and again: not every change is an event.
    bool runUntil(const std::function<bool()>& condition) {
        for (int times = 0; times < 2000 && !condition(); ++times) {
            queue.runUntil(condition, std::chrono::milliseconds(10));
        }
        return condition();
    }
    void runPending() { queue.runPending(); }
};

} // namespace

template <class System>
class TransferContract : public testing::Test {
protected:
    static constexpr std::int64_t size = 1000;

    void start() {
        fetch.transfer = system.transport.start({.url = *URL::parse(system.url), .label = "test"},
                                                [this](const auto& event) { fetch.events.push_back(event); });
        EXPECT_TRUE(fetch.events.empty()) << "told inside the call";
        system.awaitRequest();
    }
    void answer() {
        system.answer(size);
        EXPECT_TRUE(system.runUntil([&] { return fetch.response(); }));
    }
    void accept(std::int64_t at_, std::optional<std::int64_t> end) {
        at = at_;
        fetch.transfer->accept(fetch.file, at, end);
        EXPECT_EQ(fetch.events.size(), 1U) << "told inside the call";
    }
    /// Has the server send these, and waits until `writes` of them are written.
    void send(std::int64_t count, std::int64_t writes) {
        const auto before = fetch.transfer->position();
        system.send(before, before + count);
        EXPECT_TRUE(system.runUntil([&] { return fetch.transfer->position() == before + writes; }));
        expectWritten(before + writes);
    }
    void send(std::int64_t count) { send(count, count); }
    void setEnd(std::int64_t end) {
        const auto before = fetch.events.size();
        fetch.transfer->setEnd(end);
        EXPECT_EQ(fetch.events.size(), before) << "told inside the call";
    }
    void expectWritten(std::int64_t position) {
        EXPECT_EQ(fetch.transfer->position(), position);
        EXPECT_EQ(fetch.file->contents(),
                  position == at ? ""
                                 : std::string(static_cast<std::size_t>(at), '.') + content(at, position));
    }
    std::string outcome() {
        EXPECT_TRUE(system.runUntil([&] { return fetch.ended(); }));
        return fetch.outcome();
    }
    /// From now on nothing is told and nothing written, whatever the server sends.
    void expectSilence() {
        const auto events = fetch.events.size();
        const auto written = fetch.file->contents();
        system.sendInVain();
        system.runPending();
        EXPECT_EQ(fetch.events.size(), events);
        EXPECT_EQ(fetch.file->contents(), written);
    }

    System system;
    Fetch fetch;
    std::int64_t at = 0;
};

using Transports = testing::Types<Fake, Session>;
TYPED_TEST_SUITE(TransferContract, Transports);

TYPED_TEST(TransferContract, TellsOneAnswerThenProgressThenOneEnd) {
    this->start();
    this->answer();
    EXPECT_EQ(this->fetch.response()->status(), 200);
    EXPECT_EQ(this->fetch.response()->contentLength(), this->size);
    this->expectWritten(0);
    this->accept(100, std::nullopt);
    this->expectWritten(100);
    this->send(400);
    EXPECT_TRUE(this->system.runUntil([&] { return this->fetch.template last<TransferEvent::Progress>(); }));
    EXPECT_EQ(this->fetch.template last<TransferEvent::Progress>()->written, 400);
    this->system.send(500, 1100);
    EXPECT_EQ(this->outcome(), "finished 1000");
    this->expectWritten(1100);
    this->fetch.transfer->setEnd(0);
    this->fetch.transfer->cancel();
    this->system.runPending();
    EXPECT_TRUE(std::holds_alternative<TransferResponse>(this->fetch.events.front().value));
    for (std::size_t index = 1; index + 1 < this->fetch.events.size(); ++index) {
        EXPECT_TRUE(std::holds_alternative<TransferEvent::Progress>(this->fetch.events[index].value));
    }
    EXPECT_TRUE(this->fetch.ended());
}

TYPED_TEST(TransferContract, NothingPastTheEndIsWritten) {
    for (const std::int64_t end : {17, 7, 3}) { // to come, there already, passed
        const auto length = std::max<std::int64_t>(end - 7, 0);
        this->fetch = Fetch();
        this->start();
        this->answer();
        this->accept(7, end);
        if (length > 0) {
            this->send(this->size - 100, length);
        }
        EXPECT_EQ(this->outcome(), "finished " + std::to_string(length));
        this->expectSilence();
    }
}

TYPED_TEST(TransferContract, TheEndMoves) {
    for (const std::int64_t last : {30, 20}) {
        this->fetch = Fetch();
        this->start();
        this->answer();
        this->accept(0, 15);
        this->send(10);
        this->setEnd(50); // away from it
        this->send(20);
        this->setEnd(40); // towards it
        this->system.runPending();
        EXPECT_FALSE(this->fetch.ended());
        this->setEnd(last); // onto what is written
        EXPECT_EQ(this->outcome(), "finished 30");
        this->setEnd(10);
        this->expectSilence();
    }
}

TYPED_TEST(TransferContract, SaysAndCountsNothingAfterACancel) {
    enum Stage { asked, answered, accepted, ended };
    for (const int stage : {asked, answered, accepted, ended}) {
        for (const bool dropped : {false, true}) {
            SCOPED_TRACE(std::to_string(stage) + (dropped ? ", dropped" : ""));
            this->fetch = Fetch();
            this->start();
            stage >= answered ? this->answer() : this->system.answerUnseen(this->size);
            if (stage >= accepted) {
                this->accept(0, std::nullopt);
                this->send(100);
            }
            if (stage >= ended) { // and it isn't told yet
                this->setEnd(50);
            }
            if (dropped) {
                this->fetch.transfer = nullptr;
            } else {
                const auto position = this->fetch.transfer->position();
                this->fetch.transfer->cancel();
                this->fetch.transfer->cancel();
                EXPECT_EQ(this->fetch.transfer->position(), position);
            }
            this->expectSilence();
        }
    }
}

TYPED_TEST(TransferContract, AFailedWriteIsTheEnd) {
    this->fetch.file->hook = [writes = 0]() mutable {
        if (++writes > 1) {
            throw FileError("No space left on device");
        }
    };
    this->start();
    this->answer();
    this->accept(0, std::nullopt);
    this->send(10);
    this->system.send(10, 20);
    EXPECT_EQ(this->outcome(), "failed 10: Couldn't write to the file: No space left on device");
    this->expectWritten(10);
    this->expectSilence();
}

} // namespace fluvane::support
