// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Model/Servers.h"

#include <array>

namespace fluvane::model {

/// Something that happens, as a number: any number is a step.
using Step = std::uint32_t;

/// Seconds in which the list is saved once nothing is wrong anymore.
inline constexpr double slowestSave = 3.1;

/// The engine with all that it meets, and what was asked of it.
struct World {
    World();
    /// Does the step; returns what it is called, and its numbers.
    std::string happen(Step step);
    /// Ends every fault, and serves until nothing goes on anymore.
    void recover();
    /// The world and all downloads as they are, for people.
    [[nodiscard]] std::string picture() const;

    [[nodiscard]] DownloadManager& manager() const { return *engine.manager; }
    /// Null when there is none.
    [[nodiscard]] std::shared_ptr<const ContentFile> file(const std::optional<URL>& location) const;

    support::Engine engine;
    Servers servers{*engine.transport};
    support::MemoryFileStore& files = *engine.files;
    const std::array<std::optional<std::string>*, 7> faults{
        &files.failSync,   &files.failFull,     &files.failCreate,   &files.failOpen,
        &files.failFinish, &files.failChecksum, &engine.store->error};
    bool isAtRest = true; ///< All that is due has been done.

    // What was asked of it, and what it said.
    std::set<DownloadID> askedOnLimited;             ///< Since the network is limited.
    std::set<DownloadID> keptAdds, keptRemovals;     ///< Of which it said that they are saved.
    int unanswered = 0;                              ///< Commands that wait for their word.
    std::set<DownloadID> queuedBefore, activeBefore; ///< Before the last step.
    double lateUntil = 0;                            ///< The list may not have been saved up to then.
    bool syncFailed = false;                         ///< In this run.
    [[nodiscard]] bool isSaved(DownloadID id) const; ///< On the list, and not as one to be deleted.
    bool listFailed = false;                         ///< Once; what it forgot left its file.
    bool hasLied = false;                            ///< Told of a save that wasn't.
    bool hasOrphan = false;                          ///< Made a file before it was on the saved list.
    bool lostAtStop = false;                         ///< Something that a good end has to keep.

    // Steps, and what they need.
    unsigned who = 0, how = 0, more = 0; ///< Small numbers, of the step.
    void add();
    void remove();
    void undo();
    void move();
    void resumeAll();
    void save();
    void setting();
    void network();
    void disk();
    void restart();
    void serve();
    void pass(double seconds);
    [[nodiscard]] DownloadID pick();
    [[nodiscard]] std::optional<Checksum> checksum() const;
    void whenSaved(std::set<DownloadID>& kept, DownloadID id);
    void noteBefore();
    [[nodiscard]] bool stop();
};

/// Whether something stands still that a beat sets going again.
[[nodiscard]] bool waitsForBeat(const World& world);
/// What the engine does wrong, in words; absent: nothing.
[[nodiscard]] std::optional<std::string> broken(const World& world);
/// The same of one that has recovered; with `isLast` after all were told to carry on, more than once.
[[nodiscard]] std::optional<std::string> brokenAtEnd(const World& world, bool isLast);

} // namespace fluvane::model
