// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Platform.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>

/// Opening and creating a download's unfinished file, as work that is done aside: from any thread, and
/// without a look at the list.
namespace fluvane::unfinishedFile {

/// The file-name extension.
inline constexpr const char* extension = "fluvane";

/// What the record says of one that an earlier run left.
struct Left {
    URL location;
    URL folder;
    std::int64_t done;
    std::int64_t reaches;             ///< The end of the last byte that is claimed of it.
    std::optional<std::int64_t> size; ///< Of the whole; absent when nothing can be carried on from.
};
/// Why it can't be had.
struct Failure {
    std::string sentence; ///< For the user.
    bool isFull = false;  ///< For want of space.
};
/// Neither a file nor a failure: there is none anymore.
struct Opened {
    std::shared_ptr<PieceFile> file{};
    std::optional<Failure> failure{};
};
[[nodiscard]] Opened open(FileStore& files, const Left& left);

struct Wanted {
    URL folder;
    std::string name;
    std::optional<std::int64_t> size;
    DuplicateNaming naming;
    std::set<std::string> taken; ///< Names of other downloads in the folder.
};
struct Created {
    std::shared_ptr<PieceFile> file{}; ///< Null with a failure.
    std::string name{};
    std::optional<URL> location{};
    std::optional<Failure> failure{};
};
/// Under the first free name: nothing is ever replaced.
[[nodiscard]] Created create(FileStore& files, const Wanted& wanted);

} // namespace fluvane::unfinishedFile
