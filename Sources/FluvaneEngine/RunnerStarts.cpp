// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Objections.h"
#include "FluvaneEngine/Runner.h"
#include "TessivarPhrases/Phrases.h"

#include <optional>
#include <string>

namespace fluvane {

using State = DownloadState;

// From the first request to the first byte

void Runner::start(Download& download) {
    download.meter.reset();
    DiskWork::abandon(download);
    if (Starter::mayCarryOn(download.record)) {
        turns_.set(download, State::Downloading{});
    } else {
        turns_.set(download, State::Starting{});
    }
    if (download.isMoving) {
        return; // its file is on the way
    }
    parts_.starter.carryOn(download, [this](Download& opened, const Outcome<bool>& carriesOn) {
        if (!carriesOn.ok()) {
            fail(opened, carriesOn.error());
        } else if (carriesOn.value()) {
            carryOn(opened);
        } else {
            startAfresh(opened);
        }
    });
}

void Runner::startAfresh(Download& download) {
    if (download.record.url.absoluteString().size() > words::longestLink) {
        fail(download, std::string(words::linkTooLong));
        return;
    }
    turns_.set(download, State::Starting{});
    parts_.starter.discard(download, [this](Download& discarded, const std::optional<std::string>& error) {
        if (error) {
            fail(discarded, tessivar::kept("kept", "The list of downloads can't be saved: %1", *error));
        } else {
            parts_.connections.probe(discarded);
        }
    });
}

/// The probe's connection becomes the one of the first piece.
void Runner::probeAnswered(Download& download, Token token, const TransferResponse& response) {
    const auto answer = answers::withEmptyFile(response);
    if (refused(download, token, answer, answers::Request::probe)) {
        return;
    }
    if (const auto sentence = parts_.starter.take(download, answer)) {
        fail(download, *sentence);
        return;
    }
    parts_.space.look(download, [this, token, answer](Download& looked, const auto& shortage) {
        if (shortage && shortage->failure) {
            fail(looked, *shortage->failure);
        } else if (shortage) {
            waitForSpace(looked, shortage);
        } else {
            create(looked, token, answer);
        }
    });
}

void Runner::create(Download& download, Token token, const TransferResponse& response) {
    parts_.starter.create(download, response, [this, token](Download& created, const auto& sentence) {
        Active* const active = Connections::find(created, token);
        if (sentence && sentence->isFull) {
            waitForSpace(created, std::nullopt);
            return;
        }
        if (sentence || !active) {
            fail(created, sentence ? sentence->sentence : stoppedSendingParts);
            return;
        }
        active->isProbe = false;
        active->accept(created.file, 0, created.record.pieces.front());
        created.caps.own().granted(created.writing());
        turns_.set(created, State::Downloading{});
        carryOn(created);
    });
}

void Runner::waitForSpace(Download& download, const std::optional<DiskSpace::Shortage>& shortage) {
    halt(download);
    parts_.space.wait(download, shortage);
}

} // namespace fluvane
