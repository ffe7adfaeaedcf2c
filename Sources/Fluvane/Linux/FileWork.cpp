// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/FileWork.h"

#include "Fluvane/Linux/TemporaryCopy.h"
#include "FluvaneCore/FileName.h"
#include "FluvaneEngine/Log.h"
#include "TessivarCore/FileSystem.h"
#include "TessivarPhrases/Phrases.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <memory>
#include <set>
#include <span>
#include <utility>
#include <vector>

namespace fluvane {

namespace {

using tessivar::Descriptor;
using tessivar::SystemError;

constexpr std::size_t chunkSize = 1024UL * 1024UL;
constexpr mode_t folderMode = 0777;
constexpr const char* markName = "user.fluvane.download";

const EVP_MD* methodOf(Checksum::Algorithm algorithm) {
    switch (algorithm) {
    case Checksum::Algorithm::sha256:
        return EVP_sha256();
    case Checksum::Algorithm::sha1:
        return EVP_sha1();
    case Checksum::Algorithm::md5:
        return EVP_md5();
    }
    return nullptr;
}

void require(int result) {
    if (result != 1) {
        throw FileError(tessivar::kept("kept", "The system's cryptography library refused the digest."));
    }
}

std::string hexadecimal(std::span<const unsigned char> bytes) {
    constexpr const char* digits = "0123456789abcdef";
    std::string text;
    for (const auto byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

/// Hands the file's chunks to `use`.
template <class Use>
void forEachChunk(int descriptor, const std::atomic<bool>& ending, Use&& use) {
    ::posix_fadvise(descriptor, 0, 0, POSIX_FADV_SEQUENTIAL);
    std::vector<std::byte> buffer(chunkSize);
    while (const auto count = tessivar::readFully(descriptor, buffer.data(), buffer.size())) {
        if (ending) {
            throw WorkAbandoned();
        }
        use(std::span<const std::byte>(buffer).first(count));
    }
}

/// Once the file is in place nothing may fail any more.
void syncQuietly(const std::filesystem::path& folder) {
    try {
        tessivar::syncFolder(folder.string());
    } catch (const SystemError&) {
    }
}

constexpr const char* anotherFile = tessivar::markedIn("kept", "Another file has its name");

/// Other programs may have put another file there, cut it off, or given it a second name.
void requireWritten(int descriptor, const WrittenFile& written) {
    const auto status = statusOf(descriptor);
    if (identityOf(status) != written.identity) {
        throw FileError(anotherFile);
    }
    if (status.st_size != written.size.value_or(status.st_size) || status.st_nlink > 1) {
        throw FileError(tessivar::kept("kept", "Another program changed it"));
    }
}

Descriptor openedWritten(const std::string& path, const WrittenFile& written) {
    auto file = tessivar::openRegular(path, O_RDONLY | O_NOFOLLOW);
    requireWritten(file.get(), written);
    return file;
}

bool isPlainName(const std::string& name) {
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of(std::string_view("/\0", 2)) == std::string::npos;
}

/// File systems without holes, and the longest file that each takes. On others the first write finds out.
struct Solid {
    decltype(statfs::f_type) type;
    std::int64_t longest;
};
constexpr Solid solidOnes[] = {
    {0x4d44, 0xffff'ffff},                                  // FAT
    {0x7366746e, std::numeric_limits<std::int64_t>::max()}, // NTFS
    {0x2011bab0, std::numeric_limits<std::int64_t>::max()}, // exFAT
    {0x4244, 0x7fff'ffff},                                  // HFS
    {0x482b, std::numeric_limits<std::int64_t>::max()},     // HFS+
    {0x517b, std::numeric_limits<std::int64_t>::max()},     // network folders of Windows, old ways
    {0xff534d42, std::numeric_limits<std::int64_t>::max()}, // and newer ones
    {0xfe534d42, std::numeric_limits<std::int64_t>::max()},
};

const Solid* solidOne(int descriptor) {
    struct statfs volume {};
    if (::fstatfs(descriptor, &volume) != 0) {
        return nullptr;
    }
    const auto* const found =
        std::ranges::find(solidOnes, static_cast<std::uint32_t>(volume.f_type),
                          [](const Solid& solid) { return static_cast<std::uint32_t>(solid.type); });
    return found == std::end(solidOnes) ? nullptr : found;
}

std::string markText(const Owner& owner) {
    return std::to_string(number(owner.id)) + "-" + std::to_string(owner.added.time_since_epoch().count());
}

} // namespace

std::string pathOf(const URL& location) {
    auto path = location.isFile() ? location.path() : std::string();
    return path.find('\0') == std::string::npos ? path : std::string();
}

struct stat statusOf(int descriptor) {
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) {
        status = {};
    }
    return status;
}

FileIdentity identityOf(const struct stat& status) {
    return {.device = status.st_dev, .inode = status.st_ino};
}

bool isFull(int code) {
    return code == ENOSPC || code == EDQUOT;
}

bool isSparse(int descriptor) {
    return solidOne(descriptor) == nullptr;
}

void setLength(int descriptor, std::int64_t size) {
    if (size < 1) {
        return;
    }
    if (const auto* const solid = solidOne(descriptor)) { // would be filled with zeros first
        if (size > solid->longest) {
            throw FileError(tessivar::errorText(EFBIG));
        }
        return;
    }
    while (::ftruncate(descriptor, size) != 0) {
        if (errno != EINTR) {
            throw FileError(tessivar::errorText(errno), isFull(errno));
        }
    }
}

std::string digestOf(const std::string& file, const std::optional<WrittenFile>& written,
                     Checksum::Algorithm algorithm, const std::atomic<bool>& ending) {
    const auto opened = written ? openedWritten(file, *written) : tessivar::openRegular(file, O_RDONLY);
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    require(EVP_DigestInit_ex(context.get(), methodOf(algorithm), nullptr));
    forEachChunk(opened.get(), ending, [&](std::span<const std::byte> chunk) {
        require(EVP_DigestUpdate(context.get(), chunk.data(), chunk.size()));
    });
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int length = 0;
    require(EVP_DigestFinal_ex(context.get(), digest.data(), &length));
    return hexadecimal(std::span(digest).first(length));
}

void setMark(int descriptor, const Owner& owner) {
    const auto text = markText(owner);
    (void)::fsetxattr(descriptor, markName, text.data(), text.size(), 0);
}

namespace {

/// `read` is a call that reads the mark into what it is given.
template <class Read>
Mark markRead(const Owner& owner, Read read) {
    std::array<char, 32> text{};
    const auto length = read(text.data(), text.size());
    if (length >= 0) {
        const std::string_view mark(text.data(), static_cast<std::size_t>(length));
        return mark == markText(owner) ? Mark::own : Mark::anothers;
    }
    return errno == EOPNOTSUPP ? Mark::unkept : errno == ERANGE ? Mark::anothers : Mark::none;
}

} // namespace

Mark markOf(int descriptor, const Owner& owner) {
    return markRead(owner,
                    [=](auto* text, auto size) { return ::fgetxattr(descriptor, markName, text, size); });
}

Mark markAt(const std::string& path, const Owner& owner) {
    return markRead(owner,
                    [&](auto* text, auto size) { return ::lgetxattr(path.c_str(), markName, text, size); });
}

FileMove::FileMove(std::filesystem::path from, WrittenFile written, MoveTarget target,
                   const std::atomic<bool>& ending)
    : from_(std::move(from)), written_(std::move(written)), target_(std::move(target)), ending_(ending) {}

/// From here on both folders are the ones that were found, whatever is put in their places.
std::optional<URL> FileMove::run() {
    if (!isPlainName(target_.name)) {
        throw SystemError(EINVAL);
    }
    const auto folder = pathOf(target_.folder);
    const bool staysInFolder = from_.parent_path() == folder;
    const tessivar::HeldFolder from(from_.parent_path());
    from_ = from.path() / from_.filename();
    // The data before the name: a power cut must not leave the final name on half a file.
    const auto file = openedWritten(from_.string(), written_);
    setMark(file.get(), written_.owner); // it may come from a disk that keeps none
    tessivar::syncData(file.get());
    tessivar::createFolders(folder, folderMode);
    const tessivar::HeldFolder into(folder);
    folderPath_ = into.path();
    const auto chosen = moveOrCopy(file.get());
    syncQuietly(folderPath_);
    if (!staysInFolder) {
        syncQuietly(from.path());
    }
    return chosen ? std::optional(target_.folder.appending(*chosen)) : std::nullopt;
}

std::optional<std::string> FileMove::moveOrCopy(int descriptor) {
    try {
        auto chosen = toFreeName([&](const std::string& path) { return moveTo(path, descriptor); });
        noteOrigin(descriptor);
        return chosen;
    } catch (const SystemError& error) {
        if (error.code() != EXDEV) {
            throw;
        }
        return copyAcross(descriptor);
    }
}

/// The sync took its time: what has the name now may be somebody else's.
int FileMove::moveTo(const std::string& path, int descriptor) const {
    requireWritten(descriptor, written_);
    return tessivar::moveOpenWithoutReplacing(descriptor, from_.string(), path);
}

std::optional<std::string> FileMove::toFreeName(const std::function<int(const std::string&)>& move) const {
    std::set<std::string> refused;
    const auto isTaken = [&](const std::string& candidate) {
        return refused.contains(candidate) || tessivar::nameTaken((folderPath_ / candidate).string());
    };
    while (target_.naming || refused.empty()) {
        auto chosen =
            target_.naming ? fileName::unique(target_.name, *target_.naming, isTaken) : target_.name;
        const int code = move((folderPath_ / chosen).string());
        if (code == 0) {
            return chosen;
        }
        if (code == ESTALE) {
            throw FileError(anotherFile);
        }
        if (code != EEXIST) {
            throw SystemError(code);
        }
        refused.insert(chosen);
    }
    return std::nullopt;
}

/// The folder is on another file system: what is there then is a copy.
std::optional<std::string> FileMove::copyAcross(int descriptor) {
    TemporaryCopy::clearLeftovers(folderPath_);
    TemporaryCopy copy(folderPath_);
    copyData(descriptor, copy.descriptor());
    requireWritten(descriptor, written_); // else it was cut off while it was read
    const auto status = statusOf(descriptor);
    ::fchmod(copy.descriptor(), status.st_mode & 0777);
    const struct timespec times[] = {status.st_atim, status.st_mtim};
    ::futimens(copy.descriptor(), times);
    setMark(copy.descriptor(), written_.owner);
    tessivar::syncData(copy.descriptor());
    auto chosen = toFreeName([&](const std::string& path) { return copy.moveTo(path); });
    if (chosen) {
        noteOrigin(copy.descriptor());
        syncQuietly(folderPath_); // a power cut must not leave neither of them
        (void)tessivar::unlinkIfSame(from_.string(), descriptor);
    }
    return chosen;
}

/// What was never written stays so: an unfinished file may be a hundred times as long as what is in it.
void FileMove::copyData(int from, int to) const {
    setLength(to, target_.length.value_or(0));
    const auto length = statusOf(from).st_size;
    off_t at = ::lseek(from, 0, SEEK_DATA);
    const bool knowsHoles = at >= 0 || errno == ENXIO;
    for (at = knowsHoles ? at : 0; at >= 0 && at < length; at = ::lseek(from, at, SEEK_DATA)) {
        const auto end = knowsHoles ? ::lseek(from, at, SEEK_HOLE) : length;
        if (end < 0 || ::lseek(from, at, SEEK_SET) < 0 || ::lseek(to, at, SEEK_SET) < 0) {
            throw SystemError(errno);
        }
        copyBytes(from, end - at, to);
        at = end;
    }
    if (at < 0 && errno != ENXIO) {
        throw SystemError(errno);
    }
    if (!target_.length && statusOf(to).st_size < length && ::ftruncate(to, length) != 0) {
        throw SystemError(errno);
    }
}

void FileMove::copyBytes(int from, std::int64_t count, int to) const {
    std::vector<std::byte> buffer(chunkSize);
    while (count > 0) {
        const auto wanted = std::min<std::int64_t>(count, std::ssize(buffer));
        const auto got = tessivar::readFully(from, buffer.data(), static_cast<std::size_t>(wanted));
        if (ending_) {
            throw WorkAbandoned();
        }
        if (target_.isGivenUp && *target_.isGivenUp) {
            throw FileError(tessivar::kept("kept", "It was given up."));
        }
        if (got == 0) {
            return;
        }
        tessivar::writeFully(to, std::span<const std::byte>(buffer).first(got));
        count -= static_cast<std::int64_t>(got);
        if (target_.copied) {
            *target_.copied += static_cast<std::int64_t>(got);
        }
    }
}

void FileMove::noteOrigin(int descriptor) const {
    if (!target_.origin) {
        return;
    }
    int code = 0;
    const auto set = [&](const char* name, const URL& url) {
        const auto bare = url.withoutCredentials();
        const auto& text = bare.absoluteString();
        code = ::fsetxattr(descriptor, name, text.data(), text.size(), 0) == 0 ? code : errno;
    };
    set("user.xdg.origin.url", target_.origin->url);
    if (target_.origin->referrer) {
        set("user.xdg.referrer.url", *target_.origin->referrer);
    }
    if (code != 0) {
        log::files.error("couldn't quarantine a finished file: " + tessivar::errorText(code));
    }
}

} // namespace fluvane
