// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Application/InstanceLock.h"

#include "TessivarCore/FileSystem.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <thread>

namespace fluvane {

namespace {

constexpr std::chrono::milliseconds betweenTries{50};

/// The user's alone: the list tells what was downloaded, the socket takes commands. Durable before anything
/// is saved in it.
void createFolder(const std::filesystem::path& folder) {
    try {
        tessivar::createFolders(folder, S_IRWXU);
    } catch (const tessivar::SystemError&) { // what is wrong shows when the file is opened
    }
}

} // namespace

InstanceLock::InstanceLock(const Files& files, std::chrono::milliseconds patience) {
    outcome_ = open(files.lock) ? tryLock() : fail();
    const auto until = std::chrono::steady_clock::now() + patience;
    while (outcome_ == Outcome::held && !std::filesystem::exists(files.socket) &&
           std::chrono::steady_clock::now() < until) {
        std::this_thread::sleep_for(betweenTries);
        outcome_ = tryLock();
    }
}

bool InstanceLock::tryAgain() {
    outcome_ = tryLock();
    return outcome_ == Outcome::taken;
}

void InstanceLock::release() {
    ::flock(file_.get(), LOCK_UN);
}

bool InstanceLock::open(const std::string& lockFile) {
    createFolder(std::filesystem::path(lockFile).parent_path());
    file_ = tessivar::Descriptor(
        ::open(lockFile.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    return file_.isOpen();
}

InstanceLock::Outcome InstanceLock::tryLock() {
    if (flock(file_.get(), LOCK_EX | LOCK_NB) == 0) {
        return Outcome::taken;
    }
    return errno == EWOULDBLOCK ? Outcome::held : fail();
}

InstanceLock::Outcome InstanceLock::fail() {
    problem_ = std::generic_category().message(errno);
    return Outcome::failed;
}

} // namespace fluvane
