// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Coding.h"

#include "FluvaneCore/RecordDigest.h"
#include "Support/Rows.h"

#include <gtest/gtest.h>

#include <map>

using namespace fluvane;
using namespace support;
using coding::DecodingError;
using coding::Json;
using coding::parse;
using S = DownloadState;
using namespace std::chrono_literals;

namespace {

const Date noon = std::chrono::sys_days(std::chrono::year(2026) / 3 / 1) + 9h + 15min + 42s;

DownloadRecord plainRecord() {
    return {DownloadID{1}, *URL::parse("https://files.test/a.iso"), URL::folder("/tmp/in put"), std::nullopt,
            noon};
}

DownloadRecord fullRecord() {
    DownloadRecord record(DownloadID{2}, *URL::parse("https://files.test/a.iso"), URL::folder("/tmp/in put"),
                          URL::parse("https://page.test/"), noon);
    record.finalURL = URL::parse("https://cdn.test/x%20y?b=1&c=%2F");
    record.name = "ä \"x\".iso";
    record.partial = URL::file("/tmp/in put/ä \"x\".iso.fluvane");
    record.file = URL::file("/tmp/in put/ä.iso");
    record.size = 3'000'000'000;
    record.validators = Validators{"W/\"1\"", std::nullopt};
    record.resumable = true;
    record.pieces = {{0, 10, 4}, {10, {}, 0}};
    record.state = S::Wait::limitedNetwork;
    record.completed = noon + 1h;
    record.opensWebPage = false;
    record.checksum = Checksum(Checksum::Algorithm::md5, "d41d8cd98f00b204e9800998ecf8427e");
    record.checksumResult = ChecksumResult{ChecksumResult::Differs{"00"}};
    record.autoFolder = true;
    record.rule = std::string("r1");
    record.prioritized = true;
    record.queueOrder = -3;
    record.marked = true;
    record.removed = false;
    record.session = true;
    record.moving = FilePlace{URL::folder("/other"), "n"};
    return record;
}

/// The kind and the description of the failure, or that there is none.
std::string failureOf(const auto& work) {
    try {
        (void)work();
        return "decoded";
    } catch (const DecodingError& error) {
        const char* kinds[] = {"missing: ", "mismatch: ", "corrupted: "};
        return kinds[static_cast<int>(error.kind())] + std::string(error.what());
    }
}

/// What isn't told apart isn't saved.
TEST(RecordDigest, TellsApartByEachField) {
    const auto full = fullRecord();
    const Json json = coding::encode(full);
    EXPECT_EQ(digest(full), digest(coding::decode<DownloadRecord>(json)));
    const std::map<std::string, Json> others = {{"id", 3},
                                                {"url", "https://files.test/b"},
                                                {"folder", "file:///tmp/"},
                                                {"resumable", false},
                                                {"pieces", Json::parse(R"([{"start":0,"end":10,"done":5}])")},
                                                {"state", Json::parse(R"({"paused":{}})")},
                                                {"added", "2026-03-01T09:15:43Z"}};
    for (const auto& [key, value] : json.items()) {
        Json changed = json;
        const auto other = others.find(key);
        changed[key] = other == others.end() ? Json() : other->second;
        EXPECT_NE(digest(full), digest(coding::decode<DownloadRecord>(changed))) << key;
    }
}

TEST(Coding, WritesEveryKeyInOrderAndReadsItBack) {
    const Json json = coding::encode(fullRecord());
    std::string keys;
    for (const auto& [key, value] : json.items()) {
        keys += key + " ";
    }
    EXPECT_EQ(
        keys,
        "id url finalURL referrer folder name partial file size validators resumable pieces state added "
        "completed opensWebPage checksum checksumResult autoFolder rule prioritized queueOrder marked "
        "removed session moving ");
    EXPECT_EQ(json["pieces"].dump(), R"([{"start":0,"end":10,"done":4},{"start":10,"done":0}])");
    EXPECT_EQ(coding::decode<DownloadRecord>(parse(json.dump())), fullRecord());
    EXPECT_EQ(coding::encode(plainRecord()).size(), 7u) << "just what is required";
}

TEST(Coding, IgnoresUnknownKeysReadsNullAsAbsentAndMendsBrokenText) {
    Json json = coding::encode(plainRecord());
    json["size"] = json["checksumResult"] = nullptr;
    json["unheardOf"] = 1;
    EXPECT_EQ(coding::decode<DownloadRecord>(json), plainRecord());
    DownloadRecord record = plainRecord();
    record.name = "caf\xE9";
    record.state = S::Failed{"\xC3"};
    EXPECT_EQ(coding::decode<DownloadRecord>(parse(coding::encode(record).dump())).name, "caf\uFFFD");
}

TEST(Coding, RejectsARecordWithASentenceThatHelps) {
    const std::string range =
        "corrupted: Expected a whole number from -9223372036854775808 to 9223372036854775807 under 'size'.";
    const NamedRow<const char*, std::string> rows[] = {
        // nothing given: the key is taken away
        {"id", nullptr, "missing: The key 'id' is missing."},
        {"size", "9223372036854775808", range},
        {"url", "\"no link\"", "corrupted: Expected a link under 'url'."},
        {"pieces", R"([{"start":9223372036854775807,"done":1}])",
         "corrupted: A piece lies beyond what a file can hold."},
        {"pieces", R"([{"start":0,"done":9223372036854775807},{"start":0,"done":1}])",
         "corrupted: The pieces hold more bytes than a file can."},
        {"state", R"({"queued":{},"paused":{}})", "mismatch: Invalid number of keys found, expected one."},
        {"state", R"({"waiting":{"_0":"tired"}})", "corrupted: Expected a reason to wait under '_0'."},
    };
    for (const auto& [key, value, failure] : rows) {
        Json json = coding::encode(plainRecord());
        json.erase(key);
        if (value) {
            json[key] = parse(value);
        }
        EXPECT_EQ(failureOf([&] { return coding::decode<DownloadRecord>(json); }), failure) << key;
    }
}

TEST(Coding, StatesAndRulesAsTheyAreStored) {
    const auto rule = [](const char* text) {
        return coding::encode(coding::decode<Rule>(parse(text))).dump();
    };
    EXPECT_EQ(coding::encode(coding::decode<S>(parse(R"({"paused":{"x":1},"asleep":7})"))).dump(),
              R"({"paused":{}})");
    const Rows<const char*, const char*> rules = {
        {R"({"connections":2,"match":{"site":"Files.TEST"},"id":"a"})",
         R"({"id":"a","match":{"site":"files.test"},"connections":2})"},
        {R"({"id":"a","match":{"extensions":["ZIP","rar"]},"folder":"~/Z"})",
         R"({"id":"a","match":{"extensions":["zip","rar"]},"folder":"~/Z"})"},
    };
    expectRows(rules, rule);
    EXPECT_EQ(failureOf([&] { return rule(R"({"id":"a","match":{"kind":"books","site":"x"}})"); }),
              "corrupted: Expected a kind of file under 'kind'.");
}

TEST(Coding, Dates) {
    EXPECT_EQ(coding::encode(noon + 999ms), "2026-03-01T09:15:42Z") << "the fraction is dropped";
    EXPECT_EQ(coding::decode<Date>("2026-03-01T09:15:42Z"), noon);
    for (const char* text : {"2026-02-29T00:00:00Z", "2026-01-01T24:00:00Z", ""}) {
        EXPECT_EQ(failureOf([&] { return coding::decode<Date>(text); }),
                  "corrupted: Expected a date like 2026-03-01T09:15:42Z.");
    }
}

TEST(Coding, ParsesEveryKindOfValueAndJSONOnly) {
    const std::string values =
        R"([{"b":[],"a":[1,-2,2.5,true,null,{"x":{}}],"c":"é\n"},[[]],{},18446744073709551615])";
    EXPECT_EQ(parse(values).dump(), values);
    const Rows<std::string, const char*> rows = {
        {"{\n \"a\": 1,\n \"b\": x}", "The text is no JSON at line 3, column 7."},
        {"\"\\ud800\"", "The text is no JSON at line 1, column 8."},
        {"\"\xFF\"", "The text is no JSON at line 1, column 2."},
        {std::string(100'000, '['), "The JSON is nested too deeply."},
    };
    expectRows(rows, [](const auto& text) { return failureOf([&] { return parse(text); }).substr(11); });
}

} // namespace
