// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tessivar {

/// Makes messages fit for a report that goes to others. It knows the words of our own messages and the texts
/// of the system's errors; where anything else begins, the message is cut ("…"), and goes on only with the
/// system's text at its end. So rather too much goes than a link, a host or part of a file's name stays.
class Scrubber {
public:
    /// `privateWords`: words to drop even where they look like ours, as the names of user and host.
    explicit Scrubber(std::vector<std::string> privateWords = {});

    /// Of one line.
    [[nodiscard]] std::string scrubbed(std::string_view message) const;

private:
    [[nodiscard]] bool isOurs(std::string_view word, std::string_view before) const;
    std::vector<std::string> privateWords_;
};

/// The user's and the machine's names, for a Scrubber. Asks the environment and the kernel only.
[[nodiscard]] std::vector<std::string> namesOfUserAndHost();

} // namespace tessivar
