// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <optional>

namespace fluvane {

/// How many connections a download may have. Each reason is kept for itself, so that one that passes leaves
/// the others in force.
class ConnectionCaps {
public:
    /// The fewest that any reason allows, at least 1; `setting` being the user's number for each download.
    [[nodiscard]] int allowed(int setting) const;

    /// A new run: nothing is known of the server yet.
    void begin(std::optional<int> rule);
    /// What the site's rule says now; absent: nothing.
    void setRule(std::optional<int> rule);
    /// The server serves so many of the download's connections at one time.
    void granted(int serving);
    /// It didn't serve another one beside these, for whatever reason: what it granted before proves nothing
    /// anymore.
    void notGrantedBeside(int serving);
    /// How many it was seen to serve, and may be asked for while a delay keeps the others back.
    [[nodiscard]] int proven() const { return proven_; }
    /// The server is too busy for as many as were asked for, `serving` of which it serves: from now on fewer.
    /// To be called once for connections that were opened together. True when that holds for the rest of the
    /// run, false when it may have been a moment's: then until `delayOver`.
    bool refused(int asked, int serving, int setting);
    /// It left some unanswered, more than once: no more than were served.
    void ignored();
    void delayOver();
    /// What the server was seen to refuse to an earlier download.
    void remember(std::optional<int> most) { remembered_ = most; }
    /// The server sent the whole file to a range request: no more than already run. With `mayPass` that holds
    /// until it sends a part again.
    void wholeFile(int running, bool mayPass);
    /// The server sent a part. True when that lifts a cap.
    bool partCame();

private:
    std::optional<int> rule_;
    void halve(int setting);

    std::optional<int> remembered_; ///< From earlier downloads.
    std::optional<int> busy_;
    int proven_ = 0;
    int excused_ = 0;              ///< Refusals of what had been granted, since that was granted last.
    std::optional<int> moment_;    ///< As `busy_`, until the delay is over.
    int refusedAt_ = 0;            ///< What was asked for then; not granted since.
    bool outage_ = false;          ///< It refused with none served, and none was since.
    std::optional<int> wholeFile_; ///< For the rest of the run.
    std::optional<int> passing_;   ///< Until a part comes.
};

} // namespace fluvane
