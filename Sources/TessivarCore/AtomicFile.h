// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "TessivarCore/FileSystem.h"

#include <filesystem>
#include <functional>
#include <initializer_list>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

namespace tessivar {

/// A file that is read and replaced as a whole. Holds nothing open; one writer at a time.
class AtomicFile {
public:
    explicit AtomicFile(std::filesystem::path path) : path_(std::move(path)) {}

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

    /// The contents; absent when there is no file. Fails with SystemError, also when it is longer than
    /// `limit` bytes.
    [[nodiscard]] std::optional<std::string>
    read(std::size_t limit = std::numeric_limits<std::size_t>::max()) const;

    /// Takes the next part of the contents.
    using Put = std::function<void(std::string_view)>;
    /// Replaces the contents by what `produce` puts: a reader sees the old or the new file, never half of
    /// one, and the new one survives a power cut once this returns. The folder must exist. A symbolic link
    /// stays, and the file that it leads to is replaced. Fails with SystemError, or as `produce` does,
    /// leaving the old file and no other.
    void write(const std::function<void(const Put&)>& produce, mode_t mode = 0600) const;
    void write(std::string_view contents, mode_t mode = 0600) const {
        write([contents](const Put& put) { put(contents); }, mode);
    }

    /// Renames the file to its name with ".unreadable" appended, unless something has that name. Returns
    /// whether it did.
    bool setAside() const noexcept;
    /// The same, taking ".unreadable.2" and so on when an older one is in the way.
    bool setAsideNumbered() const noexcept;

private:
    [[nodiscard]] std::filesystem::path target() const;
    std::filesystem::path path_;
};

} // namespace tessivar
