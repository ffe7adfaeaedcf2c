// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Answers.h"

#include "FluvaneCore/Rules.h"
#include "FluvaneCore/Text.h"
#include "FluvaneCore/WebPage.h"
#include "TessivarPhrases/Phrases.h"

#include <algorithm>

namespace fluvane::answers {

namespace {

Refusal refuseProbe(int status) {
    switch (status) {
    case 401:
    case 403:
        return Refused{tessivar::kept("kept", "The server refused to send the file (%1).", status)};
    case 404:
    case 410:
        return Refused{tessivar::kept("kept", "The server says the file isn't there (%1).", status)};
    case 416:
        return Refused{tessivar::kept("kept", "The server can't send this file (%1).", status)};
    default:
        return Refused{tessivar::kept("kept", "The server answered %1 instead of sending the file.", status)};
    }
}

Refusal refusePiece(int status) {
    switch (status) {
    case 401:
    case 403:
    case 404:
    case 410:
        return LinkExpired{};
    case 416:
        return FileChanged{};
    default:
        return Refused{tessivar::kept("kept", "The server answered %1 instead of sending the file.", status)};
    }
}

bool isKnownSame(const Validators& a, const Validators& b) {
    const bool comparable = (a.etag && b.etag) || (a.lastModified && b.lastModified);
    return comparable && !a.differ(b);
}

bool namesAFile(const std::string& name) {
    const auto extension = text::lowercased(text::pathExtension(name));
    return std::ranges::any_of(fileKind::all,
                               [&](FileKind kind) { return fileKind::hasExtension(kind, extension); });
}

} // namespace

std::optional<Refusal> refusal(int status, Request request) {
    switch (status) {
    case 200:
    case 206:
        return std::nullopt;
    case 429:
    case 503:
        return Busy{.halves = true};
    case 408:
    case 425:
        return Busy{.halves = false};
    default:
        break;
    }
    if (status >= 500 && status <= 599) {
        return Busy{.halves = false};
    }
    return request == Request::probe ? refuseProbe(status) : refusePiece(status);
}

std::optional<FileFacts> fileFacts(const TransferResponse& response) {
    if (response.isEncoded()) {
        return FileFacts{};
    }
    if (response.status() == 206) {
        const auto range = response.contentRange();
        const bool isAsked = range && range->first == 0;
        return isAsked ? std::optional(FileFacts{.size = range->total, .resumable = true}) : std::nullopt;
    }
    const auto length = response.contentLength();
    return FileFacts{.size = length >= 0 ? length : std::nullopt,
                     .resumable = response["accept-ranges"] == "bytes"};
}

TransferResponse withEmptyFile(const TransferResponse& response) {
    const auto range = response["content-range"];
    if (response.status() != 416 || !range || ContentRange::unsatisfiedTotal(*range) != 0) {
        return response;
    }
    auto headers = TransferResponse::Headers(response.headers().begin(), response.headers().end());
    // What else it says of the body is said of an error page.
    std::erase_if(headers, [](const auto& header) {
        return header.first.starts_with("content-") && header.first != "content-disposition";
    });
    headers.emplace_back("content-length", "0");
    return {200, response.url(), headers};
}

std::string suggestedName(const TransferResponse& response, const fileName::TypeRegistry& types) {
    return fileName::suggested(response["content-disposition"], response.url(), response["content-type"],
                               types);
}

/// Whether a page was asked for is seen by the name without the ending that its type gives it; when the
/// server leads elsewhere, as to where one signs in, by the link's own if that is a file's.
bool opensPage(const TransferResponse& response, const URL& link, std::optional<std::int64_t> size) {
    const auto disposition = response["content-disposition"];
    const auto linkName = link.lastPathComponent();
    const bool isLed = response.url() != link && !disposition;
    const auto asked = isLed && namesAFile(linkName)
                           ? linkName
                           : fileName::suggested(disposition, response.url(), std::nullopt);
    return webPage::isLikely(response["content-type"], asked, size);
}

Part part(const TransferResponse& response, const DownloadRecord& record, const Piece& piece) {
    const auto range = response.contentRange();
    if (!range || range->first != piece.next() || response.isEncoded()) {
        return Part::isWrong;
    }
    const bool otherSize = range->total && record.size && *range->total != *record.size;
    const bool otherFile = record.validators && response.validators().differ(*record.validators);
    return otherSize || otherFile ? Part::ofAnotherFile : Part::fits;
}

bool isPage(const TransferResponse& response, const DownloadRecord& record) {
    return response.status() == 200 && record.name &&
           webPage::isLikely(response["content-type"], *record.name, response.contentLength());
}

bool saysAllCame(const TransferResponse& response, std::int64_t bytes) {
    const auto range = response["content-range"];
    return response.status() == 416 && range && ContentRange::unsatisfiedTotal(*range) == bytes;
}

Mirror mirror(const TransferResponse& response, const DownloadRecord& record, std::int64_t from) {
    const auto range = response.contentRange();
    if (!range || range->first != from || response.isEncoded()) {
        return Mirror::isWrong;
    }
    if (range->total != record.size) {
        return Mirror::ofAnotherFile;
    }
    // A strong tag alone tells: that of a file with another date is another file's, or another server's.
    const auto tag = record.validators ? record.validators->etag : std::nullopt;
    const bool isStrong = tag && !tag->starts_with("W/");
    return isStrong && response.validators().etag == tag ? Mirror::same : Mirror::mayBeSame;
}

WholeFile wholeFile(const TransferResponse& response, const DownloadRecord& record) {
    if (!record.validators) {
        return WholeFile::mayBeSame;
    }
    const auto validators = response.validators();
    if (validators.differ(*record.validators)) {
        return WholeFile::ofAnotherFile;
    }
    return isKnownSame(validators, *record.validators) ? WholeFile::same : WholeFile::mayBeSame;
}

} // namespace fluvane::answers
