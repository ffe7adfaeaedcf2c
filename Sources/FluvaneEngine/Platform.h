// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/Checksum.h"
#include "FluvaneCore/DownloadID.h"
#include "FluvaneCore/DownloadRecord.h"
#include "FluvaneCore/DuplicateNaming.h"
#include "FluvaneCore/Headers.h"
#include "FluvaneCore/Session.h"
#include "FluvaneCore/URL.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

/// The engine's ports to the system. Every call is made from the engine's context, the main queue, unless a
/// comment says otherwise; every callback is delivered there, asynchronously, never from inside the call.
/// Offsets and sizes are bytes, times seconds.
namespace fluvane {

/// One GET as the engine wants it.
struct TransferRequest {
    URL url;
    std::optional<std::int64_t> from{}; ///< First byte wanted; absent: the whole file, no Range header.
    std::optional<std::int64_t> to{};   ///< Last byte wanted, inclusive; absent with `from`: open-ended.
    std::optional<std::string> ifRange{};
    std::optional<URL> referrer{};
    SharedSession session{};
    std::string label{}; ///< For the log.
    /// Transfers of one group may hold each other up; one that waits for its disk holds up no other group.
    std::int64_t group = 0;
    bool headOnly = false; ///< Asks for the head of the answer alone, which is followed by no body.
    friend bool operator==(const TransferRequest&, const TransferRequest&) = default;
};

/// The head of the server's answer.
class TransferResponse {
public:
    using Headers = std::vector<std::pair<std::string, std::string>>;

    /// Names are lower-cased; of names that differ only in case the first is kept.
    TransferResponse(int status, URL url, const Headers& headers);

    [[nodiscard]] int status() const { return status_; }
    [[nodiscard]] const URL& url() const { return url_; } ///< After redirects.
    [[nodiscard]] const std::map<std::string, std::string>& headers() const { return headers_; }
    [[nodiscard]] std::optional<std::string> operator[](std::string_view name) const;

    [[nodiscard]] Validators validators() const;
    /// The body's length is not the file's.
    [[nodiscard]] bool isEncoded() const;
    [[nodiscard]] std::optional<ContentRange> contentRange() const;
    /// As sent: may be negative. Absent where the body comes in chunks.
    [[nodiscard]] std::optional<std::int64_t> contentLength() const;

