// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/DiskWork.h"
#include "FluvaneEngine/DownloadList.h"
#include "FluvaneEngine/ListSaver.h"
#include "FluvaneEngine/Turns.h"

namespace fluvane {

/// The unfinished files of removed downloads. The saved list keeps them until they are deleted: after a kill
/// at any moment either the download is still on it, or its file is known to be nobody's.
class Leftovers {
public:
    Leftovers(DiskWork& disk, DownloadList& list, ListSaver& saver, Turns& turns)
        : disk_(disk), list_(list), saver_(saver), turns_(turns) {}

    /// Deletes what an earlier run didn't get to.
    void begin();
    /// Takes a halted download from the list, which ends it, and deletes its unfinished file once that is
    /// saved.
    void remove(Download& download);

private:
    void clear(const RecordSnapshot& leftover);

    DiskWork& disk_;
    DownloadList& list_;
    ListSaver& saver_;
    Turns& turns_;
};

} // namespace fluvane
