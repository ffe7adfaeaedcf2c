// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Starter.h"

#include "FluvaneCore/Planner.h"
#include "FluvaneCore/WebPage.h"
#include "FluvaneCore/Words.h"
#include "FluvaneEngine/Answers.h"
#include "FluvaneEngine/Log.h"

#include <algorithm>
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
constexpr int mostNamesTried = 20;

std::string partialName(const std::string& name) {
    return name + "." + Starter::partialExtension;
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

Starter::Starter(std::shared_ptr<FileStore> files, const DownloadList& list, const Conditions& conditions,
                 const ServerCounts& servers, Environment environment)
    : files_(std::move(files)), list_(list), conditions_(conditions), servers_(servers),
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

/// Null when there is nothing to carry on from.
std::shared_ptr<PieceFile> Starter::openAgain(const DownloadRecord& record) const {
    if (!record.size || !record.partial || !record.name || record.pieces.empty() ||
        (!record.resumable && !allComplete(record.pieces))) {
        return nullptr;
    }
    auto file = files_->open(*record.partial);
    // One that was cut off would be extended with a hole where the saved bytes were.
    return file && files_->size(*record.partial) == record.size ? std::move(file) : nullptr;
}

Outcome<bool> Starter::carryOn(Download& download) const {
    auto& record = download.record;
    download.claim.reopen(record.pieces);
    try {
        download.file = openAgain(record);
    } catch (const FileError& error) {
        // An intact file isn't thrown away because it can't be opened now.
        return Outcome<bool>::failure(fmt::format("Couldn't open the unfinished file: {}", error.what()));
    }
    // Where a drive isn't mounted, a new folder in its place would begin the download at 0.
    if (!download.file && record.partial && record.doneBytes() > 0 && !files_->isFolder(record.folder)) {
        return Outcome<bool>::failure(fmt::format(
            "The folder “{}” isn't there. It may be on a drive that isn't connected.", record.folder.path()));
    }
    if (!download.file) {
        return Outcome<bool>::success(false);
    }
    download.parts = Download::Parts::proven;
    download.retry.countFrom(record.doneBytes());
    download.claim.carryOn(record.pieces);
    log::downloads([&] {
        return fmt::format("download {} picks up at {} of {} bytes", record.id, record.doneBytes(),
                           *record.size);
    });
    return Outcome<bool>::success(true);
}

void Starter::startAfresh(Download& download) const {
    download.relocating = false;
    download.asksLink = false;
    auto& record = download.record;
    if (record.partial) {
        files_->remove(*record.partial);
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
    const auto suggested =
        fileName::suggested(response["content-disposition"], response.url(), contentType, environment_.types);
    // Whether a page was asked for is seen by the name without the ending that its type gives it.
    const auto asked =
        fileName::suggested(response["content-disposition"], response.url(), {}, environment_.types);
    if (webPage::isLikely(contentType, asked, record.size)) {
        record.opensWebPage = true;
        return webPageReason;
    }
    chooseFolder(record, record.name.value_or(suggested));
    if (auto sentence = missingSpace(record)) {
        return sentence;
    }
    // A name settled in an earlier run is asked again: its folder may be another by now.
    if (auto sentence = createFile(download, record.name.value_or(suggested))) {
        return sentence;
    }
    layOut(download, response.status() == 206);
    log::downloads([&] { return told(record, response.status()); });
    return std::nullopt;
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

std::optional<std::string> Starter::missingSpace(const DownloadRecord& record) const {
    const auto free = record.size ? files_->availableSpace(record.folder) : std::nullopt;
    if (!free || *free >= *record.size) {
        return std::nullopt;
    }
    return fmt::format("Not enough space: it needs {}, and there's {} free.", words::bytes(*record.size),
                       words::bytes(*free));
}

void Starter::chooseName(DownloadRecord& record, const std::string& wanted) const {
    record.name = fileName::unique(
        wanted, conditions_.config.duplicateNames,
        [&](const std::string& name) { return !uniqueName(name, record); }, partialName({}).size());
}

/// Whether the name is free for this download in its folder.
bool Starter::uniqueName(const std::string& name, const DownloadRecord& record) const {
    const auto isSame = [&](const std::unique_ptr<Download>& other) {
        return other->id() != record.id && other->record.name == name &&
               other->record.folder == record.folder;
    };
    return std::ranges::none_of(list_, isSame) && !files_->exists(record.folder.appending(name)) &&
           !files_->exists(record.folder.appending(partialName(name)));
}

std::optional<std::string> Starter::createFile(Download& download, const std::string& wanted) const {
    if (download.record.size > largestFile) {
        return "Couldn't create the file: File too large";
    }
    try {
        tryToCreate(download, wanted);
    } catch (const FileError& error) {
        return fmt::format("Couldn't create the file: {}", error.what());
    }
    return std::nullopt;
}

/// Another program may take the name between the look and the creation: what it made there is its own.
void Starter::tryToCreate(Download& download, const std::string& wanted) const {
    auto& record = download.record;
    for (int tries = 0; tries < mostNamesTried; ++tries) {
        chooseName(record, wanted);
        const auto location = record.folder.appending(partialName(*record.name));
        if ((download.file = files_->create(location, record.size))) {
            record.partial = location;
            return;
        }
    }
    throw FileError("File exists");
}

/// A promise of parts isn't believed yet: the whole file is under way, and one piece until a part has come.
void Starter::layOut(Download& download, bool isPart) const {
    const auto& record = download.record;
    const bool inParts = record.size && record.resumable;
    download.parts = inParts && !isPart ? Download::Parts::promised : Download::Parts::proven;
    download.scouts = 0;
    download.layOut(inParts && isPart
                        ? planner::split(*record.size, download.caps.allowed(conditions_.config.connections),
                                         conditions_.tuning.minimumPiece)
                        : std::vector{Piece{.start = 0, .end = record.size, .done = 0}});
}

} // namespace fluvane
