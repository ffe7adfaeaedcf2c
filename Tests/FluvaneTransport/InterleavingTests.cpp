// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "TransportFixture.h"

#include <algorithm>
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
    std::int64_t highestEnd = 0;
    bool cancelled = false;

    void take(const TransferEvent& event, std::minstd_rand& random) {
        EXPECT_FALSE(cancelled || ended());
        events.push_back(event);
        if (events.size() > 1 || !response()) {
            return;
        }
        if (random() % 8 == 0) {
            cancel();
        } else {
            highestEnd = static_cast<std::int64_t>(random() % body.size());
            transfer->accept(file, 0, highestEnd);
        }
    }
    void cancel() {
        transfer->cancel();
        cancelled = true;
    }
    void disturb(std::minstd_rand& random) {
        if (random() % 4 == 0) {
            cancel();
        } else if (highestEnd > 0) {
            transfer->setEnd(static_cast<std::int64_t>(random()) % highestEnd);
        }
    }
    void check() const {
        EXPECT_TRUE(cancelled || ended());
        const auto contents = file->contents();
        EXPECT_LE(static_cast<std::int64_t>(contents.size()), highestEnd);
        EXPECT_EQ(contents, body.substr(0, contents.size()));
        if (const auto* finished = last<TransferEvent::Finished>()) {
            EXPECT_EQ(static_cast<std::int64_t>(contents.size()), finished->written);
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
            transport->setSpeedLimit(1'000'000 * (1 + random() % 100));
        }
        queue.runPending();
        all[random() % all.size()]->disturb(random);
    }
    transport->setSpeedLimit(std::nullopt);
    EXPECT_TRUE(queue.runUntil([&] {
        return std::ranges::all_of(all, [](const auto& one) { return one->cancelled || one->ended(); });
    }));
    transport = nullptr;
    queue.runPending();
    for (const auto& treated : all) {
        treated->check();
    }
}

} // namespace fluvane::support
