// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Answers.h"

#include "Support/Engine.h"

#include <gtest/gtest.h>

namespace fluvane::answers {
namespace {

TransferResponse answer(int status, const TransferResponse::Headers& headers) {
    return {status, support::link("http://a.example/f"), headers};
}

TEST(TransferResponse, FindsHeadersWhateverTheirCaseAndReadsThem) {
    const auto first = answer(
        206, {{"etag", "1"}, {"ETag", "2"}, {"Last-Modified", "then"}, {"Content-Encoding", "Identity \t"}});
    EXPECT_EQ(first.validators(), (Validators{"1", "then"})) << "the first met is kept";
    EXPECT_EQ(first.headers().size(), 3U);
    EXPECT_FALSE(first.isEncoded());
    EXPECT_TRUE(answer(206, {{"Content-Encoding", "identity, gzip"}}).isEncoded());
    EXPECT_EQ(answer(206, {{"CONTENT-LENGTH", " +42 "}}).contentLength(), 42);
    for (const std::string wrong : {"12abc", "", "9223372036854775808"}) {
        EXPECT_EQ(answer(206, {{"Content-Length", wrong}}).contentLength(), std::nullopt) << wrong;
    }
    EXPECT_EQ(answer(206, {{"Content-Range", "bytes 9-0/10"}}).contentRange(), std::nullopt);
}

TEST(Answers, WhatIsNoSize) {
    EXPECT_EQ(fileFacts(answer(200, {{"Content-Length", "-5"}}))->size, std::nullopt);
    for (const auto& [name, value] :
         {std::pair("Transfer-Encoding", "chunked"), {"Content-Encoding", "gzip"}}) {
        EXPECT_EQ(fileFacts(answer(200, {{"Content-Length", "5"}, {name, value}}))->size, std::nullopt)
            << name;
    }
}

} // namespace
} // namespace fluvane::answers