    friend bool operator==(const TransferResponse&, const TransferResponse&) = default;

private:
    int status_;
    URL url_;
    std::map<std::string, std::string> headers_;
};

struct TransferError {
    std::string message;   ///< A whole sentence for the user.
    bool offline = false;  ///< The machine has no network.
    bool lasting = false;  ///< Trying again doesn't cure it.
    bool nameless = false; ///< The server's name leads nowhere (anymore).
    bool full = false;     ///< There is no space for what it brings.
    friend bool operator==(const TransferError&, const TransferError&) = default;
};

/// What a running transfer reports. Byte counts are running totals of what this transfer has written, counted
/// from the offset it was told to write at.
struct TransferEvent {
    struct Progress {
        std::int64_t written;
        friend bool operator==(const Progress&, const Progress&) = default;
    };
    struct Finished {
        std::int64_t written;
        friend bool operator==(const Finished&, const Finished&) = default;
    };
    struct Failed {
        TransferError error;
        std::int64_t written;
        friend bool operator==(const Failed&, const Failed&) = default;
    };
    std::variant<TransferResponse, Progress, Finished, Failed> value;
    friend bool operator==(const TransferEvent&, const TransferEvent&) = default;
};

/// Where a finished file came from, recorded on the file.
struct FileOrigin {
    URL url;
    std::optional<URL> referrer{};
    friend bool operator==(const FileOrigin&, const FileOrigin&) = default;
};

/// Why the current network should be spared.
enum class LimitedNetwork { hotspot, lowDataMode };
[[nodiscard]] std::string_view rawValue(LimitedNetwork network);

/// A failure of the file system; what() is the system's own text.
class FileError : public std::runtime_error {
public:
    explicit FileError(const std::string& message, bool isFull = false)
        : std::runtime_error(message), isFull_(isFull) {}
    /// For want of space, or of leave to use more.
    [[nodiscard]] bool isFull() const { return isFull_; }

private:
    bool isFull_;
};

/// A result or the text of what went wrong.
template <class T>
class Outcome {
public:
    [[nodiscard]] static Outcome success(T value) {
        return Outcome(std::in_place_index<0>, std::move(value));
    }
    [[nodiscard]] static Outcome failure(std::string message) {
        return Outcome(std::in_place_index<1>, std::move(message));
    }
    [[nodiscard]] bool ok() const { return value_.index() == 0; }
    [[nodiscard]] const T& value() const { return std::get<0>(value_); }
    [[nodiscard]] const std::string& error() const { return std::get<1>(value_); }

private:
    template <std::size_t index, class Value>
    Outcome(std::in_place_index_t<index> place, Value&& value) : value_(place, std::forward<Value>(value)) {}
    std::variant<T, std::string> value_;
};

/// Which file something is, whatever its name. Once it isn't open anymore, another one may get the same.
struct FileIdentity {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
    friend bool operator<(const FileIdentity& a, const FileIdentity& b) {
        return std::pair(a.device, a.inode) < std::pair(b.device, b.inode);
    }
};

/// An open unfinished file. Shared by the engine, the transfers that write into it and the store that syncs
/// it; every operation may be called from any thread and fails with FileError. Any may take as long as a disk
/// does, which may be for ever.
class PieceFile {
public:
    virtual ~PieceFile() = default;
    /// Writes all the bytes; the file position isn't used, so connections write concurrently.
    virtual void write(std::span<const std::byte> bytes, std::int64_t at) = 0;
    /// Reads all the bytes; fails at the end of the file too.
    virtual void read(std::span<std::byte> bytes, std::int64_t at) = 0;
    /// Forces what is written to stable storage. Does nothing once closed.
    virtual void sync() = 0;
    /// Syncs and closes. Harmless when repeated; a later write fails.
    virtual void close() noexcept = 0;
    /// Returns once no write is under way.
    virtual void awaitWrites() {}
    /// Whether a part that nothing was written to costs nothing. Elsewhere the system fills it with zeros
    /// before it takes what lies behind it.
    [[nodiscard]] virtual bool isSparse() const { return true; }
    /// The same for as long as the file is there; asks no disk.
    [[nodiscard]] virtual FileIdentity identity() const { return {}; }
};

/// Whose a file is. Numbers of downloads that were removed are given again.
struct Owner {
    Owner(DownloadID id_ = {}, Date added_ = {})
        : id(id_), added(std::chrono::floor<std::chrono::seconds>(added_)) {}
    explicit Owner(const DownloadRecord& record) : Owner(record.id, record.added) {}
    DownloadID id;
    std::chrono::sys_seconds added; ///< As exact as it is saved.
    friend bool operator==(const Owner&, const Owner&) = default;
};

/// Whose mark, put on it when it is created, a file bears.
enum class Mark {
    own,
    anothers,
    none,   ///< Nor is anything there, maybe.
    unkept, ///< The disk keeps no marks.
};

/// What has to be under an unfinished file's name for it to be the one that was written: other programs reach
/// its folder, too.
struct WrittenFile {
    FileIdentity identity;
    std::optional<std::int64_t> size; ///< Absent: any.
    Owner owner{};
    std::shared_ptr<PieceFile> file{}; ///< Held open, so that no other file gets its identity.
};

/// Where a file is moved to, and as what.
struct MoveTarget {
    URL folder;
    std::string name;
    /// For the next free name where that one is taken; absent: no other will do.
    std::optional<DuplicateNaming> naming{};
    std::optional<FileOrigin> origin{}; ///< Recorded on it; a failure to do so is only logged.
    /// Of what isn't written whole yet, where a part that nothing was written to costs nothing.
    std::optional<std::int64_t> length{};
    std::shared_ptr<const std::atomic<bool>> isGivenUp{}; ///< Once set, a copy ends soon, as a failure.
    std::shared_ptr<std::atomic<std::int64_t>> copied{};  ///< Bytes so far, where it takes a copy.
};

/// One running request. Sends at most one response, then progress at most every 0.25 s, then exactly one end
/// (finished or failed), or nothing after a cancel. Dropping the last reference cancels it. No call waits for
/// a write under way: that one may still come to its end after the transfer's, but counts for nothing then.
class Transfer {
public:
    virtual ~Transfer() = default;
    /// Called once, after the response event: from now on the body goes into `file` from `at` on. The
    /// transfer finishes as soon as its position reaches `end` (exclusive), and begins no write past it.
    virtual void accept(std::shared_ptr<PieceFile> file, std::int64_t at,
                        std::optional<std::int64_t> end) = 0;
    /// File offset of the next byte it has to write, all before it being written; 0 before `accept`. Stays
    /// as it is from the end on.
    [[nodiscard]] virtual std::int64_t position() const = 0;
    /// Moves the end. Finishes at once when the position is there already. A write under way may reach past
    /// the new end, though the position doesn't.
    virtual void setEnd(std::int64_t end) = 0;
    /// No event is delivered after this. A write under way may still come to its end, and isn't counted in
    /// `position`: whoever has other bytes for this place puts them into another file.
    virtual void cancel() = 0;
};

class HTTPTransport {
public:
    using Events = std::function<void(const TransferEvent&)>;
    virtual ~HTTPTransport() = default;
    /// Opens one connection and begins the request at once.
    [[nodiscard]] virtual std::shared_ptr<Transfer> start(TransferRequest request, Events events) = 0;
    /// Bytes per second shared by all transfers; absent: unlimited.
    virtual void setSpeedLimit(std::optional<std::int64_t> bytesPerSecond) = 0;
};

/// What a volume has.
struct Space {
    std::uint64_t device = 0; ///< As in the identities of its files.
    std::int64_t free = 0;    ///< Bytes for this user.
    std::int64_t total = 0;
    std::string place{}; ///< Where it is mounted.
    friend bool operator==(const Space&, const Space&) = default;
};

/// A disk may be slow, or never answer: what waits for it is done `aside`.
class FileStore {
public:
    virtual ~FileStore() = default;
    /// Runs `work` off the engine's context, then `done`, if any, on it. What belongs to one download is done
    /// in the order given, and waits for no other download's. What isn't done when the store ends is done
    /// before that, `done` where `work` was.
    virtual void aside(DownloadID download, std::function<void()> work, std::function<void()> done = {}) = 0;

