// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Finisher.h"

#include "FluvaneEngine/Log.h"
#include "TessivarPhrases/Phrases.h"

#include <fmt/format.h>

namespace fluvane {

using State = DownloadState;

namespace {
constexpr const char* missingMessage = tessivar::markedIn("kept", "The unfinished file went missing.");
}

Finisher::Finisher(DiskWork& disk, std::shared_ptr<Notifier> notifier, const Conditions& conditions,
                   ListSaver& saver, Turns& turns, std::function<Date()> today, Fail fail)
    : disk_(disk), notifier_(std::move(notifier)), conditions_(conditions), saver_(saver), turns_(turns),
      today_(std::move(today)), fail_(std::move(fail)) {}

void Finisher::complete(Download& download) {
    if (auto* const retry = download.retry.ifOwn()) {
        retry->cancel(); // nothing is left to fetch again
    }
    download.written = download.file;
    saver_.close(download);
    download.secondsLeft.reset();
    download.meter.reset();
    if (download.record.checksum) {
        verify(download);
    } else {
        finish(download);
    }
}

/// What went wrong may be that nothing has the unfinished file's name anymore, or something that somebody
/// else put there.
void Finisher::failWith(Download& download, const std::string& sentence) {
    enum class Found { written, another, nothing };
    const auto look = [files = &disk_.files(), partial = download.record.partial,
                       identity = download.written->identity()] {
        const auto found = partial ? files->identity(*partial) : std::nullopt;
        return found == identity ? Found::written : found ? Found::another : Found::nothing;
    };
    disk_.run(download, look, [this, sentence](Download& failing, Found found) {
        if (found == Found::another) {
            failing.record.partial.reset(); // nothing to carry on with, or to delete
            failing.layOut({});
        }
        fail_(failing, found == Found::written ? sentence : missingMessage);
    });
}

WrittenFile Finisher::writtenFile(const Download& download) {
    return {.identity = download.written->identity(),
            .size = download.record.size,
            .owner = Owner(download.record),
            .file = download.written};
}

void Finisher::verify(Download& download) {
    turns_.set(download, State::Verifying{});
    disk_.files().checksum(
        *download.record.partial, writtenFile(download), download.record.checksum->algorithm,
        disk_.following(download, [this](Download& checked, const Outcome<std::string>& digest) {
            verified(checked, digest);
        }));
}

void Finisher::verified(Download& download, const Outcome<std::string>& digest) {
    if (!digest.ok()) {
        failWith(download,
                 tessivar::kept("kept", "Couldn't read the file back to check it: %1", digest.error()));
        return;
    }
    storeResult(download, digest.value());
    finish(download);
}

void Finisher::storeResult(Download& download, const std::string& digest) {
    auto& record = download.record;
    const bool matches = record.checksum->matches(digest);
    record.checksumResult =
        matches ? ChecksumResult{ChecksumResult::Matches{}} : ChecksumResult{ChecksumResult::Differs{digest}};
    log::downloads([&] {
        return fmt::format("download {}: the finished file {} its {}", record.id,
                           matches ? "matches" : "doesn't match", Checksum::name(record.checksum->algorithm));
    });
}

/// The move waits until `finishing` is on disk: a kill right after it is then recognised at the next start.
void Finisher::finish(Download& download) {
    turns_.set(download, State::Finishing{});
    saver_.whenSaved(
        disk_.following(download, [this](Download& finishing, const std::optional<std::string>& error) {
            if (error) {
                log::files([&] {
                    return fmt::format("download {} is moved though the list isn't saved", finishing.id());
                });
            }
            moveIntoPlace(finishing);
        }));
}

void Finisher::moveIntoPlace(Download& download) {
    const auto& record = download.record;
    disk_.files().move(*record.partial, writtenFile(download),
                       {.folder = record.folder,
                        .name = *record.name,
                        .naming = conditions_.config.duplicateNames,
                        .origin = FileOrigin{.url = record.url, .referrer = record.referrer}},
                       disk_.following(download, [this](Download& finishing, const auto& location) {
                           moved(finishing, location);
                       }));
}

void Finisher::moved(Download& download, const Outcome<std::optional<URL>>& location) {
    if (!location.ok()) {
        failWith(download, tessivar::kept("kept", "Couldn't move the file into place: %1", location.error()));
        return;
    }
    auto& record = download.record;
    record.file = location.value();
    const auto path = record.file->path();
    record.name = path.substr(path.rfind('/') + 1); // another one if the wanted one was taken meanwhile
    record.partial.reset();
    disk_.letGo(record.id, download.written);
    record.completed = today_();
    download.claim.fulfil(); // the move synced the file
    turns_.set(download, State::Finished{});
    download.forgetRun();
    notifier_->finished(record);
    verifyFinishedFile(download); // a checksum may have come during the move
}

// Checksums given or changed later

void Finisher::checksumChanged(Download& download) {
    const auto& record = download.record;
    if (record.state.is<State::Verifying>()) {
        record.checksum ? verify(download) : finish(download);
    } else if (record.state.is<State::Finished>()) {
        DiskWork::abandon(download);
        verifyFinishedFile(download);
    }
}

void Finisher::verifyFinishedFile(Download& download) {
    const auto& record = download.record;
    if (!record.checksum || record.checksumResult || !record.file) {
        return;
    }
    disk_.files().checksum(
        *record.file, std::nullopt, record.checksum->algorithm,
        disk_.following(download, [this](Download& checked, const Outcome<std::string>& digest) {
            if (digest.ok()) {
                storeResult(checked, digest.value());
                turns_.changed();
            } else {
                log::files.error(fmt::format("couldn't check the finished file of download {}: {}",
                                             checked.id(), log::hidden(digest.error())));
            }
        }));
}

} // namespace fluvane
