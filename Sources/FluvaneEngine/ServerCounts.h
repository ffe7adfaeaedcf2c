// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/Date.h"

#include <functional>
#include <map>
#include <optional>
#include <string>

namespace fluvane {

/// How many connections servers were seen to refuse, for later downloads: of each site the last refusal, for
/// 30 days, of which the last day's counts. Nothing depends on it, so it may be lost.
class ServerCounts {
public:
    /// Where it is kept from one run to the next; either may be missing.
    struct Storage {
        std::function<std::string()> load;
        std::function<void(const std::string&)> save; ///< Returns at once; a failure is its own.
    };

    ServerCounts(Storage storage, std::function<Date()> today);

    /// The site served so many connections, and refused to serve as many as were asked for.
    void refused(const std::string& site, int asked, int served);
    /// The most connections that are worth asking the site for.
    [[nodiscard]] std::optional<int> most(const std::string& site) const;

private:
    struct Entry {
        int served;
        int refused; ///< The fewest that were.
        Date seen;
    };
    void load(const std::string& text);
    [[nodiscard]] std::string text() const;
    void forgetOld();

    Storage storage_;
    std::function<Date()> today_;
    std::map<std::string, Entry> sites_;
};

} // namespace fluvane
