// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneBrowser/Manifests.h"
#include "FluvaneBrowser/Messages.h"
#include "FluvaneBrowser/Said.h"
#include "Support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <string>

using namespace fluvane;
using namespace fluvane::browser;
using fluvane::support::readFile;
using Json = nlohmann::ordered_json;
using namespace std::string_literals;

namespace {

const Json full = Json::parse(R"({"by":"browser","link":"https://h.org/a","finalLink":"https://h.org/b",
    "referrer":"https://h.org/","userAgent":"A (B) C","size":0,"mime":"x/y","name":"ä.iso","cookies":[
    {"name":"s","value":"1\"2","domain":".h.org","path":"/","secure":true,"httpOnly":false,"hostOnly":false,
     "expirationDate":1.5}]
})");

/// Null: it was refused.
Json passedOn(Json offer) {
    offer["type"] = "offer";
    offer["offer"] = "a-1";
    const auto said = understand(offer.dump());
    const auto* const offered = said ? std::get_if<Offered>(&*said) : nullptr;
    return offered ? Json::parse(offered->request) : Json();
}

TEST(Said, AnOfferIsMadeAnewOfWhatIsKnown) {
    EXPECT_EQ(passedOn(full), full);
    auto more = full;
    more["command"] = "remove";
    more["cookies"][0]["storeId"] = "0";
    EXPECT_EQ(passedOn(more), full);
    EXPECT_EQ(passedOn({{"by", "menu"}, {"links", {"http://a/", "http://b/"}}})["links"].size(), 2);
}

TEST(Said, WhatMakesNoSenseIsRefused) {
    const std::pair<const char*, Json> rows[] = {
        {"/link", "file:///etc/passwd"},
        {"/link", "/etc/passwd"},
        {"/link", "javascript:1"},
        {"/link", nullptr},
        {"/finalLink", nullptr},
        {"/finalLink", "blob:http://a/b"},
        {"/link", "http://a/\nb"},
        {"/by", "me"},
        {"/size", -1},
        {"/size", "1"},
        {"/size", 1e300},
        {"/name", "../a"},
        {"/name", ".."},
        {"/name", "a\0b"s},
        {"/userAgent", "A\r\nB: c"},
        {"/userAgent", Json::array()},
        {"/referrer", "about:blank"},
        {"/cookies", 1},
        {"/cookies/0/value", "a\nb"},
        {"/cookies/0/value", "a;b"},
        {"/cookies/0/name", "a=b"},
        {"/cookies/0/domain", ""},
        {"/cookies/0/domain", "a/b"},
        {"/cookies/0/path", "a"},
        {"/cookies/0/secure", 1},
        {"/cookies/0/hostOnly", nullptr},
        {"/cookies/0", "s=1"},
        {"/cookies/0/value", std::string(65536, 'a')},
        {"/link", "http://a/" + std::string(65536, 'a')},
        {"/cookies", Json(301, full["cookies"][0])},
    };
    for (const auto& [place, value] : rows) {
        auto offer = full;
        offer[Json::json_pointer(place)] = value;
        EXPECT_TRUE(passedOn(offer).is_null()) << place << " " << value.dump().substr(0, 60);
    }
}

TEST(Said, WhatCannotBeAnsweredIsNothing) {
    for (const char* text :
         {"", "1", "[]", "{}", R"({"type":1})", R"({"type":"add","offer":"a"})", R"({"type":"offer"})",
          R"({"type":"offer","offer":"a b"})", R"({"type":"offer","offer":""})",
          R"({"type":"verdict","offer":"a","token":"../x","canceled":true})",
          R"({"type":"verdict","offer":"a","token":"x","canceled":1})", "{\"type\":\"\xFF\"}"}) {
        EXPECT_FALSE(understand(text)) << text;
    }
}

TEST(MessageReader, CutsWhatArrivesAnyhow) {
    const auto bytes = framed("{}") + framed("") + framed("abc");
    MessageReader reader;
    std::vector<std::string> messages;
    for (const char byte : bytes) {
        reader.feed({&byte, 1});
        while (const auto message = reader.next()) {
            messages.push_back(*message);
        }
    }
    EXPECT_THAT(messages, testing::ElementsAre("{}", "", "abc"));
    EXPECT_FALSE(reader.isLost());
    reader.feed(std::string("\x01\x00\x10\x00{}", 6));
    EXPECT_FALSE(reader.next());
    EXPECT_TRUE(reader.isLost());
}

TEST(Manifests, AreForTheBrowsersThatThereAre) {
    const support::TemporaryFolder home;
    const UserFolders folders{.home = home.path(), .config = home / "etc"};
    std::filesystem::create_directories(home / "etc/vivaldi");
    const auto written = install(folders, "/opt/fluvane-browser");
    EXPECT_THAT(written.files,
                testing::ElementsAre(home / ".mozilla/native-messaging-hosts/org.fluvane.fluvane.json",
                                     home / "etc/chromium/NativeMessagingHosts/org.fluvane.fluvane.json",
                                     home / "etc/vivaldi/NativeMessagingHosts/org.fluvane.fluvane.json"));
    for (const auto& file : written.files) {
        const auto json = Json::parse(readFile(file));
        const bool isFirefox = file.native().find(".mozilla") != std::string::npos;
        EXPECT_EQ(json["path"], "/opt/fluvane-browser");
        EXPECT_EQ(json[isFirefox ? "allowed_extensions" : "allowed_origins"][0],
                  isFirefox ? firefoxID : chromiumOrigin);
    }
    support::writeFile(home / "etc/vivaldi/NativeMessagingHosts/other.json", "{}");
    EXPECT_EQ(uninstall(folders).files, written.files);
    EXPECT_TRUE(std::filesystem::exists(home / "etc/vivaldi/NativeMessagingHosts/other.json"));
    EXPECT_TRUE(uninstall(folders).files.empty());
}

TEST(Manifests, SayWhichCouldNotBeWritten) {
    const support::TemporaryFolder home;
    support::writeFile(home / ".mozilla", "");
    const auto written = install({.home = home.path(), .config = home / "etc"}, "/opt/fluvane-browser");
    EXPECT_EQ(written.files.size(), 1);
    EXPECT_THAT(written.problems, testing::ElementsAre(testing::HasSubstr(".mozilla")));
}

} // namespace
