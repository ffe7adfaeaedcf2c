// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Linux/WorkLanes.h"
#include "FluvaneEngine/MainQueue.h"
#include "FluvaneEngine/Platform.h"
#include "TessivarCore/FileSystem.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <shared_mutex>
#include <span>
#include <string>
#include <utility>

namespace fluvane {

/// The files of which some bytes never reached the disk. The system tells that once, to one descriptor, and
/// then forgets it: whoever finishes such a file must be told by us, until it's opened again and what was
/// lost is written once more. From any thread.
class FailedSyncs {
public:
    void add(const FileIdentity& file);
    void forget(const FileIdentity& file);
    [[nodiscard]] bool contains(const FileIdentity& file) const;

private:
    mutable std::mutex mutex_;
    std::set<FileIdentity> files_;
};

/// One open unfinished file, written at any offset by many connections at once. Usable from any thread;
/// dropping the last reference syncs and closes it.
class DiskFile : public PieceFile {
public:
    /// Asks the system about the file, which may wait for its disk. Its name is new in `folder`, unless that
    /// is empty, and made durable with the first sync.
    explicit DiskFile(tessivar::Descriptor descriptor, std::shared_ptr<FailedSyncs> failed = {},
                      std::string folder = {});
    ~DiskFile() override;
    DiskFile(const DiskFile&) = delete;
    DiskFile& operator=(const DiskFile&) = delete;

    void write(std::span<const std::byte> bytes, std::int64_t at) override;
    void read(std::span<std::byte> bytes, std::int64_t at) override;
    void sync() override;
    void close() noexcept override;
    void awaitWrites() override;
    [[nodiscard]] bool isSparse() const override { return sparse_; }
    [[nodiscard]] FileIdentity identity() const override { return identity_; }

private:
    void beginWritingBack(std::int64_t written);
    void noteFailedSync(int code);
    void syncName();

    // Writes and syncs share it, so that a sync on a slow disk doesn't halt the connections; only closing is
    // alone, so that no write runs against a descriptor that is gone.
    mutable std::shared_mutex lock_;
    std::atomic<bool> closing_ = false; ///< Turns writes away: a lock always shared would never be had alone.
    tessivar::Descriptor descriptor_;
    FileIdentity identity_;
    bool sparse_;
    std::shared_ptr<FailedSyncs> failed_;
    std::atomic<int> syncFailure_ = 0; ///< The first sync's error number; from then on every write fails.
    std::atomic<std::int64_t> sinceWriteback_ = 0;
    const std::string folder_;
    std::atomic<bool> nameIsNew_;
};

/// The engine's files on the local file system. Made and ended on the main queue. What is asked for runs on
/// threads that each wait for one disk: a download's own, and for digests and final moves the file system's.
/// When the store ends, digests and moves not done are given up (an interrupted move leaves the unfinished
/// file where it was), and their completions never called; other work is done.
class DiskFileStore : public FileStore {
public:
    /// `applicationIdentifier` labels the threads. `mainQueue` must outlive the store.
    DiskFileStore(MainQueue& mainQueue, const std::string& applicationIdentifier);
    ~DiskFileStore() override;

    void aside(DownloadID download, std::function<void()> work, std::function<void()> done) override;
    [[nodiscard]] bool exists(const URL& location) override;
    [[nodiscard]] bool isFolder(const URL& location) override;
    [[nodiscard]] std::optional<FileIdentity> identity(const URL& location) override;
    [[nodiscard]] std::optional<std::int64_t> size(const URL& location) override;
    [[nodiscard]] std::shared_ptr<PieceFile> create(const URL& location, std::optional<std::int64_t> size,
                                                    const Owner& owner) override;
    [[nodiscard]] Mark mark(const URL& location, const Owner& owner) override;
    [[nodiscard]] std::shared_ptr<PieceFile> open(const URL& location) override;
    bool remove(const URL& location, const Owner& owner, bool wasCreated) override;
    [[nodiscard]] std::optional<Space> space(const URL& folder) override;
    void checksum(const URL& file, const std::optional<WrittenFile>& written, Checksum::Algorithm algorithm,
                  std::function<void(Outcome<std::string>)> completion) override;
    void move(const URL& from, const WrittenFile& written, const MoveTarget& target,
              std::function<void(Outcome<std::optional<URL>>)> completion) override;

private:
    template <class T>
    void run(std::uint64_t device, std::function<T()> work, std::function<void(Outcome<T>)> completion);

    MainQueue& mainQueue_;
    std::atomic<bool> ending_ = false;
    const std::shared_ptr<FailedSyncs> failedSyncs_ = std::make_shared<FailedSyncs>();
    WorkLanes downloads_; // these end first
    WorkLanes devices_;
};

} // namespace fluvane