    // From here to `space`: for work that is done aside. From any thread.

    /// Whether anything has the name, a dangling link included.
    [[nodiscard]] virtual bool exists(const URL& location) = 0;
    /// Whether it is a folder, or a link that leads to one.
    [[nodiscard]] virtual bool isFolder(const URL& location) = 0;
    /// What has the name itself, absent when nothing has.
    [[nodiscard]] virtual std::optional<FileIdentity> identity(const URL& location) = 0;
    /// Length of the user's file that has this name and no other, absent when there is none.
    [[nodiscard]] virtual std::optional<std::int64_t> size(const URL& location) = 0;
    /// Creates the file, missing folders included, at `size` bytes when known and it is sparse. As soon as it
    /// has its name it bears its owner's mark, if the disk keeps marks. Null when anything has the name
    /// already, which is left as it is. Fails with FileError.
    [[nodiscard]] virtual std::shared_ptr<PieceFile>
    create(const URL& location, std::optional<std::int64_t> size, const Owner& owner) = 0;
    [[nodiscard]] virtual Mark mark(const URL& location, const Owner& owner) = 0;
    /// Opens for writing, keeping the contents; after a failed sync whoever opens it writes anew what isn't
    /// known to be on stable storage. Null when nothing has the name. Fails with FileError, also
    /// for what isn't a file or the user's, is reached through a link, or has other names.
    [[nodiscard]] virtual std::shared_ptr<PieceFile> open(const URL& location) = 0;
    /// Deletes the owner's file, durably. Whatever else may have the name stays: what is no file, bears
    /// another's mark or, unless `wasCreated` without one for certain, none; where none is kept, what has
    /// bytes. False when it may be there still: it can't be deleted now, or its folder isn't there.
    virtual bool remove(const URL& location, const Owner& owner, bool wasCreated) = 0;
    /// Of the folder's volume; the folder need not exist yet. Absent when the volume doesn't tell.
    [[nodiscard]] virtual std::optional<Space> space(const URL& folder) = 0;

    // These do their work aside by themselves, for each file system one at a time.

