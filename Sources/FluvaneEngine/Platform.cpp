// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Platform.h"

#include "FluvaneCore/Text.h"

namespace fluvane {

TransferResponse::TransferResponse(int status, URL url, const Headers& headers)
    : status_(status), url_(std::move(url)) {
    for (const auto& [name, value] : headers) {
        headers_.try_emplace(text::lowercased(name), value);
    }
}

std::optional<std::string> TransferResponse::operator[](std::string_view name) const {
    const auto found = headers_.find(text::lowercased(name));
    if (found == headers_.end()) {
        return std::nullopt;
    }
    return found->second;
}

Validators TransferResponse::validators() const {
    return {(*this)["etag"], (*this)["last-modified"]};
}

bool TransferResponse::isEncoded() const {
    const auto header = (*this)["content-encoding"];
    const std::string encoding = text::lowercased(text::trimmed(header ? std::string_view(*header) : ""));
    return !encoding.empty() && encoding != "identity";
}

std::optional<ContentRange> TransferResponse::contentRange() const {
    const auto header = (*this)["content-range"];
    return header ? ContentRange::parse(*header) : std::nullopt;
}

std::optional<std::int64_t> TransferResponse::contentLength() const {
    // Beside chunks it isn't the body's length, whatever it says.
    const auto header = headers_.contains("transfer-encoding") ? std::nullopt : (*this)["content-length"];
    return header ? text::wholeNumber(text::trimmed(*header)) : std::nullopt;
}

std::string_view rawValue(LimitedNetwork network) {
    return network == LimitedNetwork::hotspot ? "hotspot" : "lowDataMode";
}

} // namespace fluvane
