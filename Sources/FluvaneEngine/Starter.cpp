// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Starter.h"

#include "FluvaneCore/Planner.h"
#include "FluvaneCore/Rules.h"
#include "FluvaneEngine/Answers.h"
#include "FluvaneEngine/Log.h"
#include "TessivarPhrases/Phrases.h"

#include <algorithm>
#include <set>
#include <utility>

#include <fmt/format.h>

namespace fluvane {

namespace {

constexpr const char* wrongPart =
    tessivar::markedIn("kept", "The server sent a part of the file that wasn't asked for.");
constexpr const char* webPageReason = tessivar::markedIn(
    "kept", "This link opens a web page, not a file. It may need you to sign in, or to start "
            "the download on that page, in your browser.");

constexpr int mostNamesTried = 20;
/// No file system holds more, and the planner's products stay within 64 bits.
constexpr std::int64_t largestFile = std::int64_t{1} << 56;

void picksUp(Download& download) {
    const auto& record = download.record;
    // A file is cut into pieces once a part of it has come. One that wasn't may still have to be fetched
    // whole.
    download.parts = record.pieces.size() > 1 ? Download::Parts::proven : Download::Parts::promised;
    download.scouts = 0;
    download.retry.own().countFrom(record.doneBytes());
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

Starter::Starter(DiskWork& disk, ListSaver& saver, const DownloadList& list, const Conditions& conditions,
                 const ServerCounts& servers, Environment environment)
    : disk_(disk), saver_(saver), list_(list), conditions_(conditions), servers_(servers),
      environment_(std::move(environment)) {}

void Starter::renew(Download& download) const {
    const auto rule = conditions_.siteRule(download.record.url);
    const int starting = conditions_.tuning.startingConnections;
    download.retry.own().begin();
    download.caps.own().begin(rule);
    download.caps.own().remember(servers_.most(download.record.url.site().value_or("")));
    download.unanswered = 0;
    download.relocating = false;
    download.misdirections = 0;
    download.asksLink = false;
    download.usualSpeed.reset();
    download.rescues.reset();
    download.growth.own().begin(std::min(starting, std::max(rule.value_or(starting), 1)));
}

bool Starter::mayCarryOn(const DownloadRecord& record) {
    return record.size && record.partial && record.name && !record.pieces.empty() &&
           (record.resumable || allComplete(record.pieces));
}

unfinishedFile::Left Starter::leftBy(const Download& download) {
    const auto& record = download.record;
    std::int64_t reaches = 0;
    for (const auto& piece : record.pieces) {
        reaches = piece.done > 0 ? std::max(reaches, piece.next()) : reaches;
    }
    return {.location = *record.partial,
            .folder = record.folder,
            .done = record.doneBytes(),
            .reaches = reaches,
            .size = mayCarryOn(record) ? record.size : std::nullopt,
            .owner = Owner(record),
            .isMarked = record.marked.value_or(false),
            .mayComeBack = download.goesOnByItself};
}

void Starter::carryOn(Download& download, Opened then) const {
    download.claim.reopen(download.record.pieces);
    if (!download.record.partial) {
        then(download, Outcome<bool>::success(false));
        return;
    }
    disk_.run(
        download,
        [files = &disk_.files(), left = leftBy(download)] { return unfinishedFile::open(*files, left); },
        [then = std::move(then)](Download& opening, unfinishedFile::Opened& opened) {
            if (opened.failure) {
                then(opening, Outcome<bool>::failure(opened.failure->sentence));
                return;
            }
            opening.file = std::move(opened.file);
            if (opening.file) {
                opening.device = opening.file->identity().device;
                opening.goesOnByItself = false;
                opening.hadFile = true;
                picksUp(opening);
            }
            then(opening, Outcome<bool>::success(opening.file != nullptr));
        });
}

void Starter::discard(Download& download, Discarded then) const {
    auto& record = download.record;
    download.relocating = false;
    download.asksLink = false;
    record.opensWebPage.reset();
    const bool wasCreated = (download.hadFile || !record.pieces.empty()) && !record.marked.value_or(false);
    download.layOut({});
    download.retry.own().countFrom(0);
    if (!record.partial) {
        then(download, std::nullopt);
        return;
    }
    saver_.changed();
    saver_.whenSaved(disk_.following(
        download, [this, wasCreated, then = std::move(then)](Download& discarding, const auto& error) {
            if (error) {
                then(discarding, error);
                return;
            }
            const auto remove = [files = &disk_.files(), partial = *discarding.record.partial,
                                 owner = Owner(discarding.record), wasCreated] {
                files->remove(partial, owner, wasCreated);
                return true;
            };
            disk_.run(discarding, remove, [then](Download& discarded, bool /*isDone*/) {
                discarded.record.partial.reset();
                discarded.record.marked.reset();
                discarded.hadFile = false;
                then(discarded, std::nullopt);
            });
        }));
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

    if (answers::opensPage(response, record.url, record.size)) {
        record.opensWebPage = true;
        return webPageReason;
    }
    chooseFolder(record, record.name.value_or(answers::suggestedName(response, environment_.types)));
    return record.size > largestFile
               ? std::optional(tessivar::kept("kept", "Couldn't create the file: %1", "File too large"))
               : std::nullopt;
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
    chooseName(
        download,
        std::make_shared<Creation>(Creation{
            .wanted = {.folder = record.folder,
                       .name = record.name.value_or(answers::suggestedName(response, environment_.types)),
                       .naming = conditions_.config.duplicateNames},
            .nameBefore = record.name,
            .status = response.status(),
            .then = std::move(then),
            .triesLeft = mostNamesTried}));
}

void Starter::chooseName(Download& download, const std::shared_ptr<Creation>& creation) const {
    creation->wanted.taken = list_.namesIn(creation->wanted.folder, download);
    disk_.run(
        download,
        [files = &disk_.files(), wanted = creation->wanted] {
            return unfinishedFile::freeName(*files, wanted);
        },
        [this, creation](Download& naming, const std::string& name) { announce(naming, name, creation); });
}

void Starter::announce(Download& download, const std::string& name,
                       const std::shared_ptr<Creation>& creation) const {
    auto& record = download.record;
    if (list_.namesIn(record.folder, download).contains(name)) { // another download got it meanwhile
        chooseName(download, creation);
        return;
    }
    record.name = name;
    record.partial = unfinishedFile::location(record.folder, name);
    saver_.changed();
    saver_.whenSaved(disk_.following(download, [this, creation](Download& saved, const auto& error) {
        if (error) {
            log::files([&] {
                return fmt::format("download {} gets its file though the list isn't saved", saved.id());
            });
        }
        make(saved, creation);
    }));
}

void Starter::make(Download& download, const std::shared_ptr<Creation>& creation) const {
    const auto& record = download.record;
    auto* const files = &disk_.files();
    const auto location = *record.partial;
    disk_.run(
        download,
        [files, location, size = record.size, owner = Owner(record)] {
            return unfinishedFile::create(*files, location, size, owner);
        },
        [this, creation](Download& creating, unfinishedFile::Created& created) {
            made(creating, created, creation);
        },
        [files, location, owner = Owner(record)](unfinishedFile::Created& created) {
            if (created.file) {
                files->remove(location, owner, true);
            }
        });
}

void Starter::made(Download& download, unfinishedFile::Created& created,
                   const std::shared_ptr<Creation>& creation) const {
    auto& record = download.record;
    if (created.file) {
        download.file = std::move(created.file);
        download.hadFile = true;
        download.device = download.file->identity().device;
        record.marked = created.mark == Mark::own ? std::optional(true) : std::nullopt;
        layOut(download, creation->status == 206);
        log::downloads([&] { return told(record, creation->status); });
        begin(download, created.mark, creation);
        return;
    }
    record.name = creation->nameBefore;
    record.partial.reset();
    if (!created.failure && --creation->triesLeft > 0) {
        chooseName(download, creation);
        return;
    }
    creation->then(download, created.failure.value_or(unfinishedFile::Failure{
                                 tessivar::kept("kept", "Couldn't create the file: %1", "File exists")}));
}

/// A file without a mark is known by its pieces on the saved list alone, once it has bytes.
void Starter::begin(Download& download, Mark mark, const std::shared_ptr<Creation>& creation) const {
    if (mark == Mark::own) {
        creation->then(download, std::nullopt);
        return;
    }
    saver_.changed();
    saver_.whenSaved(disk_.following(download, [creation](Download& saved, const auto& /*error*/) {
        creation->then(saved, std::nullopt);
    }));
}

/// A promise of parts isn't believed yet: the whole file is under way, and one piece until a part has come.
void Starter::layOut(Download& download, bool isPart) const {
    const auto& record = download.record;
    const bool inParts = record.size && record.resumable;
    download.parts = inParts && !isPart ? Download::Parts::promised : Download::Parts::proven;
    download.scouts = 0;
    download.layOut(inParts && isPart && download.file->isSparse()
                        ? planner::split(*record.size, download.caps->allowed(conditions_.config.connections),
                                         conditions_.tuning.minimumPiece)
                        : std::vector{Piece{.start = 0, .end = record.size, .done = 0}});
}

} // namespace fluvane
