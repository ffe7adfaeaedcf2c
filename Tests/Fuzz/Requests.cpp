// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// What comes through the control socket: requests to the application, and its list for those who watch.

#include "Fluvane/Commands/ControlRequest.h"
#include "FluvaneCore/Coding.h"
#include "FluvaneCore/Text.h"
#include "FluvaneWatch/Listing.h"
#include "Fuzz/Fuzz.h"
#include <algorithm>

using namespace fluvane;

const fuzz::Inputs fuzz::seeds = {
    R"(["add","http://h/a[1-2]","--to","/x y/","--checksum","d41d8cd98f00b204e9800998ecf8427e"])",
    R"( [ "rem\u006fve" , "9223372036854775808","\ud83d\ude00\n"] )",
    R"([{"id":7,"name":"a","state":"failed","reason":"No.","downloaded":10,"size":-4,"connections":3}])"};

void fuzz::check(std::string_view input) {
    if (const auto arguments = parseRequest(input)) {
        require(parseRequest(coding::Json(*arguments).dump()) == arguments, "a request reads back");
        require(std::ranges::all_of(*arguments, text::isValid), "arguments are text");
    }
    for (const auto& row : watch::parseListing(input).value_or(std::vector<watch::Row>())) {
        require(row.downloaded >= 0 && row.size.value_or(0) >= 0, "no negative counts");
    }
}
