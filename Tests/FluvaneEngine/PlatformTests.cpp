// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Platform.h"

#include "Support/Rows.h"

#include <gtest/gtest.h>

using namespace fluvane;
using namespace support;

namespace {

TransferResponse response(const TransferResponse::Headers& headers) {
    return {206, *URL::parse("https://files.test/a"), headers};
}

TEST(TransferResponse, FindsHeadersWhateverTheirCase) {
    const auto answer = response({{"etag", "\"1\""}, {"ETag", "\"2\""}, {"Last-Modified", "then"}});
    EXPECT_EQ(answer["ETAG"], "\"1\"") << "the first met is kept";
    EXPECT_EQ(answer.headers().size(), 2U);
    EXPECT_EQ(answer["content-type"], std::nullopt);
    EXPECT_EQ(answer.validators(), (Validators{"\"1\"", "then"}));
}

TEST(TransferResponse, KnowsAnEncodedBody) {
    EXPECT_FALSE(response({}).isEncoded());
    for (const auto& [value, encoded] : {std::pair{"gzip", true},
                                         {"Identity \t", false},
                                         {"", false},
                                         {"  ", false},
                                         {"identity, gzip", true}}) {
        EXPECT_EQ(response({{"Content-Encoding", value}}).isEncoded(), encoded) << value;
    }
}

TEST(TransferResponse, ReadsLengths) {
    const Rows<const char*, std::optional<std::int64_t>> rows = {
        {"42", 42},
        {" +42 ", 42},
        {"-5", -5},
        {"12abc", {}},
        {"", {}},
        {"4.0", {}},
        {"9223372036854775808", {}},
    };
    expectRows(rows, [&](const auto& value) {
        return response({{"Content-Length", value}}).contentLength();
    });
    EXPECT_EQ(response({{"CONTENT-RANGE", "bytes 0-9/10"}}).contentRange(), (ContentRange{0, 9, 10}));
    EXPECT_EQ(response({{"Content-Range", "bytes 9-0/10"}}).contentRange(), std::nullopt);
}

} // namespace
