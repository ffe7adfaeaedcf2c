// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Model/Contents.h"
#include "Support/Engine.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace fluvane::model {

/// Something that happens, as a number: any number is a step.
using Step = std::uint32_t;

/// What a server has under a link.
struct Source {
    enum Kind { parts, promise, liar, whole, endless, moving };
    static constexpr int versions = 4;
    int number;
    Kind kind;
    std::int64_t size;
    int version = 0;
    [[nodiscard]] Content content() const { return number * versions + version; }
};

/// Whether a new unfinished file waits for the list that says so. While it doesn't, a list that can't be
/// saved still claims pieces of the file that had the name before.
inline constexpr bool listComesFirst = false;

/// Whether a beat starts what waits for room at a server. While it doesn't, only a change of the list does.
inline constexpr bool beatAdmits = false;

/// A request, and what the server sends to it.
struct Exchange {
    std::shared_ptr<support::FakeTransfer> transfer;
    bool isAnswered = false;
    bool tellsLength = false;
    Content content = nothing;
    std::int64_t next = 0; ///< Of the content.
    std::int64_t end = 0;
};

/// The engine with all that it meets, and what was asked of it.
class World {
public:
    World();
    /// Does the step; returns it in words.
    std::string happen(Step step);
    /// Ends every fault, and serves until nothing goes on anymore.
    void recover();
    /// Tells all to carry on that can.
    void resumeAll();
    /// All downloads as they are, for people.
    [[nodiscard]] std::string picture() const;

    [[nodiscard]] DownloadManager& manager() const { return *engine.manager; }
    [[nodiscard]] std::int64_t sizeOf(Content content) const;
    /// Null when there is none.
    [[nodiscard]] std::shared_ptr<const ContentFile> file(const std::optional<URL>& location) const;

    support::Engine engine;
    std::vector<std::shared_ptr<Exchange>> exchanges; ///< Not over yet.
    bool isAtRest = true;                             ///< All that is due has been done.

    // What was asked of it, and what it said.
    std::set<DownloadID> askedOnLimited;             ///< While the network was limited, as it still is.
    std::set<DownloadID> keptAdds, keptRemovals;     ///< Of which it said that they are saved.
    int unanswered = 0;                              ///< Commands that wait for their word.
    std::set<DownloadID> queuedBefore, activeBefore; ///< Before the last step.
    double lateUntil = 0;                            ///< The list may not have been saved up to then.
    bool lostAtStop = false;                         ///< Something that a good end has to keep.

private:
    struct Choice {
        unsigned who, how, more;
    };
    struct Kind {
        unsigned weight;
        std::string (World::*happen)(Choice);
    };
    static const std::array<Kind, 12> kinds;

    std::string add(Choice choice);
    std::string command(Choice choice);
    std::string set(Choice choice);
    std::string changeNetwork(Choice choice);
    std::string breakDisk(Choice choice);
    std::string restart(Choice choice);
    std::string answer(Choice choice);
    std::string send(Choice choice);
    std::string cut(Choice choice);
    std::string serve(Choice choice);
    std::string pass(Choice choice);
    std::string changeFile(Choice choice);

    [[nodiscard]] DownloadID pick(unsigned who) const;
    [[nodiscard]] URL linkTo(unsigned who) const;
    [[nodiscard]] Source& sourceOf(const URL& link);
    [[nodiscard]] std::optional<Checksum> checksum(unsigned how, unsigned source) const;
    void whenSaved(std::set<DownloadID>& kept, DownloadID id);
    void noteBefore();
    void forgetEnded();
    void serveAll(std::int64_t bytes);
    void answerRightly(Exchange& exchange);
    void respond(Exchange& exchange, int status, TransferResponse::Headers headers, std::int64_t from,
                 std::int64_t end);
    void send(Exchange& exchange, std::int64_t count) const;
    [[nodiscard]] bool stop();

    std::vector<Source> sources_;
    int mirror_ = 1;
    bool syncFailed_ = false; ///< In this run.
};

/// Whether something stands still that a beat sets going again.
[[nodiscard]] bool waitsForBeat(const World& world);
/// What the engine does wrong, in words; absent: nothing.
[[nodiscard]] std::optional<std::string> broken(const World& world);
/// The same of one that has recovered; with `isLast` after all were told to carry on, more than once.
[[nodiscard]] std::optional<std::string> brokenAtEnd(const World& world, bool isLast);

} // namespace fluvane::model
