// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Conditions.h"
#include "FluvaneEngine/DiskWork.h"
#include "FluvaneEngine/DownloadList.h"
#include "FluvaneEngine/Environment.h"
#include "FluvaneEngine/ListSaver.h"
#include "FluvaneEngine/Turns.h"

#include <functional>
#include <memory>
#include <string>

namespace fluvane {

/// The end of a download: every byte in, checked if a checksum was given, and moved into place. Digests and
/// moves run off the engine's context; what comes back of one that nobody waits for anymore is dropped.
class Finisher {
public:
    using Fail = std::function<void(Download&, const std::string& sentence)>;

    /// `fail` ends a download with a sentence for the user.
    Finisher(DiskWork& disk, std::shared_ptr<Notifier> notifier, const Conditions& conditions,
             ListSaver& saver, Turns& turns, std::function<Date()> today, Fail fail);

    /// Every byte is in and no transfer runs.
    void complete(Download& download);
    /// The checksum is another: a check that runs, or that was done, is of the old one.
    void checksumChanged(Download& download);
    /// Checks a finished file that has a checksum and no result yet.
    void verifyFinishedFile(Download& download);

private:
    void verify(Download& download);
    void verified(Download& download, const Outcome<std::string>& digest);
    void storeResult(Download& download, const std::string& digest);
    void finish(Download& download);
    void moveIntoPlace(Download& download);
    void moved(Download& download, const Outcome<std::optional<URL>>& location);
    void failWith(Download& download, const std::string& sentence);
    [[nodiscard]] static WrittenFile writtenFile(const Download& download);

    DiskWork& disk_;
    std::shared_ptr<Notifier> notifier_;
    const Conditions& conditions_;
    ListSaver& saver_;
    Turns& turns_;
    std::function<Date()> today_;
    Fail fail_;
};

} // namespace fluvane
