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
    Owner owner;
    bool isMarked;    ///< It was made with its owner's mark.
    bool mayComeBack; ///< Nobody has asked for the download since the start: a missing file is waited for.
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
    DuplicateNaming naming;
    std::set<std::string> taken{}; ///< Names of other downloads in the folder.
};
/// A name that leaves room for the unfinished file's; absent when nothing usable is left.
[[nodiscard]] std::optional<std::string> cleanName(std::string_view name);
/// The first name that is free for the finished file and the unfinished one: nothing is ever replaced.
[[nodiscard]] std::string freeName(FileStore& files, const Wanted& wanted);
/// Where the unfinished file of that name is.
[[nodiscard]] URL location(const URL& folder, const std::string& name);
/// The name that it is of, absent when it isn't in that folder.
[[nodiscard]] std::optional<std::string> nameIn(const URL& folder, const std::optional<URL>& partial);

/// Neither a file nor a failure: somebody else was faster.
struct Created {
    std::shared_ptr<PieceFile> file{};
    Mark mark = Mark::none;
    std::optional<Failure> failure{};
};
[[nodiscard]] Created create(FileStore& files, const URL& location, std::optional<std::int64_t> size,
                             const Owner& owner);

} // namespace fluvane::unfinishedFile
