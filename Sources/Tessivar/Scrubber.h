// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tessivar {

/// Makes messages fit for a report that goes to others: without what is hidden in them (log::hidden). Should
/// that have been forgotten, what can be told by its looks is dropped as well: links and full paths, with all
/// that follows, hosts, addresses, names of files with an extension, and the words that it is given.
class Scrubber {
public:
    /// `privateWords`: as the names of user and host; in upper and lower case, but not as a part of a longer
    /// word.
    explicit Scrubber(std::vector<std::string> privateWords = {});

    /// Of one line.
    [[nodiscard]] std::string scrubbed(std::string_view message) const;

private:
    std::vector<std::string> privateWords_;
};

/// The user's and the machine's names, for a Scrubber. Asks the environment and the kernel only.
[[nodiscard]] std::vector<std::string> namesOfUserAndHost();

} // namespace tessivar
