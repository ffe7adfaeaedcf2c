// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Support/Engine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace fluvane::support {
namespace {

constexpr std::int64_t MiB = 1024 * 1024;

/// A file of 64 MiB from a server of which a row makes something that servers really do. With 1 MB/s for each
/// connection it takes some 13 s where nothing goes wrong.
struct Wild : Engine {
    Wild() {
        config.connections = 8;
        manager->apply(config);
        manager->start();
        server.size = 64 * MiB;
    }
    /// The requests that are being served.
    [[nodiscard]] std::ptrdiff_t served() const {
        const auto live = transport->live();
        return std::ranges::count_if(live, [](const auto& transfer) { return transfer->isAccepted(); });
    }
    /// Not compared by a macro, which would print it.
    [[nodiscard]] bool hasFile() const {
        return files->contents("/downloads/file.bin") == content(0, server.size);
    }
    [[nodiscard]] double time() const { return scheduler.now() - began; }
    /// Which request it is, from 0 on.
    [[nodiscard]] std::ptrdiff_t number(const FakeTransfer& transfer) const {
        const auto& all = transport->transfers;
        return std::ranges::find(all, &transfer, [](const auto& one) { return one.get(); }) - all.begin();
    }
    using Which = std::function<bool(const FakeTransfer&)>;
    /// Some connections bring only so many bytes per second.
    void slow(const Which& which, double speed = 15'000) {
        server.speedOf = [=](const auto& transfer) {
            return which(transfer) ? std::optional(speed) : std::nullopt;
        };
    }
    /// Some requests are answered otherwise, or never.
    void refuse(
        const Which& which, const std::function<void(FakeTransfer&)>& how = [](const auto&) {}) {
        server.answers = [=](FakeTransfer& transfer) {
            const bool is = which(transfer);
            if (is) {
                how(transfer);
            }
            return is;
        };
    }

    /// Parts, and sends the whole file, fast.
    void onlyPromises() {
        server.bytesPerSecond = 8'000'000;
        server.answers = [this](FakeTransfer& transfer) {
            transfer.respond(200,
                             {{"Content-Length", std::to_string(server.size)}, {"Accept-Ranges", "bytes"}});
            return true;
        };
    }

