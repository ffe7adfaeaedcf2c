// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "KitQueue.h"
#include "Support/ScriptedServer.h"
#include "Support/TemporaryFolder.h"
#include "Tessivar/Updates.h"
#include "TessivarCore/AppIdentity.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <array>
#include <chrono>
#include <memory>
#include <mutex>

namespace tessivar {

using namespace fluvane::support;
using namespace testing;
using Json = nlohmann::json;
using Kind = Updates::Result::Kind;

namespace {

std::string base64(const unsigned char* bytes, std::size_t size) {
    std::string text(4 * ((size + 2) / 3) + 1, '\0');
    text.resize(static_cast<std::size_t>(
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes, static_cast<int>(size))));
    return text;
}

/// A publisher.
class Publisher {
public:
    [[nodiscard]] std::string key() const {
        std::array<unsigned char, 32> bytes{};
        std::size_t size = bytes.size();
        EVP_PKEY_get_raw_public_key(key_.get(), bytes.data(), &size);
        return base64(bytes.data(), size);
    }
    [[nodiscard]] std::string derKey() const {
        unsigned char* bytes = nullptr;
        const int size = i2d_PUBKEY(key_.get(), &bytes);
        const auto text = base64(bytes, static_cast<std::size_t>(size));
        OPENSSL_free(bytes);
        return text;
    }
    [[nodiscard]] std::string pem() const {
        const auto line = derKey();
        return "-----BEGIN PUBLIC KEY-----\n" + line + "\n-----END PUBLIC KEY-----\n";
    }
    [[nodiscard]] std::string signedFeed(const std::string& feed) const {
        const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                              EVP_MD_CTX_free);
        std::array<unsigned char, 64> signature{};
        std::size_t size = signature.size();
        EVP_DigestSignInit(context.get(), nullptr, nullptr, nullptr, key_.get());
        EVP_DigestSign(context.get(), signature.data(), &size,
                       reinterpret_cast<const unsigned char*>(feed.data()), feed.size());
        return Json{{"feed", feed}, {"signature", base64(signature.data(), size)}}.dump();
    }

private:
    std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key_{EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519"),
                                                             EVP_PKEY_free};
};

Json feed(int serial, const std::string& version) {
    return {{"application", "example.Fluvane"}, {"serial", serial}, {"version", version}};
}

std::string ok(const std::string& body) {
    return fmt::format("HTTP/1.1 200 OK\r\nContent-Length: {}\r\nConnection: close\r\n\r\n{}", body.size(),
                       body);
}

/// What the server says; its threads read it while the test goes on.
class Answer {
public:
    Answer& operator=(std::string text) {
        const std::lock_guard lock(mutex_);
        text_ = std::move(text);
        return *this;
    }
    [[nodiscard]] std::string text() const {
        const std::lock_guard lock(mutex_);
        return text_;
    }

private:
    mutable std::mutex mutex_;
    std::string text_;
};

class UpdatesTest : public Test {
protected:
    UpdatesTest() { AppIdentity::current = {"Fluvane", "example.Fluvane", "", "0.9.0"}; }
    ~UpdatesTest() override { AppIdentity::current = {}; }

    [[nodiscard]] Updates::Options options() const {
        return {.feed = server.url("/feed"), .key = publisher.key(), .stateFile = stateFile};
    }
    std::string check(const Updates::Options& with) {
        Updates updates(with, kit.context());
        std::optional<Updates::Result> result;
        updates.check([&](const auto& found) { result = found; });
        EXPECT_FALSE(result);
        EXPECT_TRUE(kit.queue.runUntil([&] { return result.has_value(); }));
        kind = result ? result->kind : Kind::noFeed;
        return result ? result->text : "no result";
    }
    std::string check() { return check(options()); }
    void publish(const Json& what) { answer = ok(publisher.signedFeed(what.dump())); }
    [[nodiscard]] Json memory() const { return Json::parse(readFile(stateFile)); }
    void remember(const Json& what) {
        std::filesystem::create_directory(folder / "state");
        writeFile(stateFile, what.dump());
    }

    support::KitQueue kit;
    TemporaryFolder folder;
    std::filesystem::path stateFile = folder / "state/updates.json";
    Publisher publisher;
    Answer answer;
    Kind kind = Kind::noFeed;
    ScriptedServer server{[this](ScriptedServer::Client& client) {
        client.readRequest();
        const auto text = answer.text();
        client.send(text);
        if (text.empty()) {
            kit.queue.post([] {}); // wakes who waits for the request
            client.waitForClose();
        }
    }};
};

const std::string upToDate = "Fluvane 0.9.0 is up to date.";
const std::string couldNot = "Couldn't check for updates: ";
const std::string unreadable = couldNot + "The release feed isn't one that this version can read.";
const std::string notSigned = couldNot + "The release feed isn't signed by this build's publisher.";

} // namespace

