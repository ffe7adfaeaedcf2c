// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Support/KitQueue.h"
#include "Support/ScriptedServer.h"
#include "Support/TemporaryFolder.h"
#include "Tessivar/Updates/Updates.h"
#include "TessivarCore/AppIdentity.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <openssl/evp.h>

#include <array>
#include <chrono>
#include <memory>
#include <mutex>

namespace tessivar {

using namespace fluvane::support;
using namespace testing;
using Json = nlohmann::json;

namespace {

/// Signed with the secret key that consists of this byte.
std::string published(const std::string& feed, unsigned char secret = 0) {
    const std::vector<unsigned char> bytes(32, secret);
    const std::shared_ptr<EVP_PKEY> key(
        EVP_PKEY_new_raw_private_key(EVP_PKEY_ED25519, nullptr, bytes.data(), bytes.size()), EVP_PKEY_free);
    const std::shared_ptr<EVP_MD_CTX> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    std::array<unsigned char, 64> signature{};
    std::array<unsigned char, 89> text{};
    std::size_t size = signature.size();
    EVP_DigestSignInit(context.get(), nullptr, nullptr, nullptr, key.get());
    EVP_DigestSign(context.get(), signature.data(), &size,
                   reinterpret_cast<const unsigned char*>(feed.data()), feed.size());
    EVP_EncodeBlock(text.data(), signature.data(), 64);
    return Json{{"feed", feed}, {"signature", std::string(text.begin(), text.end() - 1)}}.dump();
}

Json feed(int serial, const std::string& version) {
    return {{"application", "example.Fluvane"}, {"serial", serial}, {"version", version}};
}

std::string ok(const std::string& body) {
    return fmt::format("HTTP/1.1 200 OK\r\nContent-Length: {}\r\nConnection: close\r\n\r\n{}", body.size(),
                       body);
}

std::string redirect(const std::string& to) {
    return "HTTP/1.1 302 Found\r\nLocation: " + to + "\r\nContent-Length: 0\r\n\r\n";
}

class UpdatesTest : public Test {
protected:
    UpdatesTest() { AppIdentity::current = {"Fluvane", "example.Fluvane", "", "0.9.0"}; }

    [[nodiscard]] Updates::Options options() const {
        return {.feed = server.url("/feed"),
                .key = "O2onvM62pC1io6jQKm8Nc2UyFXcd4kOmOsBIoYtZ2ik=",
                .stateFile = stateFile};
    }
    std::string check(const Updates::Options& with) {
        Updates updates(with, kit.context());
        std::string result;
        updates.check([&](const auto& text) { result = text; });
        EXPECT_EQ(result, "") << "never from inside the call";
        EXPECT_TRUE(kit.queue.runUntil([&] { return !result.empty(); }));
        return result;
    }
    std::string check() { return check(options()); }
    void answer(const std::string& text) {
        const std::lock_guard lock(mutex);
        answerText = text;
    }
    void publish(const Json& what) { answer(ok(published(what.dump()))); }
    [[nodiscard]] Json memory() const { return Json::parse(readFile(stateFile)); }
    /// For the servers' threads.
    void serve(ScriptedServer::Client& client) {
        client.readRequest();
        std::unique_lock lock(mutex);
        const auto text = answerText;
        lock.unlock();
        client.send(text);
        if (text.empty()) {
            kit.queue.post([] {}); // wakes who waits for the request
            client.waitForClose();
        }
    }

