// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Commands/Offers.h"
#include "Support/Engine.h"
#include "Support/FakeSettings.h"
#include "Support/FakeWindows.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace fluvane {
namespace {

using support::link;
using support::operator""_id;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

constexpr const char* usual =
    R"({"link":"http://a.example/get?id=1","finalLink":"http://cdn.example/file.zip","referrer":"http://page.example/x",
        "userAgent":"Browser/1","size":1000000,"mime":"application/zip","name":"file.zip",
        "cookies":[{"name":"sid","value":"s3cret","domain":".a.example","path":"/"},{"name":"bad","value":"a\nb","domain":"a.example"}]})";

/// A server with a file of 1,000,000 bytes, and offers of a browser that gets it, too.
class OffersTest : public testing::Test {
protected:
    OffersTest() {
        server.size = 1'000'000;
        engine.manager->start();
    }
    std::string offer(const char* json = usual) { return offers.take(json).text; }
    /// Asks for its state ten times a second until it is decided, or for some seconds.
    std::string decision(const std::string& token, double atMost = 5) {
        std::string state = offers.state(token).text;
        for (double waited = 0; waited < atMost && state == "asking"; waited += 0.1) {
            engine.scheduler.runFor(0.1);
            state = offers.state(token).text;
        }
        return state;
    }
    void answer(const OfferAnswer& given) {
        ASSERT_THAT(windows.offers, SizeIs(1));
        windows.answerOffer(windows.offers[0].token, given);
    }
    [[nodiscard]] std::vector<const Download*> list() { return engine.manager->downloads(); }

    support::Engine engine;
    support::FakeServer server{*engine.transport, engine.scheduler};
    support::FakeSettings settings{*engine.manager};
    support::FakeWindows windows;
    Offers offers{{*engine.manager, settings,
                   std::shared_ptr<Scheduler>(std::shared_ptr<void>(), &engine.scheduler), &windows}};
};

TEST_F(OffersTest, AgreesOnceItsOwnDownloadComes) {
    const auto token = offer();
    EXPECT_EQ(decision(token, 1), "asking");
    ASSERT_THAT(windows.offers, SizeIs(1));
    EXPECT_EQ(windows.offers[0].name, "file.zip");
    EXPECT_EQ(windows.offers[0].site, "page.example");
    EXPECT_THAT(list(), IsEmpty()) << "nobody has agreed yet";
    server.answers = [](const auto& /*transfer*/) { return true; }; // silent from now on
    answer({.isAccepted = true, .name = "mine.zip"});
    EXPECT_EQ(decision(token, 2), "asking") << "nothing of it has come";
    server.answers = {};
    engine.transport->live().at(0)->respondPart(server.size);
    EXPECT_EQ(decision(token), "agreed");
    ASSERT_THAT(list(), SizeIs(1));
    EXPECT_EQ(list()[0]->record.name, "mine.zip");
    ASSERT_TRUE(list()[0]->session);
    EXPECT_THAT(list()[0]->session->cookies, SizeIs(1)) << "not the one with two lines";
    EXPECT_EQ(list()[0]->session->userAgent, "Browser/1");
    EXPECT_FALSE(list()[0]->isPrioritized());
    EXPECT_TRUE(offers.verdict(token, true).ok);
    EXPECT_TRUE(engine.runUntil(list()[0]->id(), "finished"));
    EXPECT_FALSE(offers.state(token).ok);
}

