// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Beginning a download: carrying on from what is on disk, or asking the server what the file is.

#include "FluvaneCore/Planner.h"
#include "FluvaneCore/WebPage.h"
#include "FluvaneCore/Words.h"
#include "FluvaneEngine/DownloadManager.h"
#include "FluvaneEngine/Log.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace fluvane {

using State = DownloadState;

namespace {

constexpr const char* wrongPart = "The server sent a part of the file that wasn't asked for.";
constexpr const char* webPageReason =
    "This link opens a web page, not a file. It may need you to sign in, or to start "
    "the download on that page, in your browser.";

/// No file system holds more, and the planner's products stay within 64 bits.
constexpr std::int64_t largestFile = std::int64_t{1} << 56;

std::string partialName(const std::string& name) {
    return name + "." + DownloadManager::partialExtension;
}

/// The refused range of an empty file, as if the file had been sent.
bool saysEmptyFile(const TransferResponse& response) {
    const auto range = response["content-range"];
    return response.status() == 416 && range && ContentRange::unsatisfiedTotal(*range) == 0;
}

} // namespace

void DownloadManager::begin(Download& download, bool fresh) {
    if (fresh) {
        download.failures = 0;
        download.offlineFailures = 0;
        download.connectionCap = ruleCap(download, config_);
        download.target = std::min(download.connectionCap, startingConnections);
        download.capBeforeWholeFile.reset();
        measureAfresh(download, true);
    }
    download.meter = SpeedMeter();
    download.lastLive.reset();
    if (!carryOn(download)) {
        probe(download);
    }
}

bool DownloadManager::carryOn(Download& download) {
    auto& record = download.record;
    if (!record.size || !record.partial || !record.name || record.pieces.empty()) {
        return false;
    }
    if (!record.resumable && !allComplete(record.pieces)) {
        return false;
    }
    // A file that is gone or cut off would be created or extended with a hole where the saved bytes were.
    if (!files_->exists(*record.partial) || files_->size(*record.partial).value_or(-1) < *record.size) {
        return false;
    }
    try {
        download.file = files_->open(*record.partial);
    } catch (const FileError&) {
        return false;
    }
    download.bytesAtFailure = record.doneBytes();
    if (!download.durable) {
        download.durable = record.pieces;
    }
    log::downloads([&] {
        return fmt::format("download {} picks up at {} of {} bytes", record.id, record.doneBytes(),
                           *record.size);
    });
    set(download, State::Downloading{});
    fill(download);
    return true;
}

void DownloadManager::probe(Download& download) {
    auto& record = download.record;
    if (record.partial) {
        files_->remove(*record.partial);
    }
    record.partial.reset();
    record.opensWebPage.reset();
    layOut(download, {});
    download.bytesAtFailure = 0;
    set(download, State::Starting{});
    startTransfer(download, 0,
                  TransferRequest{.url = record.url,
                                  .from = 0,
                                  .referrer = record.referrer,
                                  .label = fmt::format("download {}, probe", record.id)},
                  true);
}

void DownloadManager::probeAnswered(Download& download, const TransferResponse& response) {
    if (saysEmptyFile(response)) {
        auto headers = TransferResponse::Headers(response.headers().begin(), response.headers().end());
        // What else it says of the body is said of an error page.
        std::erase_if(headers, [](const auto& header) {
            return header.first.starts_with("content-") && header.first != "content-disposition";
        });
        headers.emplace_back("content-length", "0");
        probeAnswered(download, TransferResponse(200, response.url(), headers));
        return;
    }
    if (refusal(download, 0, response, true) || !readAnswer(download, response)) {
        return;
    }
    const auto contentType = response["content-type"];
    const auto suggested = fileName::suggested(response["content-disposition"], response.url(), contentType,
                                               surroundings_.types);
    if (webPage::isLikely(contentType, suggested, download.record.size)) {
        download.record.opensWebPage = true;
        fail(download, webPageReason);
        return;
    }
    chooseFolder(download, download.record.name.value_or(suggested));
    if (!enoughSpace(download)) {
        return;
    }
    chooseName(download, suggested);
    if (createFile(download)) {
        handOver(download, response.status());
    }
}

