// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Conditions.h"
#include "FluvaneEngine/DownloadList.h"
#include "FluvaneEngine/Environment.h"
#include "FluvaneEngine/ServerCounts.h"

#include <memory>
#include <optional>
#include <string>

namespace fluvane {

/// How a download begins, but for its connections: whether it carries on with its unfinished file, and if
/// not, what the server's first answer says of the file, which folder and name it gets, and the creation of
/// its unfinished file.
class Starter {
public:
    /// The file-name extension of unfinished files.
    static constexpr const char* partialExtension = "fluvane";

    Starter(std::shared_ptr<FileStore> files, const DownloadList& list, const Conditions& conditions,
            const ServerCounts& servers, Environment environment);

    /// A new run: what earlier ones taught of the server doesn't count anymore.
    void renew(Download& download) const;
    /// Opens the unfinished file of an earlier run. False when there is none to carry on from; fails with the
    /// sentence for the user when it may be there, but can't be had now.
    [[nodiscard]] Outcome<bool> carryOn(Download& download) const;
    /// Lets go of what an earlier run left.
    void startAfresh(Download& download) const;
    /// Takes the probe's answer, a 200 or 206: afterwards the download has a name, pieces and an open file.
    /// Returns the sentence for the user when it can't be downloaded.
    [[nodiscard]] std::optional<std::string> take(Download& download, const TransferResponse& response) const;

private:
    [[nodiscard]] std::shared_ptr<PieceFile> openAgain(const DownloadRecord& record) const;
    void chooseFolder(DownloadRecord& record, const std::string& name) const;
    [[nodiscard]] std::optional<std::string> missingSpace(const DownloadRecord& record) const;
    void chooseName(DownloadRecord& record, const std::string& wanted) const;
    [[nodiscard]] bool uniqueName(const std::string& name, const DownloadRecord& record) const;
    [[nodiscard]] std::optional<std::string> createFile(Download& download, const std::string& wanted) const;
    void tryToCreate(Download& download, const std::string& wanted) const;
    void layOut(Download& download, bool isPart) const;

    std::shared_ptr<FileStore> files_;
    const DownloadList& list_;
    const Conditions& conditions_;
    const ServerCounts& servers_;
    Environment environment_;
};

} // namespace fluvane
