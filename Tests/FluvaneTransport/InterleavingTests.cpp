// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "TransportFixture.h"

#include <random>

namespace fluvane::support {

namespace {

const std::string body = [] {
    std::string text(300'000, ' ');
    std::minstd_rand random(1);
    std::generate(text.begin(), text.end(), [&] { return static_cast<char>('a' + random() % 26); });
    return text;
}();

/// A transfer that the engine treats at random, and that checks everything it is told.
struct Treated : Fetch {
    std::int64_t end = static_cast<std::int64_t>(body.size());
    std::int64_t highestEnd = end;
    bool accepted = false;
    bool cancelled = false;
    int ends = 0;
    std::int64_t told = 0;

    void take(const TransferEvent& event, std::minstd_rand& random) {
        EXPECT_FALSE(cancelled);
        EXPECT_EQ(ends, 0);
        if (std::holds_alternative<TransferResponse>(event.value)) {
            EXPECT_TRUE(events.empty());
            answer(random);
        } else if (const auto* progress = std::get_if<TransferEvent::Progress>(&event.value)) {
            EXPECT_GE(progress->written, told);
            told = progress->written;
        } else {
            const auto* finished = std::get_if<TransferEvent::Finished>(&event.value);
            told = finished ? finished->written : std::get<TransferEvent::Failed>(event.value).written;
            EXPECT_EQ(told, accepted ? transfer->position() : 0);
            ++ends;
        }
        events.push_back(event);
    }

    void answer(std::minstd_rand& random) {
        if (random() % 8 == 0) {
            return cancel();
        }
        if (random() % 3 == 0) {
            end = highestEnd = static_cast<std::int64_t>(random() % body.size());
        }
        accepted = true;
        transfer->accept(file, 0, end);
    }

    void cancel() {
        transfer->cancel();
        cancelled = true;
    }

    void disturb(std::minstd_rand& random) {
        if (random() % 4 == 0) {
            cancel();
        } else if (accepted && ends == 0) {
            end = std::min<std::int64_t>(end, static_cast<std::int64_t>(random() % body.size()));
            transfer->setEnd(end);
        }
    }

    void check() const {
        EXPECT_TRUE(cancelled || ends == 1);
        const auto contents = file->contents();
        EXPECT_LE(static_cast<std::int64_t>(contents.size()), highestEnd);
        EXPECT_EQ(contents, body.substr(0, contents.size()));
        if (ends == 1) {
            EXPECT_EQ(static_cast<std::int64_t>(contents.size()), told);
        }
    }
};

} // namespace

TEST_F(TransportTest, KeepsItsPromisesWhateverTheOrder) {
    ScriptedServer server([](ScriptedServer::Client& client) {
        std::minstd_rand random(static_cast<unsigned>(client.number()));
        while (!client.readRequest().empty()) {
            if (random() % 10 == 0) {
                client.send(ok(body).substr(0, random() % body.size()));
                return random() % 2 == 0 ? client.reset() : void();
            }
            client.send(ok(body), 1 + random() % 40'000);
        }
    });
    std::minstd_rand random(7);
    std::vector<std::unique_ptr<Treated>> all;
    for (int i = 0; i < 300; ++i) {
        auto& treated = *all.emplace_back(std::make_unique<Treated>());
        treated.transfer = transport->start(
            {.url = *URL::parse(server.url("/")), .label = "test"},
            [&treated, &random](const TransferEvent& event) { treated.take(event, random); });
        if (random() % 10 == 0) {
            treated.cancel();
        }
        if (random() % 5 == 0) {
            transport->setSpeedLimit(random() % 2 == 0 ? std::optional<std::int64_t>(50'000'000)
                                                       : std::nullopt);
        }
        queue.runPending();
        all[random() % all.size()]->disturb(random);
    }
    transport->setSpeedLimit(std::nullopt);
    EXPECT_TRUE(queue.runUntil([&] {
        return std::all_of(all.begin(), all.end(),
                           [](const auto& one) { return one->cancelled || one->ends == 1; });
    }));
    transport = nullptr;
    queue.runPending();
    for (const auto& treated : all) {
        treated->check();
    }
}

} // namespace fluvane::support
