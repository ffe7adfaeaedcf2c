// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/DiskWork.h"
#include "FluvaneEngine/DownloadList.h"
#include "FluvaneEngine/Turns.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace fluvane {

/// Which downloads have room on their disks. Unfinished files are sparse, so what they still need is free
/// for everybody to see, and yet promised.
class DiskSpace {
public:
    DiskSpace(DiskWork& disk, std::shared_ptr<Scheduler> scheduler, const DownloadList& list, Turns& turns)
        : disk_(disk), scheduler_(std::move(scheduler)), list_(list), turns_(turns) {}

    /// Finds out on which disks the unfinished files of earlier runs are.
    void begin();
    /// Looks whether there is room for what the download still needs, and calls back on a later turn: with
    /// none missing it is promised from then on.
    struct Shortage {
        std::int64_t needed;      ///< Bytes that have to be free; 0 when that is unknown.
        std::int64_t missing = 0; ///< How many of them aren't; 0 likewise.
        std::string place;
        std::optional<std::string> failure{}; ///< A sentence for the user when it will never fit.
    };
    using Looked = std::function<void(Download&, const std::optional<Shortage>& shortage)>;
    void look(Download& download, Looked then);
    /// It met a disk without room, or would: it waits, and is queued again when there is some. Nothing of it
    /// may be open.
    void wait(Download& download, const std::optional<Shortage>& shortage);

private:
    using Left = std::vector<std::pair<DownloadID, URL>>;
    void begin(DownloadID lane, Left left);
    [[nodiscard]] std::optional<Shortage> shortage(const Download& download, const Space& space) const;
    [[nodiscard]] std::int64_t promisedBeside(const Download& download, std::uint64_t device) const;
    void lookAgain(Download& download);
    void tell(Download& download, const Shortage& shortage);

    DiskWork& disk_;
    std::shared_ptr<Scheduler> scheduler_;
    const DownloadList& list_;
    Turns& turns_;
};

} // namespace fluvane
