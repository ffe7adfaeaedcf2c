// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Conditions.h"
#include "FluvaneEngine/DiskWork.h"
#include "FluvaneEngine/DownloadList.h"
#include "FluvaneEngine/Environment.h"
#include "FluvaneEngine/ListSaver.h"
#include "FluvaneEngine/ServerCounts.h"
#include "FluvaneEngine/UnfinishedFile.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace fluvane {

/// How a download begins, but for its connections: whether it carries on with its unfinished file, and if
/// not, what the server's first answer says of the file, which folder and name it gets, and the creation of
/// its unfinished file. What asks the disk calls back on a later turn, unless the download was stopped by
/// then.
class Starter {
public:
    Starter(DiskWork& disk, ListSaver& saver, const DownloadList& list, const Conditions& conditions,
            const ServerCounts& servers, Environment environment);

    /// A new run: what earlier ones taught of the server doesn't count anymore.
    void renew(Download& download) const;
    /// Whether the record of an unfinished file is one to carry on from.
    [[nodiscard]] static bool mayCarryOn(const DownloadRecord& record);
    /// What there has to be of its unfinished file, if it has one.
    [[nodiscard]] static unfinishedFile::Left leftBy(const Download& download);
    /// Opens the unfinished file of an earlier run. Calls back with false when there is none to carry on
    /// from; fails with the sentence for the user when it may be there, but can't be had now.
    using Opened = std::function<void(Download&, const Outcome<bool>& carriesOn)>;
    void carryOn(Download& download, Opened then) const;
    /// Gives up what an earlier run left. The list says so before the unfinished file is deleted: while it
    /// can't be saved, that stays, as a new file under the same name would be taken for it at the next start.
    using Discarded = std::function<void(Download&, const std::optional<std::string>& error)>;
    void discard(Download& download, Discarded then) const;
    /// Takes the probe's answer, a 200 or 206. Returns the sentence for the user when it can't be downloaded.
    [[nodiscard]] std::optional<std::string> take(Download& download, const TransferResponse& response) const;
    /// Creates the unfinished file of what was taken: afterwards the download has a name, pieces and an open
    /// file. Calls back with a failure when that can't be. The list says which file it will be before there
    /// is one: none outlives a kill without anybody knowing whose it is.
    using Created = std::function<void(Download&, const std::optional<unfinishedFile::Failure>& failure)>;
    void create(Download& download, const TransferResponse& response, Created then) const;

private:
    /// A creation under way.
    struct Creation {
        unfinishedFile::Wanted wanted;
        std::optional<std::string> nameBefore;
        int status;
        Created then;
        int triesLeft;
    };

    void chooseName(Download& download, const std::shared_ptr<Creation>& creation) const;
    void announce(Download& download, const std::string& name,
                  const std::shared_ptr<Creation>& creation) const;
    void make(Download& download, const std::shared_ptr<Creation>& creation) const;
    void begin(Download& download, Mark mark, const std::shared_ptr<Creation>& creation) const;
    void made(Download& download, unfinishedFile::Created& created,
              const std::shared_ptr<Creation>& creation) const;
    void chooseFolder(DownloadRecord& record, const std::string& name) const;
    void layOut(Download& download, bool isPart) const;

    DiskWork& disk_;
    ListSaver& saver_;
    const DownloadList& list_;
    const Conditions& conditions_;
    const ServerCounts& servers_;
    Environment environment_;
};

} // namespace fluvane
