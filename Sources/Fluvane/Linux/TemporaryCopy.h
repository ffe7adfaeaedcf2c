// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "TessivarCore/FileSystem.h"

#include <filesystem>
#include <string>

namespace fluvane {

/// A file of our own being written in a folder in which it will get its final name; gone again unless it has
/// got that. Where the file system can, it has no name until then, so that not even a crash leaves it behind.
/// Elsewhere it has a hidden one, and is locked while it lives. Failures are SystemErrors. Any one thread.
class TemporaryCopy {
public:
    enum class Naming { none, hidden };

    /// Without a name, or with a hidden one where that can't be had.
    explicit TemporaryCopy(const std::filesystem::path& folder);
    TemporaryCopy(const std::filesystem::path& folder, Naming naming);
    TemporaryCopy(const TemporaryCopy&) = delete;
    TemporaryCopy& operator=(const TemporaryCopy&) = delete;
    ~TemporaryCopy();

    [[nodiscard]] int descriptor() const { return file_.get(); }
    /// Gives it its final name: 0, or the error number (EEXIST when the name is taken,
    /// ESTALE when somebody put another file in its place).
    [[nodiscard]] int moveTo(const std::string& path);

    /// Removes what copies of a process that is gone have left in the folder under hidden names. What isn't
    /// certainly such a copy stays. Never fails.
    static void clearLeftovers(const std::filesystem::path& folder) noexcept;

private:
    void makeHidden(const std::filesystem::path& folder);

    tessivar::Descriptor file_;
    std::string hidden_; ///< Its path; empty while it has none.
};

} // namespace fluvane