    KitQueue kit;
    TemporaryFolder folder;
    std::filesystem::path stateFile = folder / "state/updates.json";
    std::mutex mutex;
    std::string answerText;
    ScriptedServer server{[this](ScriptedServer::Client& client) { serve(client); }};
};

const std::string upToDate = "Fluvane 0.9.0 is up to date.";
const std::string couldNot = "Couldn't check for updates: ";

} // namespace

TEST_F(UpdatesTest, TellsWhatASignedFeedSaysUnlessItIsOlderThanSeen) {
    auto full = feed(3, "0.10.0");
    full["summary"] = "Faster on slow disks.";
    full["page"] = "https://example.com/get";
    publish(full);
    EXPECT_EQ(check(), "Fluvane 0.10.0 is there: Faster on slow disks. See https://example.com/get");
    publish(feed(2, "0.11.0"));
    EXPECT_EQ(check(), couldNot + "The release feed is older than one seen before.");
    publish(feed(8, "0.9")); // withdrawn
    EXPECT_EQ(check(), upToDate);
    EXPECT_EQ(memory()["serial"], 8);
}

TEST_F(UpdatesTest, BelievesNothingElse) {
    const auto good = feed(3, "0.10.0").dump();
    auto others = feed(3, "0.10.0");
    others["application"] = "example.Other";
    const std::tuple<const char*, std::string, std::string> rows[] = {
        {"wrong key", ok(published(good, 1)),
         couldNot + "The release feed isn't signed by this build's publisher."},
        {"signed rubbish", ok(published("[3]")),
         couldNot + "The release feed isn't one that this version can read."},
        {"another application's", ok(published(others.dump())),
         couldNot + "The release feed is another application's."},
        {"too long", ok(std::string(1'000'001, ' ')), couldNot + "The release feed is too long."},
        {"redirect to a file", redirect("file:///etc/passwd"),
         couldNot + "The release feed is neither on http nor on https."},
    };
    for (const auto& [name, sent, text] : rows) {
        answer(sent);
        EXPECT_EQ(check(), text) << name;
        EXPECT_EQ(memory()["serial"], 0) << name; // nothing of it is remembered
    }
}

TEST_F(UpdatesTest, VerifiesTheServersCertificate) {
    writeCertificate(folder / "certificate.pem");
    publish(feed(3, "0.10.0"));
    const ScriptedServer secure([this](ScriptedServer::Client& client) { serve(client); },
                                folder / "certificate.pem");
    auto with = options();
    with.feed = secure.url("/feed", "localhost");
    EXPECT_EQ(check(with), couldNot + "No secure connection to the release feed's server could be made.");
    with.certificateFile = folder / "certificate.pem";
    EXPECT_EQ(check(with), "Fluvane 0.10.0 is there.");
    answer(redirect(server.url("/feed")));
    EXPECT_EQ(check(with), couldNot + "The release feed is neither on http nor on https.");
}

TEST_F(UpdatesTest, ChecksOnceADayAndTellsOnce) {
    std::vector<std::string> told;
    const auto runOfADay = [&](double firstCheck, int checks) {
        Updates updates(options(), kit.context());
        updates.start([&](const std::string& text) { told.push_back(text); });
        ASSERT_EQ(kit.timers.size(), 1U);
        EXPECT_NEAR(kit.timers.front().first, firstCheck, 60);
        const int before = server.connections();
        kit.fireTimers();
        if (checks > 0) {
            ASSERT_TRUE(kit.queue.waitForWork());
        }
        kit.queue.runPending();
        EXPECT_EQ(server.connections(), before + checks);
        ASSERT_EQ(kit.timers.size(), 1U);
        EXPECT_NEAR(kit.timers.front().first, 86400, 60);
        kit.timers.clear();
    };
    publish(feed(3, "0.10.0"));
    runOfADay(60, 1); // never checked before
    EXPECT_THAT(told, ElementsAre("Fluvane 0.10.0 is there."));
    runOfADay(86400, 0);                                   // the timer is early, or somebody checked by hand
    for (const std::int64_t ago : {86400 + 5, -1000000}) { // as after the clock was set back
        const auto now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
        writeFile(stateFile, Json{{"checked", now - ago}, {"serial", 3}, {"told", "0.10.0"}}.dump());
        runOfADay(60, 1);
        EXPECT_EQ(told.size(), 1U) << "knows that already";
    }
}

TEST_F(UpdatesTest, EndsWhileItChecksAndWaitsForNoServer) {
    auto updates = std::make_unique<Updates>(options(), kit.context());
    answer(""); // it hangs
    const auto began = std::chrono::steady_clock::now();
    updates->check([](const auto&) { ADD_FAILURE(); });
    kit.queue.runUntil([&] { return server.requests().size() == 1; });
    updates.reset();
    kit.queue.runPending();
    EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(10));
    auto hurried = options();
    hurried.patience = 0.1;
    EXPECT_EQ(check(hurried), couldNot + "The release feed's server took too long.");
}

} // namespace tessivar