TEST_F(OffersTest, LeavesToTheBrowserWhatIsntTheSame) {
    struct Row {
        const char* what;
        std::function<bool(support::FakeTransfer&)> answers;
        std::string reason;
        std::size_t asked; ///< Links.
    };
    const auto withSize = [](std::int64_t size) {
        return [size](support::FakeTransfer& transfer) {
            transfer.respond(200,
                             {{"content-length", std::to_string(size)}, {"content-type", "application/zip"}});
            return true;
        };
    };
    const std::vector<Row> rows = {
        {"another size", withSize(999'999), "declined different ", 2},
        {"a page",
         [](support::FakeTransfer& transfer) {
             transfer.respond(200, {{"content-length", "500"}, {"content-type", "text/html"}});
             return true;
         },
         "declined page ", 2},
        {"another kind",
         [](support::FakeTransfer& transfer) {
             transfer.respond(200, {{"content-length", "1000000"}, {"content-type", "image/png"}});
             return true;
         },
         "declined different ", 2},
        {"used up",
         [](support::FakeTransfer& transfer) {
             transfer.respond(410);
             return true;
         },
         "declined unreachable ", 2},
    };
    for (const Row& row : rows) {
        server.answers = row.answers;
        engine.transport->transfers.clear();
        const auto token = offer();
        EXPECT_THAT(decision(token), StartsWith(row.reason)) << row.what;
        std::set<std::string> links;
        for (const auto& transfer : engine.transport->transfers) {
            links.insert(transfer->request.url.absoluteString());
            EXPECT_TRUE(transfer->request.session) << row.what;
        }
        EXPECT_THAT(links, SizeIs(row.asked)) << row.what;
        EXPECT_THAT(windows.offers, IsEmpty()) << row.what;
        EXPECT_THAT(list(), IsEmpty()) << row.what;
        offers.verdict(token, false);
    }
    EXPECT_FALSE(offers.take("{}").ok);
    EXPECT_FALSE(offers.take(R"({"link":"ftp://a.example/x"})").ok);
}

TEST_F(OffersTest, KeepsNothingThatTheBrowserKept) {
    const auto kept = offer();
    decision(kept, 1);
    answer({.isAccepted = true});
    EXPECT_EQ(decision(kept), "agreed");
    offers.verdict(kept, false);
    EXPECT_THAT(list(), IsEmpty());

    const auto forgotten = offer();
    decision(forgotten, 1);
    answer({.isAccepted = true});
    engine.scheduler.runFor(Offers::patience + 1);
    EXPECT_FALSE(offers.state(forgotten).ok);
    EXPECT_THAT(list(), IsEmpty());

    const auto refused = offer();
    decision(refused, 1);
    server.answers = [](support::FakeTransfer& transfer) {
        transfer.respond(403);
        return true;
    };
    answer({.isAccepted = true});
    EXPECT_THAT(decision(refused), StartsWith("declined unreachable "));
    EXPECT_THAT(list(), IsEmpty()) << "the browser carries on";
}

TEST_F(OffersTest, StandsStillWhereNobodyKnowsWhoHasTheFile) {
    server.bytesPerSecond = 10'000;
    const auto token = offer();
    decision(token, 1);
    answer({.isAccepted = true});
    EXPECT_EQ(decision(token), "agreed");
    const auto id = list().at(0)->id();
    engine.scheduler.runFor(Offers::verdictPatience + 2);
    EXPECT_EQ(engine.state(id), "paused");
    offers.verdict(token, true);
    EXPECT_TRUE(engine.runUntil(id, "finished")) << "the verdict came late";
}

TEST_F(OffersTest, StandsStillAfterAKillUntilTheVerdict) {
    server.bytesPerSecond = 10'000;
    std::string kept;
    const Offers::Ports ports{*engine.manager,
                              settings,
                              std::shared_ptr<Scheduler>(std::shared_ptr<void>(), &engine.scheduler),
                              &windows,
                              {.load = [&] { return kept; }, .save = [&](const auto& text) { kept = text; }}};
    for (const bool isCanceled : {true, false}) {
        auto first = std::make_unique<Offers>(ports);
        const auto token = first->take(usual).text;
        engine.scheduler.runFor(1);
        answer({.isAccepted = true});
        const auto id = list().at(0)->id();
        first.reset(); // before it was told "agreed"
        engine.manager->pause(id);
        engine.manager->resume(id); // as a start does
        Offers second(ports);
        second.carryOn();
        engine.scheduler.runFor(1);
        EXPECT_EQ(engine.state(id), "paused");
        second.verdict(token, isCanceled);
        EXPECT_EQ(kept, "");
        EXPECT_TRUE(isCanceled ? engine.runUntil(id, "finished") : list().empty());
        engine.manager->remove(id);
    }
}

TEST_F(OffersTest, SeveralGoFirstInTurn) {
    Config config = settings.config();
    config.simultaneous = 1;
    config.startOffersAtOnce = true;
    settings.update(config);
    server.bytesPerSecond = 1'000;
    const auto before = engine.add("http://a.example/other.zip");
    engine.manager->prioritize(before, true);
    engine.scheduler.runFor(1);
    const std::vector<std::string> tokens = {offer(), offer(), offer()};
    for (int round = 0; round < 20; ++round) {
        for (const auto& token : tokens) {
            decision(token, 0.1);
        }
    }
    for (const auto& token : tokens) {
        EXPECT_EQ(decision(token), "agreed");
    }
    for (const auto* const each : list()) {
        EXPECT_EQ(each->isPrioritized(), each->id() == before);
    }
}

TEST_F(OffersTest, ChoicesOfASiteAreRemembered) {
    auto token = offer();
    decision(token, 1);
    answer({.remember = true});
    EXPECT_THAT(decision(token), StartsWith("declined left "));
    EXPECT_THAT(decision(offer()), StartsWith("declined left "));
    EXPECT_THAT(windows.offers, IsEmpty());
    Config config = settings.config();
    config.offerSites["page.example"] = true;
    settings.update(config);
    EXPECT_EQ(decision(offer()), "agreed");
    EXPECT_THAT(list(), SizeIs(1));
    Offers headless({*engine.manager, settings,
                     std::shared_ptr<Scheduler>(std::shared_ptr<void>(), &engine.scheduler), nullptr});
    EXPECT_THAT(headless.state(headless.take(usual).text).text, StartsWith("declined no-windows "));
}

TEST_F(OffersTest, AFreshLinkCarriesOnWithTheExpiredOne) {
    auto& saved = engine.store->saved;
    DownloadRecord record(1_id, link("http://a.example/get?id=old"), URL::folder("/downloads"), std::nullopt,
                          Date());
    record.name = "file.zip";
    record.size = 1'000'000;
    record.pieces = {Piece{0, 1'000'000, 600'000}};
    record.state = DownloadState::Wait::linkExpired;
    saved.push_back(record);
    engine.restart();
    support::FakeSettings ofThisRun(*engine.manager);
    Offers fresh({*engine.manager, ofThisRun,
                  std::shared_ptr<Scheduler>(std::shared_ptr<void>(), &engine.scheduler), &windows});
    const auto token = fresh.take(usual).text;
    engine.scheduler.runFor(1);
    ASSERT_THAT(windows.offers, SizeIs(1));
    EXPECT_EQ(windows.offers[0].renews, 1_id);
    answer({.isAccepted = true, .renew = true});
    EXPECT_EQ(fresh.state(token).text, "agreed");
    EXPECT_EQ(engine.state(1_id), "link-expired") << "the browser has it still";
    fresh.verdict(token, true);
    EXPECT_EQ(engine.record(1_id).url, link("http://a.example/get?id=1"));
    EXPECT_TRUE(engine.manager->download(1_id)->session);
    EXPECT_THAT(engine.manager->downloads(), SizeIs(1));
}

} // namespace
} // namespace fluvane
