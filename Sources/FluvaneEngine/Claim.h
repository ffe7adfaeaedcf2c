// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/Piece.h"
#include "FluvaneEngine/Platform.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace fluvane {

/// What the saved list may say of a download's pieces: no byte that isn't on stable storage.
class Claim {
public:
    /// Which layout of the pieces, in which file, something is about.
    using Generation = std::int64_t;

    /// The pieces were laid out anew, and nothing of them is on disk.
    void layOut(const std::vector<Piece>& pieces);
    /// The unfinished file of these saved pieces was opened again.
    void carryOn(const std::vector<Piece>& pieces);
    /// The only piece, without an end so far, ends here. What is under way for the old layout knows nothing
    /// of it.
    void learnEnd(std::int64_t end);
    /// A sync of that generation's file failed: what was written since the last good one may be lost, and
    /// later syncs don't tell.
    void distrust(Generation generation);
    /// The file is opened anew: after a failed sync with the pieces that the last good one vouched for. What
    /// is under way for it as it was open before knows nothing of that.
    void reopen(std::vector<Piece>& pieces);
    /// Everything that `pieces` say is on stable storage. With `isAll` nothing is left to be claimed.
    void synced(Generation generation, const std::vector<Piece>& pieces, bool isAll);
    /// The file is complete, synced and in its place.
    void fulfil() { durable_.reset(); }

    [[nodiscard]] Generation generation() const { return generation_; }
    [[nodiscard]] bool isDistrusted() const { return distrusted_; }
    /// What is known to be on stable storage; absent when all that the record says is.
    [[nodiscard]] const std::optional<std::vector<Piece>>& durable() const { return durable_; }

    /// Of the record as it was last handed to the store.
    std::optional<std::uint64_t> saved;

private:
    std::optional<std::vector<Piece>> durable_;
    Generation generation_ = 0;
    bool distrusted_ = false;
};

} // namespace fluvane
