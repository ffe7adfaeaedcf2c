// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Answers.h"

#include "Support/Engine.h"

#include <gtest/gtest.h>

namespace fluvane::answers {
namespace {

using support::headers;
using support::link;
using support::operator""_id;

std::string told(const std::optional<Refusal>& refusal) {
    struct Words {
        std::string operator()(const Busy& busy) const { return busy.halves ? "busy, halve" : "busy"; }
        std::string operator()(const LinkExpired&) const { return "expired"; }
        std::string operator()(const FileChanged&) const { return "changed"; }
        std::string operator()(const Refused& refused) const { return refused.sentence; }
    };
    return refusal ? std::visit(Words(), *refusal) : "used";
}

TEST(Answers, RefusalsByStatus) {
    struct {
        int status;
        const char* probe;
        const char* piece;
    } const rows[] = {
        {200, "used", "used"},
        {401, "The server refused to send the file (401).", "expired"},
        {404, "The server says the file isn't there (404).", "expired"},
        {416, "The server can't send this file (416).", "changed"},
        {429, "busy, halve", "busy, halve"},
        {503, "busy, halve", "busy, halve"},
        {408, "busy", "busy"},
        {599, "busy", "busy"},
        {600, "The server answered 600 instead of sending the file.",
         "The server answered 600 instead of sending the file."},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(told(refusal(row.status, Request::probe)), row.probe);
        EXPECT_EQ(told(refusal(row.status, Request::piece)), row.piece) << row.status;
    }
}

TransferResponse answer(int status, const std::string& lines) {
    return {status, link("http://a.example/f"), headers(lines)};
}

TEST(TransferResponse, FindsHeadersWhateverTheirCaseAndReadsThem) {
    const auto first =
        answer(206, "etag: \"1\"\nETag: \"2\"\nLast-Modified: then\nContent-Encoding: Identity \t");
    EXPECT_EQ(first.validators(), (Validators{"\"1\"", "then"})) << "the first met is kept";
    EXPECT_EQ(first.headers().size(), 3U);
    EXPECT_FALSE(first.isEncoded());
    EXPECT_TRUE(answer(206, "Content-Encoding: identity, gzip").isEncoded());
    EXPECT_EQ(answer(206, "CONTENT-LENGTH:  +42 ").contentLength(), 42);
    for (const std::string wrong : {"12abc", "", "9223372036854775808"}) {
        EXPECT_EQ(answer(206, "Content-Length: " + wrong).contentLength(), std::nullopt) << wrong;
    }
    EXPECT_EQ(answer(206, "Content-Range: bytes 9-0/10").contentRange(), std::nullopt);
}

TEST(Answers, WhatAProbeLearns) {
    struct {
        const char* name;
        int status;
        const char* headers;
        std::optional<std::int64_t> size;
        bool resumable;
    } const rows[] = {
        {"part", 206, "Content-Range: bytes 0-49/5000000", 5'000'000, true},
        {"part of unknown length", 206, "Content-Range: bytes 0-9/*", {}, true},
        {"whole with parts", 200, "Content-Length: 50\nAccept-Ranges: bytes", 50, true},
        {"parts refused", 200, "Content-Length: 9\nAccept-Ranges: none", 9, false},
        {"no length", 200, "", {}, false},
        {"a length beside chunks", 200, "Content-Length: 5\nTransfer-Encoding: chunked", {}, false},
        {"senseless length", 200, "Content-Length: -5", {}, false},
        {"encoded", 206, "Content-Range: bytes 0-9/10\nContent-Encoding: gzip", {}, false},
    };
    for (const auto& row : rows) {
        const auto facts = fileFacts(answer(row.status, row.headers));
        ASSERT_TRUE(facts) << row.name;
        EXPECT_EQ(facts->size, row.size) << row.name;
        EXPECT_EQ(facts->resumable, row.resumable) << row.name;
    }
    EXPECT_FALSE(fileFacts(answer(206, "Content-Range: bytes 100-199/200")));
    EXPECT_FALSE(fileFacts(answer(206, "")));
}

DownloadRecord known() {
    DownloadRecord record(1_id, link("http://a.example/f"), URL::folder("/d"), std::nullopt, Date());
    record.size = 1000;
    record.validators = Validators{"\"v\"", "then"};
    return record;
}

TEST(Answers, WhatAPartIsOf) {
    struct {
        const char* name;
        const char* headers;
        Part expected;
    } const rows[] = {
        {"asked for", "Content-Range: bytes 120-199/1000\nETag: \"v\"", Part::fits},
        {"says less", "Content-Range: bytes 120-199/*", Part::fits},
        {"no range", "ETag: \"v\"", Part::isWrong},
        {"from the piece's start", "Content-Range: bytes 100-199/1000", Part::isWrong},
        {"encoded", "Content-Range: bytes 120-199/1000\nContent-Encoding: gzip", Part::isWrong},
        {"other size", "Content-Range: bytes 120-199/1001", Part::ofAnotherFile},
        {"other tag", "Content-Range: bytes 120-199/1000\nETag: \"w\"", Part::ofAnotherFile},
        {"other date", "Content-Range: bytes 120-199/1000\nLast-Modified: now", Part::ofAnotherFile},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(part(answer(206, row.headers), known(), {100, 200, 20}), row.expected) << row.name;
    }
}

} // namespace
} // namespace fluvane::answers
