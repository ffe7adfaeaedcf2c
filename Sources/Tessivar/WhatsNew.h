// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace tessivar {

/// One entry of the application's release list.
struct Release {
    std::string version;            ///< As Version reads it.
    std::string date;               ///< "2026-03-01"
    std::vector<std::string> lines; ///< What is new, a sentence each.
};

/// Tells once after an update what is new. Main thread; nothing throws. The last version seen is kept in a
/// small file, which is written at the first start and after updates only.
class WhatsNew {
public:
    struct Options {
        std::vector<Release> releases;   ///< Newest first.
        std::string version;             ///< The running one.
        std::filesystem::path stateFile; ///< Its folder is created when missing.
        /// Whether the user has been welcomed: before that nothing is shown.
        std::function<bool()> welcomed = [] { return true; };
    };

    explicit WhatsNew(Options options);

    /// Calls `show` with the text of the releases since the version last seen, newest first. Doesn't at the
    /// first start ever, for a version that was seen, after going back to an older one, and when it can't be
    /// remembered that it was shown.
    void showIfUpdated(const std::function<void(const std::string& text)>& show) const;

    /// The text of the newest release up to the running version; a sentence when there is none.
    [[nodiscard]] std::string latest() const;

private:
    Options options_;
};

} // namespace tessivar