    /// Lower-case hexadecimal digest of the whole file. Fails for another file than the one that was written,
    /// if that is given.
    virtual void checksum(const URL& file, const std::optional<WrittenFile>& written,
                          Checksum::Algorithm algorithm,
                          std::function<void(Outcome<std::string>)> completion) = 0;
    /// Moves the file, to another file system as a copy that gets its name when it is whole and safe: nothing
    /// is ever replaced. Fails unless it is the file that was written, under no other name. It bears its
    /// owner's mark before it has its new name. Reports the new location; absent when the name is taken and
    /// no other will do.
    virtual void move(const URL& from, const WrittenFile& written, const MoveTarget& target,
                      std::function<void(Outcome<std::optional<URL>>)> completion) = 0;
};

/// Pending work. Dropping it leaves the work pending.
class Cancellable {
public:
    virtual ~Cancellable() = default;
    /// The work will not run. Harmless once it has.
    virtual void cancel() = 0;
};

class Scheduler {
public:
    virtual ~Scheduler() = default;
    /// Monotonic seconds; only differences matter.
    [[nodiscard]] virtual double now() const = 0;
    /// Runs the work once on the engine's context after the delay; with a delay of 0 or less on its next
    /// turn.
    virtual std::shared_ptr<Cancellable> after(double seconds, std::function<void()> work) = 0;
};

/// An immutable copy of a record, shared instead of copied again while it doesn't change.
using RecordSnapshot = std::shared_ptr<const DownloadRecord>;

/// A record of a list to be saved, or the one with that number as the list that was stored last has it.
struct RecordToSave {
    RecordToSave(RecordSnapshot record_) : id(record_->id), record(std::move(record_)) {}
    RecordToSave(DownloadID unchanged) : id(unchanged) {}
    DownloadID id;
    RecordSnapshot record; ///< Null: it is unchanged.
};

/// Persistence of the list, and of what was written into the unfinished files.
class DownloadStore {
public:
    /// With the reason why the list isn't stored.
    using Saved = std::function<void(const std::optional<std::string>& error)>;
    /// With the indices of the files whose bytes didn't reach the disk.
    using Synced = std::function<void(const std::vector<std::size_t>& failed)>;

    virtual ~DownloadStore() = default;
    /// The saved list in saved order; empty when nothing is saved. Synchronous, once at start.
    [[nodiscard]] virtual std::vector<DownloadRecord> load() = 0;
    /// The reason where what is unchanged can't be had anymore: all records have to be given.
    static constexpr const char* needsAll = "The records of the saved list are needed again";
    /// Stores the whole list durably, off the engine's context. Lists are stored in the order of the calls.
    virtual void save(std::vector<RecordToSave> records, Saved completion) = 0;
    /// Syncs each file and lets it go, off the engine's context. All of them, at least one, are of one file
    /// system (`FileIdentity::device`): its files are synced one after the other, those of another file
    /// system and lists wait for nothing of it.
    virtual void sync(std::vector<std::shared_ptr<PieceFile>> files, Synced completion) = 0;
    /// Calls the completions of what is pending here, within the call, as they come, until nothing is pending
    /// anymore. False if the time was over before that, since a disk didn't answer: what is still pending
    /// stays so.
    [[nodiscard]] virtual bool flush(double seconds) = 0;
};

/// Whose a session is, and for which link.
struct KeptSession {
    Owner owner;
    URL link;
    SharedSession session; ///< Never null.
    friend bool operator==(const KeptSession&, const KeptSession&) = default;
};

/// Keeps sessions for the next start of the program, for nobody else to read, and at most until the machine
/// ends. Failures are only logged, without a word of what is kept.
class SessionStore {
public:
    virtual ~SessionStore() = default;
    /// What was kept last. Synchronous, once at start.
    [[nodiscard]] virtual std::vector<KeptSession> load() = 0;
    /// Keeps these instead, off the engine's context, in the order of the calls.
    virtual void keep(std::vector<KeptSession> sessions) = 0;
};

class PowerAssertion {
public:
    virtual ~PowerAssertion() = default;
    /// Asks the system not to sleep by itself, or releases that. Idempotent.
    virtual void keepAwake(bool on) = 0;
};

class Notifier {
public:
    virtual ~Notifier() = default;
    virtual void finished(const DownloadRecord& record) = 0;
    virtual void failed(const DownloadRecord& record, const std::string& reason) = 0;
    virtual void linkExpired(const DownloadRecord& record) = 0;
    enum class Matter { finished, needAttention };
    /// More than one download, by name, to which that happened within seconds.
    virtual void several(Matter matter, const std::vector<std::string>& names) = 0;
};

} // namespace fluvane
