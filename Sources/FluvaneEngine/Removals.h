// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/DownloadList.h"
#include "FluvaneEngine/Finisher.h"
#include "FluvaneEngine/Leftovers.h"
#include "FluvaneEngine/Mover.h"
#include "FluvaneEngine/Runner.h"
#include "FluvaneEngine/Turns.h"

#include <memory>
#include <vector>

namespace fluvane {

/// Downloads taken off the list on the user's word, at once or so that they can be brought back for a while.
/// Until then those keep their places, names and files, and nobody sees them; what is being moved into place
/// gets there. The saved list says that they are removed, so that an end in the meantime, however it comes,
/// is the end of them, too.
class Removals {
public:
    Removals(Runner& runner, Finisher& finisher, Mover& mover, Leftovers& leftovers, DownloadList& list,
             Turns& turns, std::shared_ptr<Scheduler> scheduler)
        : runner_(runner), finisher_(finisher), mover_(mover), leftovers_(leftovers), list_(list),
          turns_(turns), scheduler_(std::move(scheduler)) {}

    void remove(Download& download);
    /// Together they are one removal. What is being moved into place stays on the list.
    void removeForNow(const std::vector<Download*>& downloads, double seconds);
    /// Brings back what the last removal took that isn't over, as it was; what ran is queued.
    std::vector<DownloadID> undo();
    /// Whoever fetches a link again wants its name, too: an unfinished one that was removed is gone for good.
    void forget(const URL& link);
    /// It is too late for all of them.
    void endAll();
    [[nodiscard]] std::size_t undoable() const { return removals_.empty() ? 0 : removals_.back()->size(); }

private:
    struct Taken {
        DownloadID id;
        DownloadState before;
    };
    using Removal = std::vector<Taken>;

    [[nodiscard]] Taken hide(Download& download);
    void show(Download& download, const DownloadState& before);
    void end(const std::shared_ptr<Removal>& removal);
    void end(const Taken& taken);
    void end(Download& download);

    Runner& runner_;
    Finisher& finisher_;
    Mover& mover_;
    Leftovers& leftovers_;
    DownloadList& list_;
    Turns& turns_;
    std::shared_ptr<Scheduler> scheduler_;
    std::vector<std::shared_ptr<Removal>> removals_; ///< Those that can be undone, the last one last.
};

} // namespace fluvane