TEST_F(UpdatesTest, WithoutAFeedNothingIsChecked) {
    Updates updates({.stateFile = stateFile}, kit.context());
    EXPECT_FALSE(updates.configured());
    updates.start([](const auto&) { ADD_FAILURE(); });
    EXPECT_EQ(kit.timers.size(), 0U);
    EXPECT_EQ(check({.stateFile = stateFile}), "This build doesn't check for updates.");
    EXPECT_EQ(kind, Kind::noFeed);
    EXPECT_FALSE(std::filesystem::exists(folder / "state"));
}

TEST_F(UpdatesTest, TellsWhatASignedFeedSays) {
    auto full = feed(3, "0.10.0");
    full["summary"] = "Faster on slow disks.";
    full["page"] = "https://example.com/get";
    full["later"] = {1, 2};
    publish(full);
    for (const auto& key :
         {publisher.key(), publisher.derKey(), publisher.pem(), " " + publisher.key() + "\n"}) {
        auto with = options();
        with.key = key;
        EXPECT_EQ(check(with), "Fluvane 0.10.0 is there: Faster on slow disks. See https://example.com/get");
        EXPECT_EQ(kind, Kind::newer);
    }
    EXPECT_THAT(server.requests().front(), HasSubstr("User-Agent: Fluvane/0.9.0 (Linux)\r\n"));
    const std::pair<const char*, std::string> versions[] = {{"0.9.1-rc.1", "Fluvane 0.9.1-rc.1 is there."},
                                                            {"0.9", upToDate},
                                                            {"0.9.0-rc.1", upToDate},
                                                            {"0.8.99", upToDate}};
    for (const auto& [version, text] : versions) {
        publish(feed(3, version));
        EXPECT_EQ(check(), text) << version;
    }
}