/// Learns validators, size and whether the server sends parts. False once it has failed the download.
bool DownloadManager::readAnswer(Download& download, const TransferResponse& response) {
    auto& record = download.record;
    const auto validators = response.validators();
    record.validators = validators.isEmpty() ? std::nullopt : std::optional(validators);
    record.finalURL = response.url();
    record.size.reset();
    record.resumable = false;
    if (response.isEncoded()) {
        return true;
    }
    const auto range = response.contentRange();
    if (response.status() == 206 && (!range || range->first != 0)) {
        fail(download, wrongPart);
        return false;
    }
    if (response.status() == 206) {
        record.size = range->total;
        record.resumable = true;
        return true;
    }
    const auto length = response.contentLength();
    if (length && *length >= 0) {
        record.size = length;
    }
    record.resumable = response["accept-ranges"] == "bytes";
    return true;
}

void DownloadManager::chooseFolder(Download& download, const std::string& name) {
    auto& record = download.record;
    if (!record.autoFolder.value_or(false)) {
        return;
    }
    const Rule* const rule = rules::folderRule(config_.rules, name, record.url.site());
    record.folder = surroundings_.folder(rule ? rule->folder : config_.folder);
    record.rule = rule ? std::optional(rule->id) : std::nullopt;
    if (rule) {
        log::downloads([&] { return fmt::format("download {}: a rule picks its folder", record.id); });
    }
}

bool DownloadManager::enoughSpace(Download& download) {
    const auto& record = download.record;
    const auto free = record.size ? files_->availableSpace(record.folder) : std::nullopt;
    if (!free || *free >= *record.size) {
        return true;
    }
    fail(download, fmt::format("Not enough space: it needs {}, and there's {} free.",
                               words::bytes(*record.size), words::bytes(*free)));
    return false;
}

/// A name settled in an earlier run is asked again: its folder may be another by now.
void DownloadManager::chooseName(Download& download, const std::string& suggested) {
    auto& record = download.record;
    record.name = fileName::unique(
        record.name.value_or(suggested), config_.duplicateNames,
        [&](const std::string& name) { return !uniqueName(name, record.folder, download); },
        partialName({}).size());
}

/// Whether the name is free for this download in the folder.
bool DownloadManager::uniqueName(const std::string& name, const URL& folder, const Download& download) const {
    const auto isSame = [&](const std::unique_ptr<Download>& other) {
        return other.get() != &download && other->record.name == name && other->record.folder == folder;
    };
    return std::ranges::none_of(downloads_, isSame) && !files_->exists(folder.appending(name)) &&
           !files_->exists(folder.appending(partialName(name)));
}

bool DownloadManager::createFile(Download& download) {
    auto& record = download.record;
    if (record.size > largestFile) {
        fail(download, "Couldn't create the file: File too large");
        return false;
    }
    const auto location = record.folder.appending(partialName(*record.name));
    try {
        download.file = files_->create(location, record.size);
    } catch (const FileError& error) {
        fail(download, fmt::format("Couldn't create the file: {}", error.what()));
        return false;
    }
    record.partial = location;
    return true;
}

/// The probe's connection becomes the one of the first piece.
void DownloadManager::handOver(Download& download, int status) {
    auto& record = download.record;
    const bool inParts = record.size && record.resumable;
    layOut(download, inParts ? planner::split(*record.size, cap(download), minimumPiece)
                             : std::vector{Piece{.start = 0, .end = record.size, .done = 0}});
    auto& active = download.transfers.at(0);
    active.isProbe = false;
    active.offset = 0;
    active.acceptedAt = 0;
    active.transfer->accept(download.file, 0, record.pieces.front().end);
    log::downloads([&] {
        const auto size = record.size ? fmt::format("{} bytes", *record.size) : std::string("size unknown");
        const auto count = record.pieces.size();
        const auto parts = !record.resumable ? std::string("one connection, the server doesn't send parts")
                           : count == 1      ? std::string("in one piece")
                                             : fmt::format("in {} pieces", count);
        return fmt::format("download {}: {}, {}, {}", record.id, status, size, parts);
    });
    set(download, State::Downloading{});
    fill(download);
}

void DownloadManager::updateLink(DownloadID id, const URL& url) {
    assertContext();
    Download* const download = find(id);
    if (!download) {
        return;
    }
    auto& record = download->record;
    record.url = url;
    record.finalURL.reset();
    download->withoutIfRange = false;
    download->allowedOnLimitedNetwork = limitedNetwork_.has_value();
    log::downloads([&] { return fmt::format("download {} has a new link", id); });
    const auto& state = record.state;
    if (state.isWaiting(State::Wait::linkExpired) || state.is<State::Failed>() || state.is<State::Paused>()) {
        set(*download, State::Queued{});
    } else {
        save();
    }
    pump();
    changed();
}

} // namespace fluvane
