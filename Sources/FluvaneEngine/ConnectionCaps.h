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
    /// The server is busy: from now on at most half of what was allowed, for the rest of the run.
    void halve(int setting);
    /// The server sent the whole file to a range request: no more than already run. With `mayPass` that holds
    /// until it sends a part again.
    void wholeFile(int running, bool mayPass);
    /// The server sent a part. True when that lifts a cap.
    bool partCame();

private:
    std::optional<int> rule_;
    std::optional<int> busy_;
    std::optional<int> wholeFile_; ///< For the rest of the run.
    std::optional<int> passing_;   ///< Until a part comes.
};

} // namespace fluvane