TEST_F(UpdatesTest, BelievesNothingElse) {
    const Publisher somebodyElse;
    const auto good = feed(3, "0.10.0").dump();
    auto tampered = Json::parse(publisher.signedFeed(good));
    tampered["feed"] = feed(3, "0.11.0").dump();
    auto withoutSignature = tampered;
    withoutSignature.erase("signature");
    auto emptySignature = tampered;
    emptySignature["signature"] = "";
    const auto changed = [&](const char* key, const Json& value) {
        auto other = feed(3, "0.10.0");
        other[key] = value;
        return ok(publisher.signedFeed(other.dump()));
    };
    const auto redirect = [](const std::string& to) {
        return "HTTP/1.1 302 Found\r\nLocation: " + to + "\r\nContent-Length: 0\r\n\r\n";
    };
    const std::tuple<const char*, std::string, std::string> rows[] = {
        {"bare", ok(good), unreadable},
        {"unsigned", ok(withoutSignature.dump()), notSigned},
        {"empty signature", ok(emptySignature.dump()), notSigned},
        {"wrong key", ok(somebodyElse.signedFeed(good)), notSigned},
        {"tampered", ok(tampered.dump()), notSigned},
        {"not JSON", ok("<html>"), unreadable},
        {"half", ok(publisher.signedFeed(good).substr(0, 90)), unreadable},
        {"empty", ok(""), unreadable},
        {"deep", ok(std::string(200'000, '[')), unreadable},
        {"invalid text", ok("{\"feed\": \"\xff\"}"), unreadable},
        {"signed rubbish", ok(publisher.signedFeed("[3]")), unreadable},
        {"another application's", changed("application", "example.Other"),
         couldNot + "The release feed is another application's."},
        {"no serial", changed("serial", "3"), unreadable},
        {"serial 0", changed("serial", 0), unreadable},
        {"enormous serial", changed("serial", 18446744073709551615U), unreadable},
        {"no version", changed("version", "newest"), unreadable},
        {"version as a number", changed("version", 1.5), unreadable},
        {"escapes", changed("summary", "\x1b[31mred"), unreadable},
        {"a page that runs", changed("page", "javascript:alert(1)"), unreadable},
        {"too long", ok(std::string(1'000'001, ' ')), couldNot + "The release feed is too long."},
        {"missing", "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n",
         couldNot + "The release feed's server answered with status 404."},
        {"redirect to a file", redirect("file:///etc/passwd"),
         couldNot + "The release feed is neither on http nor on https."},
        {"redirect to itself", redirect("/feed"),
         couldNot + "The release feed's server redirects without end."},
        {"cut short", "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n{",
         couldNot + "The release feed couldn't be fetched (Transferred a partial file)."},
    };
    for (const auto& [name, sent, text] : rows) {
        answer = sent;
        EXPECT_EQ(check(), text) << name;
        EXPECT_EQ(kind, Kind::failed) << name;
        EXPECT_EQ(memory()["serial"], 0) << name; // nothing of it is remembered
    }
}

TEST_F(UpdatesTest, RefusesWhatIsOlderThanSeen) {
    publish(feed(7, "0.10.0"));
    EXPECT_EQ(check(), "Fluvane 0.10.0 is there.");
    publish(feed(6, "0.11.0"));
    EXPECT_EQ(check(), couldNot + "The release feed is older than one seen before.");
    publish(feed(7, "0.10.0"));
    EXPECT_EQ(check(), "Fluvane 0.10.0 is there.");
    publish(feed(8, "0.9.0")); // withdrawn
    EXPECT_EQ(check(), upToDate);
    EXPECT_EQ(memory()["serial"], 8);
    writeFile(stateFile, "spoilt");
    EXPECT_EQ(check(), upToDate);
}

TEST_F(UpdatesTest, SaysWhyItCannotCheck) {
    answer = ok("x");
    for (const auto* const key : {"", "AAAA", "not base64!", "-----BEGIN PUBLIC KEY-----\n"}) {
        auto with = options();
        with.key = key;
        EXPECT_EQ(check(with), couldNot + "This build's key for releases can't be used.") << key;
    }
    const std::pair<std::string, std::string> links[] = {
        {"file:///etc/passwd", "The release feed is neither on http nor on https."},
        {"ftp://127.0.0.1/feed", "The release feed is neither on http nor on https."},
        {"http://127.0.0.1:1/feed", "The release feed's server can't be reached."},
        {"http://[", "The release feed's link isn't valid."},
    };
    for (const auto& [link, reason] : links) {
        auto with = options();
        with.feed = link;
        EXPECT_EQ(check(with), couldNot + reason);
    }
    answer = ""; // it hangs
    auto hurried = options();
    hurried.patience = 0.1;
    EXPECT_EQ(check(hurried), couldNot + "The release feed's server took too long.");
}

TEST_F(UpdatesTest, VerifiesTheServersCertificate) {
    writeCertificate(folder / "certificate.pem");
    publish(feed(3, "0.10.0"));
    const ScriptedServer secure(
        [this](ScriptedServer::Client& client) {
            client.readRequest();
            client.send(answer.text());
        },
        folder / "certificate.pem");
    auto with = options();
    with.feed = secure.url("/feed", "localhost");
    EXPECT_EQ(check(with), couldNot + "No secure connection to the release feed's server could be made.");
    with.certificateFile = folder / "certificate.pem";
    EXPECT_EQ(check(with), "Fluvane 0.10.0 is there.");
    answer = "HTTP/1.1 302 Found\r\nLocation: " + server.url("/feed") + "\r\nContent-Length: 0\r\n\r\n";
    EXPECT_EQ(check(with), couldNot + "The release feed is neither on http nor on https.");
    EXPECT_EQ(server.connections(), 0);
}

TEST_F(UpdatesTest, ChecksOnceADayAndTellsOnce) {
    publish(feed(3, "0.10.0"));
    std::vector<std::string> told;
    const auto tell = [&](const Updates::Result& result) { told.push_back(result.text); };
    const auto runOfADay = [&](double firstCheck, int checks) {
        Updates updates(options(), kit.context());
        updates.start(tell);
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
    const auto now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    runOfADay(60, 1); // never checked before
    EXPECT_THAT(told, ElementsAre("Fluvane 0.10.0 is there."));
    runOfADay(86400, 0); // the timer is early, or somebody checked by hand
    remember({{"checked", now - 86400 - 5}, {"serial", 3}, {"told", "0.10.0"}});
    runOfADay(60, 1);
    EXPECT_EQ(told.size(), 1U); // knows that already
    publish(feed(4, "0.11.0"));
    remember({{"checked", now + 1000000}, {"serial", 3}, {"told", "0.10.0"}}); // the clock was set back
    runOfADay(60, 1);
    EXPECT_THAT(told, ElementsAre(_, "Fluvane 0.11.0 is there."));
    answer = "HTTP/1.1 500 Oops\r\nContent-Length: 0\r\n\r\n";
    remember({{"checked", 0}});
    runOfADay(60, 1);
    EXPECT_EQ(told.size(), 2U); // failures are only logged
    EXPECT_GE(memory()["checked"].get<std::int64_t>(), now);
}

TEST_F(UpdatesTest, ChecksOnceForSeveralWhoAsk) {
    publish(feed(3, "0.10.0"));
    Updates updates(options(), kit.context());
    int told = 0;
    updates.check([&](const auto&) { ++told; });
    updates.check([&](const auto&) { ++told; });
    EXPECT_TRUE(kit.queue.runUntil([&] { return told == 2; }));
    EXPECT_EQ(server.connections(), 1);
    updates.check([&](const auto&) { ++told; });
    EXPECT_TRUE(kit.queue.runUntil([&] { return told == 3; }));
}

TEST_F(UpdatesTest, BreaksARunningCheckOffAtTheEnd) {
    const auto began = std::chrono::steady_clock::now();
    auto updates = std::make_unique<Updates>(options(), kit.context());
    updates->check([](const auto&) { ADD_FAILURE(); });
    kit.queue.runUntil([&] { return !server.requests().empty(); });
    updates.reset();
    kit.queue.runPending();
    EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(10));
}

} // namespace tessivar
