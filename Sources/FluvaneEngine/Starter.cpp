// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Starter.h"

#include "FluvaneCore/Planner.h"
#include "FluvaneCore/WebPage.h"
#include "FluvaneEngine/Answers.h"
#include "FluvaneEngine/Log.h"

#include <algorithm>
#include <set>
#include <utility>

#include <fmt/format.h>

namespace fluvane {

namespace {

constexpr const char* wrongPart = "The server sent a part of the file that wasn't asked for.";
constexpr const char* webPageReason =
    "This link opens a web page, not a file. It may need you to sign in, or to start "
    "the download on that page, in your browser.";

/// No file system holds more, and the planner's products stay within 64 bits.
constexpr std::int64_t largestFile = std::int64_t{1} << 56;

unfinishedFile::Left leftBy(const DownloadRecord& record) {
    std::int64_t reaches = 0;
    for (const auto& piece : record.pieces) {
        reaches = piece.done > 0 ? std::max(reaches, piece.next()) : reaches;
    }
    return {.location = *record.partial,
            .folder = record.folder,
            .done = record.doneBytes(),
            .reaches = reaches,
            .size = Starter::mayCarryOn(record) ? record.size : std::nullopt};
}

/// The names that other downloads have there, of which nothing need be on disk yet.
std::set<std::string> namesBeside(const DownloadList& list, const DownloadRecord& record) {
    std::set<std::string> names;
    for (const auto& other : list) {
        if (other->id() != record.id && other->record.name && other->record.folder == record.folder) {
            names.insert(*other->record.name);
        }
    }
    return names;
}

void picksUp(Download& download) {
    const auto& record = download.record;
    // A file is cut into pieces once a part of it has come. One that wasn't may still have to be fetched
    // whole.
    download.parts = record.pieces.size() > 1 ? Download::Parts::proven : Download::Parts::promised;
    download.scouts = 0;
    download.retry.countFrom(record.doneBytes());
    download.claim.carryOn(record.pieces);
    log::downloads([&] {
        return fmt::format("download {} picks up at {} of {} bytes", record.id, record.doneBytes(),
                           *record.size);
    });
}

std::string told(const DownloadRecord& record, int status) {
    const auto size = record.size ? fmt::format("{} bytes", *record.size) : std::string("size unknown");
    const auto count = record.pieces.size();
    const auto parts = !record.resumable ? std::string("one connection, the server doesn't send parts")
                       : count == 1      ? std::string("in one piece")
                                         : fmt::format("in {} pieces", count);
    return fmt::format("download {}: {}, {}, {}", record.id, status, size, parts);
}

} // namespace

Starter::Starter(DiskWork& disk, const DownloadList& list, const Conditions& conditions,
                 const ServerCounts& servers, Environment environment)
    : disk_(disk), list_(list), conditions_(conditions), servers_(servers),
      environment_(std::move(environment)) {}

void Starter::renew(Download& download) const {
    const auto rule = conditions_.siteRule(download.record.url);
    const int starting = conditions_.tuning.startingConnections;
    download.retry.begin();
    download.caps.begin(rule);
    download.caps.remember(servers_.most(download.record.url.site().value_or("")));
    download.unanswered = 0;
    download.relocating = false;
    download.misdirections = 0;
    download.asksLink = false;
    download.usualSpeed.reset();
    download.rescues.clear();
    download.growth.begin(std::min(starting, std::max(rule.value_or(starting), 1)));
}

bool Starter::mayCarryOn(const DownloadRecord& record) {
    return record.size && record.partial && record.name && !record.pieces.empty() &&
           (record.resumable || allComplete(record.pieces));
}

void Starter::carryOn(Download& download, Opened then) const {
    download.claim.reopen(download.record.pieces);
    if (!download.record.partial) {
        then(download, Outcome<bool>::success(false));
        return;
    }
    disk_.run(
        download,
        [files = &disk_.files(), left = leftBy(download.record)] {
            return unfinishedFile::open(*files, left);
        },
        [then = std::move(then)](Download& opening, unfinishedFile::Opened& opened) {
            if (opened.failure) {
                then(opening, Outcome<bool>::failure(opened.failure->sentence));
                return;
            }
            opening.file = std::move(opened.file);
            if (opening.file) {
                opening.device = opening.file->identity().device;
                picksUp(opening);
            }
            then(opening, Outcome<bool>::success(opening.file != nullptr));
        });
}

void Starter::startAfresh(Download& download) const {
    download.relocating = false;
    download.asksLink = false;
    auto& record = download.record;
    if (record.partial) {
        disk_.remove(record.id, *record.partial);
    }
    record.partial.reset();
    record.opensWebPage.reset();
    download.layOut({});
    download.retry.countFrom(0);
}

std::optional<std::string> Starter::take(Download& download, const TransferResponse& response) const {
    auto& record = download.record;
    const auto validators = response.validators();
    record.validators = validators.isEmpty() ? std::nullopt : std::optional(validators);
    record.finalURL = response.url();
    const auto facts = answers::fileFacts(response);
    record.size = facts ? facts->size : std::nullopt;
    record.resumable = facts && facts->resumable;
    if (!facts) {
        return wrongPart;
    }

    const auto contentType = response["content-type"];
    // Whether a page was asked for is seen by the name without the ending that its type gives it.
    if (webPage::isLikely(contentType, suggestedName(response, false), record.size)) {
        record.opensWebPage = true;
        return webPageReason;
    }
    chooseFolder(record, record.name.value_or(suggestedName(response, true)));
    return record.size > largestFile ? std::optional<std::string>("Couldn't create the file: File too large")
                                     : std::nullopt;
}

std::string Starter::suggestedName(const TransferResponse& response, bool withTypesEnding) const {
    return fileName::suggested(response["content-disposition"], response.url(),
                               withTypesEnding ? response["content-type"] : std::nullopt, environment_.types);
}

void Starter::chooseFolder(DownloadRecord& record, const std::string& name) const {
    if (!record.autoFolder.value_or(false)) {
        return;
    }
    const auto& config = conditions_.config;
    const Rule* const rule = rules::folderRule(config.rules, name, record.url.site());
    record.folder = environment_.folder(rule ? rule->folder : config.folder);
    record.rule = rule ? std::optional(rule->id) : std::nullopt;
    if (rule) {
        log::downloads([&] { return fmt::format("download {}: a rule picks its folder", record.id); });
    }
}

void Starter::create(Download& download, const TransferResponse& response, Created then) const {
    const auto& record = download.record;
    // A name settled in an earlier run is asked again: its folder may be another by now.
    unfinishedFile::Wanted wanted{.folder = record.folder,
                                  .name = record.name.value_or(suggestedName(response, true)),
                                  .size = record.size,
                                  .naming = conditions_.config.duplicateNames,
                                  .taken = namesBeside(list_, record)};
    disk_.run(
        download,
        [files = &disk_.files(), wanted = std::move(wanted)] {
            return unfinishedFile::create(*files, wanted);
        },
        [this, then = std::move(then), status = response.status()](Download& creating,
                                                                   unfinishedFile::Created& created) {
            if (created.file) {
                creating.record.name = created.name;
                creating.record.partial = created.location;
                creating.file = std::move(created.file);
                creating.device = creating.file->identity().device;
                layOut(creating, status == 206);
                log::downloads([&] { return told(creating.record, status); });
            }
            then(creating, created.failure);
        },
        [files = &disk_.files()](unfinishedFile::Created& created) {
            if (created.file) {
                files->remove(*created.location);
            }
        });
}

/// A promise of parts isn't believed yet: the whole file is under way, and one piece until a part has come.
void Starter::layOut(Download& download, bool isPart) const {
    const auto& record = download.record;
    const bool inParts = record.size && record.resumable;
    download.parts = inParts && !isPart ? Download::Parts::promised : Download::Parts::proven;
    download.scouts = 0;
    download.layOut(inParts && isPart && download.file->isSparse()
                        ? planner::split(*record.size, download.caps.allowed(conditions_.config.connections),
                                         conditions_.tuning.minimumPiece)
                        : std::vector{Piece{.start = 0, .end = record.size, .done = 0}});
}

} // namespace fluvane
