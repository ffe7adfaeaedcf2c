// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// What servers answer: header values, and the lines of a head.

#include "Fluvane/Linux/Transport/ResponseHead.h"
#include "FluvaneEngine/Answers.h"
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
    "Content-Range: bytes 0-9/10\r\nContent-Encoding: Identity\r\n\r\nTrailer: x\r\n",
    "HTTP/2 200 \r\nContent-Type: Text/HTML ; charset=x\r\nContent-Disposition: attachment;\r\n "
    "filename=\"a\"\r\n"
    "Last-Modified: Sun, 06 Nov 1994 08:49:37 GMT\r\nContent-Length:\t-5\r\nAccept-Ranges: bytes\r\n\r\n"};

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
    const TransferResponse answer(head.status(), *URL::parse("http://h.org/a"), head.headers());
    for (const auto& [name, value] : head.headers()) {
        require((name + value).find('\n') == std::string::npos, "a field is a line");
        require(answer[name].has_value(), "a field is found");
    }
    const auto facts = answers::fileFacts(answer);
    require(!facts || facts->size.value_or(0) >= 0, "a file isn't smaller than nothing");
}
