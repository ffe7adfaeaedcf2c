// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/UnfinishedFile.h"

#include "FluvaneCore/FileName.h"
#include "TessivarPhrases/Phrases.h"

#include <utility>

namespace fluvane::unfinishedFile {

namespace {

std::string partialName(const std::string& name) {
    return name + "." + extension;
}

/// One that was cut off would be extended with a hole where the saved bytes were. Since it was opened,
/// another may have got its name.
bool isWhole(FileStore& files, const PieceFile& file, const Left& left) {
    const auto size = files.size(left.location);
    const bool isSame = files.identity(left.location) == file.identity();
    const auto mark = files.mark(left.location, left.owner);
    const bool isAnothers = mark == Mark::anothers || (mark == Mark::none && left.isMarked);
    return isSame && size && !isAnothers &&
           (file.isSparse() ? size == left.size : size >= left.reaches && size <= left.size);
}

/// Where a drive isn't mounted, beginning anew would give up what is on it.
std::optional<Failure> awayWith(FileStore& files, const Left& left) {
    if (left.done == 0) {
        return std::nullopt;
    }
    if (!files.isFolder(left.folder)) {
        return Failure{
            tessivar::kept("kept", "The folder “%1” isn't there. It may be on a drive that isn't connected.",
                           left.folder.path())};
    }
    return left.mayComeBack && !files.identity(left.location)
               ? std::optional(Failure{tessivar::kept(
                     "kept", "The unfinished file isn't there. It may be on a drive that isn't connected.")})
               : std::nullopt;
}

} // namespace

Opened open(FileStore& files, const Left& left) {
    bool wasThere = false;
    try {
        auto file = left.size ? files.open(left.location) : nullptr;
        if (file && isWhole(files, *file, left)) {
            return {.file = std::move(file)};
        }
        wasThere = file != nullptr;
    } catch (const FileError& error) {
        // An intact file isn't thrown away because it can't be opened now.
        return {.failure =
                    Failure{tessivar::kept("kept", "Couldn't open the unfinished file: %1", error.what())}};
    }
    if (auto failure = left.size ? awayWith(files, left) : std::nullopt) {
        return {.failure = std::move(failure)};
    }
    const bool cameMeanwhile = left.size && !wasThere && files.identity(left.location);
    return cameMeanwhile ? open(files, left) : Opened{};
}

std::optional<std::string> cleanName(std::string_view name) {
    const auto clean = fileName::clean(name);
    const auto room = fileName::longest - partialName({}).size();
    return clean ? std::optional(fileName::shortened(*clean, room)) : std::nullopt;
}

std::string freeName(FileStore& files, const Wanted& wanted) {
    const auto isTaken = [&](const std::string& name) {
        return wanted.taken.contains(name) || files.exists(wanted.folder.appending(name)) ||
               files.exists(location(wanted.folder, name));
    };
    return fileName::unique(wanted.name, wanted.naming, isTaken, partialName({}).size());
}

URL location(const URL& folder, const std::string& name) {
    return folder.appending(partialName(name));
}

std::optional<std::string> nameIn(const URL& folder, const std::optional<URL>& partial) {
    const auto path = partial ? partial->path() : std::string();
    const auto slash = path.rfind('/');
    const auto ending = partialName({});
    const bool isIn =
        slash != std::string::npos && path.ends_with(ending) && URL::folder(path.substr(0, slash)) == folder;
    return isIn ? std::optional(path.substr(slash + 1, path.size() - slash - 1 - ending.size()))
                : std::nullopt;
}

Created create(FileStore& files, const URL& location, std::optional<std::int64_t> size, const Owner& owner) {
    try {
        auto file = files.create(location, size, owner);
        const auto mark = file ? files.mark(location, owner) : Mark::none;
        return {.file = std::move(file), .mark = mark};
    } catch (const FileError& error) {
        return {.failure = Failure{tessivar::kept("kept", "Couldn't create the file: %1", error.what()),
                                   error.isFull()}};
    }
}

} // namespace fluvane::unfinishedFile
