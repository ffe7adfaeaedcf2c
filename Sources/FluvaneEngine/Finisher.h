// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Conditions.h"
#include "FluvaneEngine/DownloadList.h"
#include "FluvaneEngine/Environment.h"
#include "FluvaneEngine/ListSaver.h"
#include "FluvaneEngine/Turns.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace fluvane {

/// The end of a download: every byte in, checked if a checksum was given, and moved into place. Digests and
/// moves run off the engine's context; what comes back of one that nobody waits for anymore is dropped.
class Finisher {
public:
    using Fail = std::function<void(Download&, const std::string& sentence)>;

    /// `fail` ends a download with a sentence for the user.
    Finisher(std::shared_ptr<FileStore> files, std::shared_ptr<Notifier> notifier, const DownloadList& list,
             const Conditions& conditions, ListSaver& saver, Turns& turns, std::function<Date()> today,
             Fail fail);

    /// Every byte is in and no transfer runs.
    void complete(Download& download);
    /// The checksum is another: a check that runs, or that was done, is of the old one.
    void checksumChanged(Download& download);
    /// Checks a finished file that has a checksum and no result yet.
    void verifyFinishedFile(Download& download);
    /// Whatever is under way for it comes too late.
    static void abandon(Download& download) { ++download.operation; }

private:
    void verify(Download& download);
    void verified(Download& download, const Outcome<std::string>& digest);
    void storeResult(Download& download, const std::string& digest);
    void finish(Download& download);
    void moveIntoPlace(Download& download);
    void moved(Download& download, const Outcome<URL>& location);
    [[nodiscard]] bool isMissing(const Download& download) const;
    void failMissing(Download& download);
    void failWith(Download& download, const std::string& sentence);
    [[nodiscard]] static WrittenFile writtenFile(const Download& download);

    /// Wraps what follows a digest, a save or a move: it runs only if the download still waits for it.
    template <class Work>
    [[nodiscard]] auto following(Download& download, Work work) {
        abandon(download);
        return turns_.later([this, id = download.id(), operation = download.operation,
                             work = std::move(work)](auto&&... results) {
            Download* const found = list_.find(id);
            if (found && found->operation == operation) {
                work(*found, std::forward<decltype(results)>(results)...);
            }
        });
    }

    std::shared_ptr<FileStore> files_;
    std::shared_ptr<Notifier> notifier_;
    const DownloadList& list_;
    const Conditions& conditions_;
    ListSaver& saver_;
    Turns& turns_;
    std::function<Date()> today_;
    Fail fail_;
};

} // namespace fluvane
