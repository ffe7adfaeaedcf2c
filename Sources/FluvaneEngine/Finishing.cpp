// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The end of a download: every byte in, checked if a checksum was given, and moved into place.

#include "FluvaneCore/CheckedMath.h"
#include "FluvaneEngine/DownloadManager.h"
#include "FluvaneEngine/Log.h"

#include <utility>

#include <fmt/format.h>

namespace fluvane {

using State = DownloadState;

namespace {
constexpr const char* missingMessage = "The unfinished file went missing.";
}

/// A connection finished cleanly.
void DownloadManager::ended(Download& download, std::int64_t start) {
    auto& pieces = download.record.pieces;
    const auto index = indexStarting(pieces, start);
    if (!index || !pieces[*index].end || !pieces[*index].isComplete()) {
        if (index && !pieces[*index].end && !download.record.state.is<State::Starting>()) {
            pieces[*index].end = pieces[*index].next();
            download.record.size = pieces[*index].end;
            if (download.durable) {
                download.durable->at(*index).end = pieces[*index].end; // it is the only piece
                ++download.pieceGeneration; // a checkpoint under way knows nothing of the end
            }
            save();
        } else {
            failed(download, {.message = "The server closed the connection early."}, std::nullopt);
        }
    }
    if (!download.record.state.is<State::Downloading>()) {
        return;
    }
    if (!allComplete(pieces)) {
        fill(download);
        if (download.transfers.empty() && download.retry) {
            set(download, State::Wait::retrying);
        }
    } else if (download.transfers.empty()) {
        complete(download);
    }
}

void DownloadManager::complete(Download& download) {
    if (download.retry) {
        std::exchange(download.retry, nullptr)->cancel(); // nothing is left to fetch again
    }
    closeFile(download);
    download.secondsLeft.reset();
    download.meter.reset();
    if (download.record.checksum) {
        verify(download);
    } else {
        finish(download);
    }
    pump(); // its connections are free
}

void DownloadManager::verify(Download& download) {
    if (!download.record.partial || !files_->exists(*download.record.partial)) {
        fail(download, missingMessage);
        return;
    }
    set(download, State::Verifying{});
    files_->checksum(*download.record.partial, download.record.checksum->algorithm,
                     following(download, [this](Download& checked, const Outcome<std::string>& digest) {
                         verified(checked, digest);
                     }));
}

void DownloadManager::verified(Download& download, const Outcome<std::string>& digest) {
    if (!digest.ok()) {
        const bool missing = !files_->exists(*download.record.partial);
        fail(download, missing ? missingMessage
                               : fmt::format("Couldn't read the file back to check it: {}", digest.error()));
        return;
    }
    storeResult(download, digest.value());
    finish(download);
}

void DownloadManager::storeResult(Download& download, const std::string& digest) {
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
void DownloadManager::finish(Download& download) {
    set(download, State::Finishing{});
    whenSaved(following(download, [this](Download& finishing, const std::optional<std::string>& error) {
        if (error) {
            log::files([&] {
                return fmt::format("download {} is moved though the list isn't saved", finishing.id());
            });
        }
        moveIntoPlace(finishing);
    }));
}

void DownloadManager::moveIntoPlace(Download& download) {
    const auto& record = download.record;
    if (!record.partial || !files_->exists(*record.partial)) {
        fail(download, missingMessage);
        return;
    }
    files_->finish(*record.partial, *record.name, record.folder, config_.duplicateNames,
                   FileOrigin{.url = record.url, .referrer = record.referrer},
                   following(download, [this](Download& finishing, const Outcome<URL>& location) {
                       moved(finishing, location);
                   }));
}

void DownloadManager::moved(Download& download, const Outcome<URL>& location) {
    auto& record = download.record;
    if (!location.ok()) {
        const bool missing = !files_->exists(*record.partial);
        fail(download, missing ? missingMessage
                               : fmt::format("Couldn't move the file into place: {}", location.error()));
        return;
    }
    record.file = location.value();
    const auto path = location.value().path();
    record.name = path.substr(path.rfind('/') + 1); // another one if the wanted name was taken meanwhile
    record.partial.reset();
    record.completed = surroundings_.today();
    download.durable.reset(); // the move synced the file
    set(download, State::Finished{});
    notify([&](Notifier& notifier) { notifier.finished(record); });
    verifyFinishedFile(download); // a checksum may have come during the move
    pump();
}

// Checksums given or changed later

void DownloadManager::setChecksum(DownloadID id, const std::optional<Checksum>& checksum) {
    assertContext();
    Download* const download = find(id);
    if (!download) {
        return;
    }
    auto& record = download->record;
    record.checksum = checksum;
    record.checksumResult.reset();
    save();
    if (record.state.is<State::Verifying>()) {
        checksum ? verify(*download) : finish(*download);
    } else if (record.state.is<State::Finished>()) {
        ++download->operation; // a digest under way is of the old one
        verifyFinishedFile(*download);
    }
    changed();
}

void DownloadManager::verifyFinishedFile(Download& download) {
    const auto& record = download.record;
    if (!record.checksum || record.checksumResult || !record.file) {
        return;
    }
    files_->checksum(*record.file, record.checksum->algorithm,
                     following(download, [this](Download& checked, const Outcome<std::string>& digest) {
                         if (digest.ok()) {
                             storeResult(checked, digest.value());
                             save();
                             changed();
                         } else {
                             log::files.error(
                                 fmt::format("couldn't check the finished file of download {}: {}",
                                             checked.id(), digest.error()));
                         }
                     }));
}

} // namespace fluvane
