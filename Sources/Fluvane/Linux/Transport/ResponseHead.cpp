// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Transport/ResponseHead.h"

#include "FluvaneCore/Text.h"

#include <algorithm>
#include <charconv>

namespace fluvane {

namespace {

constexpr std::size_t mostBytes = 1024 * 1024;

std::string_view withoutBlanks(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

/// The status of "HTTP/1.1 206 Partial Content", 0 if there is none.
int statusOf(std::string_view statusLine) {
    const auto blank = statusLine.find(' ');
    if (blank == std::string_view::npos) {
        return 0;
    }
    const auto digits = withoutBlanks(statusLine.substr(blank));
    int status = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), status);
    return status;
}

} // namespace

ResponseHead::Step ResponseHead::add(std::string_view line) {
    total_ += line.size();
    if (total_ > mostBytes) {
        return Step::unusable;
    }
    if (final_) {
        return Step::more; // a trailer
    }
    if (!inHead_) {
        startHead(line);
        return Step::more;
    }
    if (line == "\r\n" || line == "\n") {
        return endHead();
    }
    return addField(line);
}

void ResponseHead::startHead(std::string_view statusLine) {
    if (!statusLine.starts_with("HTTP/")) {
        return;
    }
    inHead_ = true;
    leadsElsewhere_ = false;
    status_ = statusOf(statusLine);
    headers_.clear();
}

ResponseHead::Step ResponseHead::addField(std::string_view line) {
    if ((line.front() == ' ' || line.front() == '\t') && !headers_.empty()) {
        headers_.back().second.append(" ").append(withoutBlanks(line)); // a folded line
        return Step::more;
    }
    const auto colon = line.find(':');
    if (colon == std::string_view::npos) {
        return Step::more;
    }
    const auto name = withoutBlanks(line.substr(0, colon));
    const auto value = withoutBlanks(line.substr(colon + 1));
    leadsElsewhere_ = leadsElsewhere_ || (text::equalIgnoringASCIICase(name, "location") && !value.empty());
    headers_.emplace_back(name, value);
    return contradictsItself() ? Step::unusable : Step::more;
}

/// Of two lengths the engine would go by one and the library by the other.
bool ResponseHead::contradictsItself() const {
    constexpr std::string_view length = "content-length";
    const auto& last = headers_.back();
    return text::equalIgnoringASCIICase(last.first, length) &&
           std::ranges::any_of(headers_, [&](const auto& header) {
               return text::equalIgnoringASCIICase(header.first, length) && header.second != last.second;
           });
}

ResponseHead::Step ResponseHead::endHead() {
    inHead_ = false;
    if (status_ < 200) {
        return Step::more;
    }
    if (status_ >= 300 && status_ < 400 && leadsElsewhere_) {
        return Step::redirect;
    }
    final_ = true;
    return Step::final;
}

} // namespace fluvane
