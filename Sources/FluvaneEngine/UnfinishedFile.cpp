// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/UnfinishedFile.h"

#include "FluvaneCore/FileName.h"

#include <utility>

#include <fmt/format.h>

namespace fluvane::unfinishedFile {

namespace {

std::string partialName(const std::string& name) {
    return name + "." + extension;
}

/// One that was cut off would be extended with a hole where the saved bytes were.
bool isWhole(FileStore& files, const PieceFile& file, const Left& left) {
    const auto size = files.size(left.location);
    return size && (file.isSparse() ? size == left.size : size >= left.reaches && size <= left.size);
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
        return {.failure = Failure{fmt::format("Couldn't open the unfinished file: {}", error.what())}};
    }
    // Where a drive isn't mounted, a new folder in its place would begin the download at 0.
    if (left.done > 0 && !files.isFolder(left.folder)) {
        return {.failure = Failure{
                    fmt::format("The folder “{}” isn't there. It may be on a drive that isn't connected.",
                                left.folder.path())}};
    }
    const bool cameMeanwhile = left.size && !wasThere && files.identity(left.location);
    return cameMeanwhile ? open(files, left) : Opened{};
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

Created create(FileStore& files, const URL& location, std::optional<std::int64_t> size, DownloadID owner) {
    try {
        return {.file = files.create(location, size, owner)};
    } catch (const FileError& error) {
        return {.failure =
                    Failure{fmt::format("Couldn't create the file: {}", error.what()), error.isFull()}};
    }
}

} // namespace fluvane::unfinishedFile