    FakeServer server{*transport, scheduler};
    double began = scheduler.now();
};

TEST(WildServers, TheFileComesInGoodTime) {
    const struct {
        const char* name;
        std::function<void(Wild&)> setUp;
        double within;        ///< Seconds.
        std::size_t requests; ///< At most.
    } rows[] = {
        {"as they should be", [](Wild&) {}, 15, 20},
        {"one turns slow",
         [](Wild& wild) {
             wild.slow([&](const auto& one) { return wild.number(one) == 0 && wild.time() > 6; });
         },
         17, 25},
        {"one stalls",
         [](Wild& wild) {
             wild.slow([&](const auto& one) { return wild.number(one) == 3 && one.position() > 20 * MiB; },
                       0);
         },
         17, 25},
        {"one is never answered",
         [](Wild& wild) { wild.refuse([&](const auto& one) { return wild.number(one) == 2; }); }, 20.5, 25},
        {"all slow alike", [](Wild& wild) { wild.server.bytesPerSecond = 15'000; }, 800, 20},
        {"closes after 1 MiB", [](Wild& wild) { wild.server.longest = MiB; }, 15, 80},
        {"serves four",
         [](Wild& wild) {
             wild.refuse([&](const auto&) { return wild.served() >= 4; },
                         [](FakeTransfer& one) {
                             one.respond(503, {{"Retry-After", "60"}});
                         });
         },
         21, 20},
        {"promises parts", [](Wild& wild) { wild.onlyPromises(); }, 9, 2},
        {"promises parts, and the download was paused",
         [](Wild& wild) {
             wild.onlyPromises();
             wild.config.connections = 1; // no other one finds out before the pause
             wild.manager->apply(wild.config);
             wild.scheduler.after(0.1, [&] { wild.manager->pause(1_id); });
             wild.scheduler.after(0.2, [&] { wild.manager->resume(1_id); });
         },
         14, 5},
        {"gone for 8 s",
         [](Wild& wild) {
             wild.scheduler.after(8, [&] {
                 for (const auto& one : wild.transport->live()) {
                     one->fail("The connection broke.");
                 }
             });
             wild.refuse([&](const auto&) { return wild.time() >= 8 && wild.time() < 16; },
                         [](FakeTransfer& one) { one.fail("Couldn't connect."); });
         },
         31, 70},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Wild wild;
        row.setUp(wild);
        wild.add("http://a.example/file.bin");
        EXPECT_TRUE(wild.runUntil(1_id, "finished")) << wild.failure(1_id);
        EXPECT_LE(wild.time(), row.within);
        EXPECT_LE(wild.transport->transfers.size(), row.requests);
        EXPECT_LE(wild.server.sent, wild.server.size + MiB);
        EXPECT_TRUE(wild.hasFile());
    }
}

TEST(WildServers, WhatWasGivenToASecondConnectionInVainComesBack) {
    Wild wild;
    wild.refuse([&](const auto& one) { return wild.time() > 8 && one.request.from > 0; },
                [](FakeTransfer& one) {
                    one.respond(503, {{"Retry-After", "600"}});
                });
    wild.slow([&](const auto& one) { return wild.number(one) == 1; }, 100'000);
    wild.server.size = 32 * MiB;
    wild.add("http://a.example/file.bin");
    ASSERT_TRUE(wild.runUntil(1_id, "finished", 120)) << "by the slow one, before the others may come again";
}

TEST(WildServers, ALinkMayLeadToSeveralMirrors) {
    const struct {
        const char* name;
        std::function<void(Wild&, FakeTransfer&)> second; ///< What the other mirror does, from 8 s on.
        const char* outcome;
    } rows[] = {
        {"another tag", [](Wild& wild, FakeTransfer&) { wild.server.etag = "\"other\""; }, "finished"},
        {"another size", [](Wild& wild, FakeTransfer&) { wild.server.size -= 1; }, "link-expired"},
        {"other bytes",
         [](Wild& wild, FakeTransfer&) {
             wild.server.etag = "\"other\"";
             const std::vector<std::byte> none(20 * MiB);
             wild.manager->download(1_id)->file->write(none, 0);
         },
         "link-expired"},
        {"not there at first",
         [](Wild& wild, FakeTransfer& transfer) {
             if (wild.time() < 10) {
                 transfer.respond(404);
             }
         },
         "finished"},
        {"never there", [](Wild&, FakeTransfer& transfer) { transfer.respond(404); }, "link-expired"},
    };
    const auto address = link("http://a.example/file.bin");
    const auto first = link("http://first.example/file.bin");
    const auto second = link("http://second.example/file.bin");
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Wild wild;
        wild.server.answers = [&](FakeTransfer& transfer) {
            const bool isLink = transfer.request.url == address;
            const bool isSecond = wild.time() >= 8;
            transfer.redirectedTo = isSecond ? second : first;
            EXPECT_EQ(transfer.request.group, 1);
            if (isSecond && transfer.request.url == first) {
                transfer.respond(404);
            } else if (isSecond) {
                EXPECT_TRUE(isLink || transfer.request.url == second);
                row.second(wild, transfer);
            } else {
                EXPECT_EQ(isLink, wild.number(transfer) == 0) << "once";
            }
            return transfer.isOver();
        };
        wild.add(address.absoluteString());
        EXPECT_TRUE(wild.runUntil(1_id, row.outcome, 60)) << wild.failure(1_id);
        const bool isFinished = wild.state(1_id) == "finished";
        EXPECT_EQ(wild.hasFile(), isFinished);
        EXPECT_GT(wild.record(1_id).doneBytes(), 8 * MiB);
        EXPECT_THAT(wild.notifier->notices, testing::ElementsAre(isFinished ? "finished 1" : "expired 1"));
    }
}

TEST(WildServers, WhatWasRefusedIsNotAskedForAgainOnTheSameDay) {
    for (const double later : {60, 90'000}) { // seconds
        SCOPED_TRACE(later);
        Wild wild;
        int refused = 0;
        wild.refuse([&](const auto&) { return wild.served() >= 4; },
                    [&](FakeTransfer& one) { (++refused, one.respond(503)); });
        wild.add("http://a.example/file.bin");
        ASSERT_TRUE(wild.runUntil(1_id, "finished"));
        ASSERT_GT(std::exchange(refused, 0), 1);
        wild.scheduler.runFor(later);
        wild.restart();
        wild.add("http://a.example/again.bin");
        ASSERT_TRUE(wild.runUntil(2_id, "finished"));
        EXPECT_EQ(refused == 0, later == 60);
    }
}

TEST(WildServers, ABodyWithoutALengthThatBrokeOffMayBeComplete) {
    for (const auto& [total, outcome] :
         {std::pair{"bytes */5000", "finished"}, {"bytes */6000", "starting"}}) {
        SCOPED_TRACE(total);
        ProbingEngine engine;
        engine.transport->last().respond(200);
        engine.transport->last().send(5000);
        engine.transport->last().fail("The connection broke.");
        EXPECT_EQ(engine.state(1_id), "retrying");
        engine.scheduler.runFor(1.1);
        EXPECT_EQ(engine.transport->last().request.from, 5000);
        engine.transport->last().respond(416, {{"Content-Range", total}});
        engine.scheduler.runFor(1);
        EXPECT_EQ(engine.state(1_id), outcome);
    }
}

TEST(WildServers, AreAskedAgainWhenTheyMeanIt) {
    const struct {
        const char* name;
        const char* retryAfter;
        std::function<void(Engine&)> command; ///< Two seconds after the refusal.
        double seconds;                       ///< From the refusal to the next request.
    } rows[] = {
        {"in the past", "Thu, 01 Jan 1970 00:00:00 GMT", {}, 1},
        {"later", "40", {}, 40},
        {"later, though the machine was asleep", "40", [](Engine& engine) { engine.manager->reconnect(); },
         40},
        {"another link there", "40",
         [](Engine& engine) { engine.manager->updateLink(1_id, link("http://a.example/b")); }, 40},
        {"a link elsewhere", "86400",
         [](Engine& engine) { engine.manager->updateLink(1_id, link("http://b.example/b")); }, 2},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        ProbingEngine engine;
        EXPECT_TRUE(engine.power->awake);
        engine.transport->last().respond(503, {{"Retry-After", row.retryAfter}});
        EXPECT_FALSE(engine.power->awake) << "while all wait the machine may sleep";
        const auto began = engine.scheduler.now();
        if (row.command) {
            engine.scheduler.after(2, [&] { row.command(engine); });
        }
        ASSERT_TRUE(engine.scheduler.runUntilTrue([&] { return engine.transport->transfers.size() > 1; }));
        EXPECT_EQ(engine.scheduler.now() - began, row.seconds);
    }
}

} // namespace
} // namespace fluvane::support
