// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/UnfinishedFile.h"

#include "FluvaneCore/FileName.h"

#include <utility>

#include <fmt/format.h>

namespace fluvane::unfinishedFile {

namespace {

constexpr int mostNamesTried = 20;

std::string partialName(const std::string& name) {
    return name + "." + extension;
}

/// One that was cut off would be extended with a hole where the saved bytes were. Since it was opened,
/// another may have got its name.
bool isWhole(FileStore& files, const PieceFile& file, const Left& left) {
    const auto size = files.size(left.location);
    const bool isSame = files.identity(left.location) == file.identity();
    return isSame && size &&
           (file.isSparse() ? size == left.size : size >= left.reaches && size <= left.size);
}

std::string freeName(FileStore& files, const Wanted& wanted) {
    const auto isTaken = [&](const std::string& name) {
        return wanted.taken.contains(name) || files.exists(wanted.folder.appending(name)) ||
               files.exists(wanted.folder.appending(partialName(name)));
    };
    return fileName::unique(wanted.name, wanted.naming, isTaken, partialName({}).size());
}

/// Another program may take the name between the look and the creation: what it made there is its own.
Created tryToCreate(FileStore& files, const Wanted& wanted) {
    for (int tries = 0; tries < mostNamesTried; ++tries) {
        auto name = freeName(files, wanted);
        const auto location = wanted.folder.appending(partialName(name));
        if (auto file = files.create(location, wanted.size)) {
            return {.file = std::move(file), .name = std::move(name), .location = location};
        }
    }
    throw FileError("File exists");
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

Created create(FileStore& files, const Wanted& wanted) {
    try {
        return tryToCreate(files, wanted);
    } catch (const FileError& error) {
        return {.failure =
                    Failure{fmt::format("Couldn't create the file: {}", error.what()), error.isFull()}};
    }
}

} // namespace fluvane::unfinishedFile
