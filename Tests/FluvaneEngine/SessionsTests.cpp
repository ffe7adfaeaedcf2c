// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Support/Engine.h"

#include <gtest/gtest.h>

namespace fluvane::support {
namespace {

class SessionsTest : public testing::Test, public Engine {
protected:
    SessionsTest() {
        server.size = 3'000'000;
        manager->start();
    }
    DownloadID addSigned() {
        return manager->add({{.url = link("http://a.example/f"), .session = session}}, std::nullopt, true)
            .front();
    }
    FakeServer server{*transport, scheduler};
    const SharedSession session = std::make_shared<const Session>(Session{.userAgent = "me"});
};

TEST_F(SessionsTest, EveryRequestHasItAndItIsForgottenAtTheEnd) {
    const auto id = addSigned();
    turns();
    ASSERT_EQ(sessions->kept.size(), 1u);
    EXPECT_TRUE(record(id).session);
    ASSERT_TRUE(runUntil(id, "finished"));
    EXPECT_GT(transport->transfers.size(), 1u);
    for (const auto& transfer : transport->transfers) {
        EXPECT_EQ(transfer->request.session, session);
    }
    EXPECT_TRUE(sessions->kept.empty());
    EXPECT_EQ(manager->download(id)->session, nullptr);
    EXPECT_FALSE(record(id).session);
}

TEST_F(SessionsTest, ItIsFoundAgainAfterARestartOrAFreshLinkIsWaitedFor) {
    const auto id = addSigned();
    turns();
    restart();
    turns();
    EXPECT_EQ(*manager->download(id)->session, *session);
    manager->pause(id);
    turns();
    sessions->kept.front().owner.added += std::chrono::seconds(1); // of another with its number
    const auto asked = transport->transfers.size();
    restart();
    EXPECT_EQ(state(id), "paused");
    manager->resume(id);
    EXPECT_EQ(state(id), "link-expired");
    EXPECT_EQ(notifier->notices.back(), "expired 1");
    manager->resume(id);
    turns();
    EXPECT_EQ(transport->transfers.size(), asked) << "nobody is asked as by nobody";
    manager->updateLink(id, link("http://a.example/f"));
    EXPECT_TRUE(runUntil(id, "finished")) << "on the word of a person";
}

TEST_F(SessionsTest, WhatIsRemovedIsForgottenUnlessItIsBroughtBack) {
    const auto id = addSigned();
    turns();
    manager->removeForNow({id});
    EXPECT_TRUE(sessions->kept.empty());
    manager->undoRemoval();
    EXPECT_EQ(sessions->kept.size(), 1u);
    manager->remove(id);
    EXPECT_TRUE(sessions->kept.empty());
}

} // namespace
} // namespace fluvane::support
