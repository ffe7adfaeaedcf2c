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
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
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
    if (status.st_size != written.size || status.st_nlink > 1) {
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

FinalMove::FinalMove(std::filesystem::path partial, WrittenFile written, std::string name, URL folder,
                     DuplicateNaming naming, FileOrigin origin, const std::atomic<bool>& ending)
    : partial_(std::move(partial)), written_(std::move(written)), name_(std::move(name)),
      folder_(std::move(folder)), naming_(naming), origin_(std::move(origin)), ending_(ending) {}

/// From here on both folders are the ones that were found, whatever is put in their places.
URL FinalMove::run() {
    if (!isPlainName(name_)) {
        throw SystemError(EINVAL);
    }
    const bool staysInFolder = partial_.parent_path() == pathOf(folder_);
    const tessivar::HeldFolder from(partial_.parent_path());
    partial_ = from.path() / partial_.filename();
    // The data before the name: a power cut must not leave the final name on half a file.
    const auto file = openedWritten(partial_.string(), written_);
    setMark(file.get(), written_.owner); // it may come from a disk that keeps none
    tessivar::syncData(file.get());
    tessivar::createFolders(pathOf(folder_), folderMode);
    const tessivar::HeldFolder into(pathOf(folder_));
    folderPath_ = into.path();
    const auto chosen = moveOrCopy(file.get());
    syncQuietly(folderPath_);
    if (!staysInFolder) {
        syncQuietly(from.path());
    }
    return folder_.appending(chosen);
}

std::string FinalMove::moveOrCopy(int descriptor) {
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
int FinalMove::moveTo(const std::string& path, int descriptor) const {
    requireWritten(descriptor, written_);
    return tessivar::moveOpenWithoutReplacing(descriptor, partial_.string(), path);
}

std::string FinalMove::toFreeName(const std::function<int(const std::string&)>& move) const {
    std::set<std::string> refused;
    while (true) {
        auto chosen = fileName::unique(name_, naming_, [&](const std::string& candidate) {
            return refused.contains(candidate) || tessivar::nameTaken((folderPath_ / candidate).string());
        });
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
}

/// The folder is on another file system: the finished file is a copy.
std::string FinalMove::copyAcross(int descriptor) {
    TemporaryCopy::clearLeftovers(folderPath_);
    TemporaryCopy copy(folderPath_);
    forEachChunk(descriptor, ending_,
                 [&](std::span<const std::byte> chunk) { tessivar::writeFully(copy.descriptor(), chunk); });
    requireWritten(descriptor, written_); // else it was cut off while it was read
    ::fchmod(copy.descriptor(), statusOf(descriptor).st_mode & 0777);
    setMark(copy.descriptor(), written_.owner);
    tessivar::syncData(copy.descriptor());
    auto chosen = toFreeName([&](const std::string& path) { return copy.moveTo(path); });
    noteOrigin(copy.descriptor());
    syncQuietly(folderPath_); // a power cut must not leave neither of them
    (void)tessivar::unlinkIfSame(partial_.string(), descriptor);
    return chosen;
}

void FinalMove::noteOrigin(int descriptor) const {
    int code = 0;
    const auto set = [&](const char* name, const URL& url) {
        const auto bare = url.withoutCredentials();
        const auto& text = bare.absoluteString();
        code = ::fsetxattr(descriptor, name, text.data(), text.size(), 0) == 0 ? code : errno;
    };
    set("user.xdg.origin.url", origin_.url);
    if (origin_.referrer) {
        set("user.xdg.referrer.url", *origin_.referrer);
    }
    if (code != 0) {
        log::files.error("couldn't quarantine a finished file: " + tessivar::errorText(code));
    }
}

} // namespace fluvane
