// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Transport/ResponseHead.h"

#include <gtest/gtest.h>

namespace fluvane::support {

namespace {

struct Row {
    const char* name;
    std::string_view text;
    int status; ///< Of the final head, 0: none comes.
    TransferResponse::Headers headers{};
};

std::string_view takeLine(std::string_view& text) {
    const auto line = text.substr(0, text.find('\n') + 1);
    text.remove_prefix(line.size());
    return line;
}

} // namespace

TEST(ResponseHead, FindsTheFinalHead) {
    const std::vector<Row> rows = {
        {"no reason", "HTTP/1.1 200\r\n\r\n", 200},
        {"folded line", "HTTP/1.1 200 OK\r\nA: b\r\n\t c\r\nD: e\r\n\r\n", 200, {{"A", "b c"}, {"D", "e"}}},
        {"line without a colon", "HTTP/1.1 200 OK\r\nnonsense\r\nA:b\r\n\r\n", 200, {{"A", "b"}}},
        {"interim answers first",
         "HTTP/1.1 100 Continue\r\nX: y\r\n\r\nHTTP/1.1 103 Early Hints\r\nLink: l\r\n\r\nHTTP/1.1 200 "
         "OK\r\n\r\n",
         200},
        {"redirect first",
         "HTTP/1.1 302 Found\r\nLOCATION: /b\r\nETag: x\r\n\r\nHTTP/1.1 200 OK\r\nA: b\r\n\r\n",
         200,
         {{"A", "b"}}},
        {"redirect to nowhere", "HTTP/1.1 302 Found\r\nLocation:  \r\n\r\n", 302, {{"Location", ""}}},
        {"created has a location", "HTTP/1.1 201 Created\r\nLocation: /b\r\n\r\n", 201, {{"Location", "/b"}}},
        {"a location before a redirect doesn't count for the next",
         "HTTP/1.1 301 M\r\nLocation: /b\r\n\r\nHTTP/1.1 300 Multiple\r\n\r\n", 300},
        {"trailers are no headers", "HTTP/1.1 200 OK\r\nA: b\r\n\r\nC: d\r\n\r\n", 200, {{"A", "b"}}},
        {"cut short", "HTTP/1.1 200 OK\r\nA: b\r\n", 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        ResponseHead head;
        int finals = 0;
        for (auto text = row.text; !text.empty();) {
            finals += head.add(takeLine(text)) == ResponseHead::Step::final ? 1 : 0;
        }
        EXPECT_EQ(finals, row.status == 0 ? 0 : 1);
        EXPECT_EQ(head.isFinal(), row.status != 0);
        if (row.status != 0) {
            EXPECT_EQ(head.status(), row.status);
            EXPECT_EQ(head.headers(), row.headers);
        }
    }
}

} // namespace fluvane::support
