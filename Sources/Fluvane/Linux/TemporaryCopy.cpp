// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/TemporaryCopy.h"

#include "TessivarBase/ASCII.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace fluvane {

namespace {

using tessivar::Descriptor;
using tessivar::SystemError;

/// Such as nobody else gives a file.
constexpr std::string_view prefix = ".fluvane-unfinished-copy-";
constexpr std::string_view places = "XXXXXX"; // for mkostemp, which puts letters and digits there

bool isHiddenName(std::string_view name) {
    return name.size() == prefix.size() + places.size() && name.starts_with(prefix) &&
           std::ranges::all_of(name.substr(prefix.size()), tessivar::ascii::isLetterOrDigit);
}

bool isLeftover(const Descriptor& file) {
    struct stat status {};
    return file.isOpen() && ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) &&
           status.st_uid == ::geteuid() && status.st_nlink == 1 &&
           ::flock(file.get(), LOCK_EX | LOCK_NB) == 0;
}

void clearIfLeftover(const std::filesystem::path& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return; // before opening: opening a device may do things
    }
    const Descriptor file(::open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (isLeftover(file)) {
        (void)tessivar::unlinkIfSame(path, file.get());
    }
}

} // namespace

TemporaryCopy::TemporaryCopy(const std::filesystem::path& folder) : TemporaryCopy(folder, Naming::none) {}

TemporaryCopy::TemporaryCopy(const std::filesystem::path& folder, Naming naming) {
    if (naming == Naming::none) {
        file_ = tessivar::openNameless(folder.string(), 0600);
    }
    if (!file_.isOpen()) {
        makeHidden(folder);
    }
}

TemporaryCopy::~TemporaryCopy() {
    if (!hidden_.empty()) {
        (void)tessivar::unlinkIfSame(hidden_, file_.get());
    }
}

void TemporaryCopy::makeHidden(const std::filesystem::path& folder) {
    struct stat status {};
    do {
        hidden_ = (folder / (std::string(prefix) + std::string(places))).string();
        file_ = Descriptor(::mkostemp(hidden_.data(), O_CLOEXEC));
        if (!file_.isOpen()) {
            hidden_.clear();
            throw SystemError(errno);
        }
        ::flock(file_.get(), LOCK_EX); // waits while somebody looks whether it is a leftover
    } while (::fstat(file_.get(), &status) == 0 && status.st_nlink == 0); // and was told so
}

int TemporaryCopy::moveTo(const std::string& path) {
    if (!hidden_.empty()) {
        const int code = tessivar::moveOpenWithoutReplacing(file_.get(), hidden_, path);
        if (code == 0) {
            hidden_.clear();
        }
        return code;
    }
    return tessivar::giveName(file_.get(), path);
}

void TemporaryCopy::clearLeftovers(const std::filesystem::path& folder) noexcept {
    std::error_code ended;
    for (std::filesystem::directory_iterator entry(folder, ended), end; !ended && entry != end;
         entry.increment(ended)) {
        if (isHiddenName(entry->path().filename().native())) {
            clearIfLeftover(entry->path());
        }
    }
}

} // namespace fluvane
