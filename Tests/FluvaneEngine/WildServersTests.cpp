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
    void breakAll() const {
        for (const auto& transfer : transport->live()) {
            transfer->fail("The connection broke.");
        }
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
        {"one slow from its start",
         [](Wild& wild) {
             wild.server.speedOf = [&](const FakeTransfer& transfer) {
                 return wild.number(transfer) == 1 ? std::optional(15'000.0) : std::nullopt;
             };
         },
         17, 25},
        {"one turns slow",
         [](Wild& wild) {
             wild.server.speedOf = [&](const FakeTransfer& transfer) {
                 return wild.number(transfer) == 0 && wild.time() > 6 ? std::optional(15'000.0)
                                                                      : std::nullopt;
             };
         },
         17, 25},
        {"one stalls",
         [](Wild& wild) {
             wild.server.speedOf = [&](const FakeTransfer& transfer) {
                 return wild.number(transfer) == 3 && transfer.position() > 20 * MiB ? std::optional(0.0)
                                                                                     : std::nullopt;
             };
         },
         17, 25},
        {"one is never answered",
         [](Wild& wild) {
             wild.server.answers = [&](const FakeTransfer& transfer) { return wild.number(transfer) == 2; };
         },
         20.5, 25},
        {"all slow alike", [](Wild& wild) { wild.server.bytesPerSecond = 15'000; }, 800, 20},
        {"closes after 4 MiB", [](Wild& wild) { wild.server.longest = 4 * MiB; }, 15, 40},
        {"short parts",
         [](Wild& wild) {
             wild.server.longest = MiB / 4;
             wild.server.bytesPerSecondInAll = 8'000'000;
         },
         20, 280},
        {"breaks one in three",
         [](Wild& wild) {
             wild.server.answers = [&](FakeTransfer& transfer) {
                 if (wild.number(transfer) % 3 == 2) {
                     wild.scheduler.after(0.8, [&] { transfer.fail("The connection broke."); });
                 }
                 return false;
             };
         },
         15, 40},
        {"serves four",
         [](Wild& wild) {
             wild.server.answers = [&](FakeTransfer& transfer) {
                 if (wild.served() >= 4) {
                     transfer.respond(503, {{"Retry-After", "60"}});
                 }
                 return transfer.isOver() || wild.served() >= 4;
             };
         },
         21, 20},
        {"serves four, leaves the others unanswered",
         [](Wild& wild) { wild.server.answers = [&](const FakeTransfer&) { return wild.served() >= 4; }; },
         23.5, 25},
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
        {"promises parts, and breaks off before they are asked for",
         [](Wild& wild) {
             wild.server.answers = [&](FakeTransfer& transfer) {
                 if (wild.number(transfer) == 0) {
                     transfer.respond(200, {{"Content-Length", std::to_string(wild.server.size)},
                                            {"Accept-Ranges", "bytes"}});
                     wild.scheduler.after(1, [&] { transfer.fail("The connection broke."); });
                 }
                 return wild.number(transfer) < 2; // the second is never answered
             };
         },
         24, 30},
        {"gone for 8 s",
         [](Wild& wild) {
             wild.scheduler.after(8, [&] { wild.breakAll(); });
             wild.server.answers = [&](FakeTransfer& transfer) {
                 const bool isGone = wild.time() >= 8 && wild.time() < 16;
                 if (isGone) {
                     transfer.fail("Couldn't connect.");
                 }
                 return isGone;
             };
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
    wild.server.answers = [&](FakeTransfer& transfer) {
        if (wild.time() > 8 && transfer.request.from > 0) {
            transfer.respond(503, {{"Retry-After", "600"}});
        }
        return transfer.isOver();
    };
    wild.server.speedOf = [&](const FakeTransfer& transfer) {
        return wild.number(transfer) == 1 ? std::optional(100'000.0) : std::nullopt;
    };
    wild.server.size = 32 * MiB;
    wild.add("http://a.example/file.bin");
    ASSERT_TRUE(wild.runUntil(1_id, "finished", 120)) << "by the slow one, before the others may come again";
    EXPECT_TRUE(wild.hasFile());
}

TEST(WildServers, ALinkMayLeadToSeveralMirrors) {
    const struct {
        const char* name;
        std::function<void(Wild&, FakeTransfer&)> second; ///< What the other mirror does, from 8 s on.
        const char* outcome;
    } rows[] = {
        {"the same tag", [](Wild&, FakeTransfer&) {}, "finished"},
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
        {"the whole of another file",
         [](Wild&, FakeTransfer& transfer) {
             transfer.respond(200, {{"ETag", "\"other\""}});
         },
         "link-expired"},
        {"a shorter one", [](Wild&, FakeTransfer& transfer) { transfer.respond(416); }, "link-expired"},
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
        EXPECT_TRUE(row.outcome != std::string("finished") || wild.hasFile());
        EXPECT_GT(wild.record(1_id).doneBytes(), 8 * MiB);
    }
}

TEST(WildServers, WhatIsWrittenLateForOneMirrorSpoilsNoFileFromAnother) {
    const auto first = link("http://first.example/file.bin");
    Wild wild;
    std::shared_ptr<PieceFile> file; // of the first one, which brought nothing that is known of
    wild.server.speedOf = [](const FakeTransfer&) { return std::optional(0.0); };
    wild.server.answers = [&](FakeTransfer& transfer) {
        if (wild.number(transfer) == 0) {
            transfer.redirectedTo = first;
        } else if (transfer.request.url == first) {
            file = wild.manager->download(1_id)->file;
            wild.server.etag = "\"other\"";
            wild.server.speedOf = {};
            transfer.respond(404);
        }
        return transfer.isOver();
    };
    wild.add("http://a.example/file.bin");
    ASSERT_TRUE(
        wild.scheduler.runUntilTrue([&] { return wild.manager->download(1_id)->liveBytes() > 8 * MiB; }));
    try {
        file->write(std::vector<std::byte>(4 * MiB), 0);
    } catch (const FileError&) {
        // closed by now
    }
    ASSERT_TRUE(wild.runUntil(1_id, "finished"));
    EXPECT_TRUE(wild.hasFile());
}

TEST(WildServers, WhatWasRefusedIsNotAskedForAgainOnTheSameDay) {
    const struct {
        const char* name;
        std::string kept; ///< Instead of what it learned.
        double later;     ///< Seconds.
        bool isKnown;
    } rows[] = {
        {"soon", "", 60, true},
        {"the day after", "", 90'000, false},
        {"of no time", R"({"a.example": [4, 5, 9223372036854775807], "b": [4, 5, -9223372036854775808]})", 60,
         false},
        {"spoilt", R"({"a.example": [0, -1, "x"], "b": 5, "a.example": [4]})", 60, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Wild wild;
        int refused = 0;
        wild.server.answers = [&](FakeTransfer& transfer) {
            if (wild.served() >= 4) {
                ++refused;
                transfer.respond(503);
            }
            return transfer.isOver();
        };
        wild.add("http://a.example/file.bin");
        ASSERT_TRUE(wild.runUntil(1_id, "finished"));
        ASSERT_GT(refused, 1);
        refused = 0;
        wild.scheduler.runFor(row.later);
        wild.servers = row.kept.empty() ? wild.servers : row.kept;
        wild.restart();
        wild.add("http://a.example/again.bin");
        ASSERT_TRUE(wild.runUntil(2_id, "finished"));
        EXPECT_EQ(refused == 0, row.isKnown);
    }
}

TEST(WildServers, APageIsNotTheFile) {
    Wild wild;
    wild.add("http://a.example/file.bin");
    wild.scheduler.runFor(2);
    wild.server.answers = [](FakeTransfer& transfer) {
        transfer.respond(200, {{"Content-Type", "text/html"}, {"ETag", "\"login\""}});
        return true;
    };
    const auto before = wild.manager->download(1_id)->liveBytes();
    wild.breakAll();
    wild.turns();
    EXPECT_EQ(wild.state(1_id), "retrying");
    EXPECT_THAT(wild.manager->download(1_id)->retry.reason, testing::StartsWith("A web page came instead"));
    EXPECT_GE(wild.record(1_id).doneBytes(), before);
    wild.server.answers = {};
    EXPECT_TRUE(wild.runUntil(1_id, "finished"));
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
        {"at once", "0", {}, 1},
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
        engine.transport->last().respond(503, {{"Retry-After", row.retryAfter}});
        const auto began = engine.scheduler.now();
        if (row.command) {
            engine.scheduler.after(2, [&] { row.command(engine); });
        }
        ASSERT_TRUE(engine.scheduler.runUntilTrue([&] { return engine.transport->transfers.size() > 1; }));
        EXPECT_EQ(engine.scheduler.now() - began, row.seconds);
    }
}

TEST(WildServers, AnAnswerToTheOldLinkSaysNothingOfTheNewOne) {
    ProbingEngine engine;
    const auto old = engine.transport->transfers[0];
    engine.manager->updateLink(1_id, link("http://b.example/other.bin"));
    EXPECT_TRUE(old->isOver());
    engine.turns();
    engine.transport->last().respondPart(1000);
    EXPECT_EQ(engine.record(1_id).name, "other.bin");
}

TEST(WildServers, ALimitThatWasLiftedTaughtNothing) {
    Wild wild;
    wild.server.size = 1000 * MiB;
    wild.config.speedLimit = 1'000'000;
    wild.server.bytesPerSecondInAll = 1'000'000;
    wild.manager->apply(wild.config);
    wild.add("http://a.example/file.bin");
    wild.scheduler.runFor(20);
    ASSERT_EQ(wild.served(), 2);
    wild.server.bytesPerSecondInAll.reset();
    wild.config.speedLimit.reset();
    wild.manager->apply(wild.config);
    wild.scheduler.runFor(8);
    EXPECT_EQ(wild.served(), 8);
}

TEST(WildServers, ALineThatBecameFasterIsMeasuredAnew) {
    Wild wild;
    wild.server.size = 1000 * MiB;
    wild.server.bytesPerSecondInAll = 1'000'000;
    wild.add("http://a.example/file.bin");
    wild.scheduler.runFor(20);
    ASSERT_EQ(wild.served(), 2);
    wild.server.bytesPerSecondInAll.reset();
    wild.scheduler.runFor(12);
    EXPECT_EQ(wild.served(), 8);
}

TEST(WildServers, NothingCompetesWithAPrioritizedDownload) {
    Wild wild;
    wild.server.size = 1000 * MiB;
    wild.add("http://a.example/first.bin");
    wild.add("http://a.example/second.bin");
    wild.scheduler.runFor(20);
    wild.breakAll(); // both come back from that
    wild.manager->prioritize(1_id, true);
    wild.add("http://a.example/third.bin");
    wild.scheduler.runFor(30);
    EXPECT_EQ(wild.manager->download(1_id)->connections(), 8);
    EXPECT_LE(wild.manager->download(2_id)->connections(), 2);
    EXPECT_LE(wild.manager->download(3_id)->connections(), 2);
}

TEST(WildServers, TheMachineMaySleepWhileAllWait) {
    ProbingEngine engine;
    EXPECT_TRUE(engine.power->awake);
    engine.transport->last().respond(503, {{"Retry-After", "600"}});
    EXPECT_FALSE(engine.power->awake);
    engine.scheduler.runFor(601);
    EXPECT_TRUE(engine.power->awake);
}

} // namespace
} // namespace fluvane::support
