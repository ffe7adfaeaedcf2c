// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Platform.h"

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include <sys/stat.h>

/// The slow work on files, for the file store's queue. Failures are exceptions whose what() is the system's
/// text.
namespace fluvane {

/// Thrown by work that stopped because it was told to end.
class WorkAbandoned {};

/// The path of a file location; empty, which no call opens, when it has none.
[[nodiscard]] std::string pathOf(const URL& location);

[[nodiscard]] struct stat statusOf(int descriptor);
[[nodiscard]] FileIdentity identityOf(const struct stat& status);

/// Lower-case hexadecimal digest of the whole file, which has to be the written one if that is given. Throws
/// WorkAbandoned soon after `ending` is set.
[[nodiscard]] std::string digestOf(const std::string& file, const std::optional<WrittenFile>& written,
                                   Checksum::Algorithm algorithm, const std::atomic<bool>& ending);

/// Marks the open file as the download's own; a disk that keeps no marks is no failure.
void setMark(int descriptor, const Owner& owner);
[[nodiscard]] Mark markOf(int descriptor, const Owner& owner);
/// The same without a descriptor: where there is no free one, a file that can't be looked at isn't nobody's.
[[nodiscard]] Mark markAt(const std::string& path, const Owner& owner);

/// For want of space, or of leave to use more.
[[nodiscard]] bool isFull(int code);
/// Whether a part of the file that nothing was written to costs nothing on its disk.
[[nodiscard]] bool isSparse(int descriptor);
/// Makes it that long where that costs nothing. Fails with FileError, also where its disk holds none so long.
void setLength(int descriptor, std::int64_t size);

/// Moves a file, durably.
class FileMove {
public:
    FileMove(std::filesystem::path from, WrittenFile written, MoveTarget target,
             const std::atomic<bool>& ending);

    /// The new location; absent when its name is taken and no other will do. Throws WorkAbandoned soon after
    /// `ending` is set; after any failure the file is where it was.
    [[nodiscard]] std::optional<URL> run();

private:
    /// Has `move` (0 or an error number) take the first free name that can be had: someone else may take one
    /// at any moment.
    [[nodiscard]] std::optional<std::string>
    toFreeName(const std::function<int(const std::string&)>& move) const;
    [[nodiscard]] std::optional<std::string> moveOrCopy(int descriptor);
    [[nodiscard]] int moveTo(const std::string& path, int descriptor) const;
    [[nodiscard]] std::optional<std::string> copyAcross(int descriptor);
    void copyData(int from, int to) const;
    void copyBytes(int from, std::int64_t count, int to) const;
    void noteOrigin(int descriptor) const;

    std::filesystem::path from_; ///< Both by way of folders that are held open.
    std::filesystem::path folderPath_;
    WrittenFile written_;
    MoveTarget target_;
    const std::atomic<bool>& ending_;
};

} // namespace fluvane
