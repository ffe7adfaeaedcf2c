// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// What servers answer: header values, and the lines of a head.

#include "FluvaneCore/Headers.h"
#include "Fluvane/Linux/Transport/ResponseHead.h"
#include "Fuzz/Fuzz.h"

using namespace fluvane;

const fuzz::Inputs fuzz::seeds = {
    "bytes 0-9223372036854775806/9223372036854775807",
    "bytes */4096",
    "attachment; filename=\"a \\\"b\\\".zip\"; filename*=UTF-8'en'%e2%82%ac.txt",
    "inline; filename*=ISO-8859-1''caf%E9%2.txt; FileName=b",
    "Sun, 06 Nov 1994 08:49:38 GMT",
    "-1e999",
    "HTTP/1.1 302 Found\r\nLocation: /b\r\n\r\nHTTP/1.1 206 Partial\r\nContent-Length: 42\r\nETag: \"x\"\r\n"
    "Content-Range: bytes 0-9/10\r\nContent-Encoding: Identity\r\n\r\nTrailer: x\r\n"};

void fuzz::check(std::string_view input) {
    if (const auto range = ContentRange::parse(input)) {
        require(range->first >= 0 && range->first <= range->last, "a range isn't backwards");
        require(!range->total || range->last < *range->total, "a range is within its file");
    }
    for (const auto now : {Date(), Date::min(), Date::max()}) {
        const auto wait = retryAfter::delay(input, now).value_or(0);
        require(wait >= 0 && wait <= retryAfter::longest, "a wait is bounded");
    }
    require(contentDisposition::fileName(input) != "", "a name isn't empty");
    ResponseHead head;
    for (int finals = 0; !input.empty(); require(finals == (head.isFinal() ? 1 : 0), "one head is final")) {
        const auto line = input.substr(0, std::min(input.find('\n'), input.size() - 1) + 1);
        finals += head.add(line) == ResponseHead::Step::final ? 1 : 0;
        input.remove_prefix(line.size());
    }
}
