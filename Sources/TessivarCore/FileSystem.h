// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "TessivarBase/Descriptor.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include <sys/types.h>

/// What files need beyond the standard library: durability, and never replacing anything. Usable from any
/// thread. Unless a comment says otherwise a failure is a SystemError.
namespace tessivar {

/// The system's own text for an error number.
[[nodiscard]] std::string errorText(int code);

/// A failed system call; what() is the system's own text.
class SystemError : public std::runtime_error {
public:
    explicit SystemError(int code) : std::runtime_error(errorText(code)), code_(code) {}
    /// For what the system has no number for; `text` reads like one of its own.
    SystemError(int code, const std::string& text) : std::runtime_error(text), code_(code) {}
    [[nodiscard]] int code() const { return code_; }

private:
    int code_;
};

/// A path that leads to the open file or folder itself, whatever its name.
[[nodiscard]] std::string pathOfOpen(int descriptor);

/// Opens a regular file, close-on-exec. Anything else (folder, pipe, device) is refused, without blocking on
/// it. `flags` and `mode` as for open(2); a file that must be new (O_EXCL) is refused with EEXIST only.
[[nodiscard]] Descriptor openRegular(const std::string& path, int flags, mode_t mode = 0);

/// A new file in the folder that has no name yet, close-on-exec; not open where that can't be had. What isn't
/// named is gone with its last descriptor.
[[nodiscard]] Descriptor openNameless(const std::string& folder, mode_t mode);
/// Names it, and never replaces: 0, or the error number (EEXIST when the name is taken).
[[nodiscard]] int giveName(int nameless, const std::string& path);

/// Reads up to `count` bytes from the file position; fewer only at the end.
[[nodiscard]] std::size_t readFully(int descriptor, std::byte* into, std::size_t count);
/// Writes everything at the file position.
void writeFully(int descriptor, std::span<const std::byte> bytes);
/// Forces data to stable storage.
void syncData(int descriptor);
/// Makes names in the folder durable; does nothing where the file system can't.
void syncFolder(const std::string& folder);

/// Creates the folder and those missing above it, each with the mode (less the umask). An existing one is
/// left as it is.
void createFolders(const std::filesystem::path& folder, mode_t mode);

/// Whether anything has the name, a dangling link included.
[[nodiscard]] bool nameTaken(const std::string& path);

/// Whether the name itself is one of the open file's.
[[nodiscard]] bool isSame(const std::string& path, int descriptor);

/// A folder held open. A path below `path()` is in this very folder, whatever has its name by then, and
/// whichever of those above it have been exchanged.
class HeldFolder {
public:
    explicit HeldFolder(const std::filesystem::path& folder);
    /// Good for as long as this object lives.
    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

private:
    Descriptor folder_;
    std::filesystem::path path_;
};

/// Removes the name unless it is another file's than the open one by now: 0, or the error number.
int unlinkIfSame(const std::string& path, int descriptor);

/// Moves within a file system and never replaces: 0, or the error number (EEXIST when the name is taken,
/// EXDEV for another file system).
[[nodiscard]] int moveWithoutReplacing(const std::string& from, const std::string& to);

/// The same for the open file alone: ESTALE when another has the name `from`, which keeps it.
[[nodiscard]] int moveOpenWithoutReplacing(int descriptor, const std::string& from, const std::string& to);

/// The three ways it tries, for file systems that lack the better ones.
[[nodiscard]] int moveByExclusiveRename(const std::string& from, const std::string& to);
[[nodiscard]] int moveByLink(const std::string& from, const std::string& to);
/// Takes the name with an empty file of our own, then renames onto that, unless somebody has put another file
/// there in the meantime.
[[nodiscard]] int moveByReservation(const std::string& from, const std::string& to);

} // namespace tessivar
