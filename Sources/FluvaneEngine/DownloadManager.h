// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/FileName.h"
#include "FluvaneEngine/Config.h"
#include "FluvaneEngine/Download.h"
#include "FluvaneEngine/Platform.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace fluvane {

/// The engine: owns the list of downloads, decides which run, and runs them. One per process, used from the
/// main queue only (the thread that made it); no call blocks on disk or network except `start`, which loads
/// the list, and `stop`, which waits for it to be written. A number that names no download, and a command
/// that doesn't apply to a download's state, change nothing and report nothing.
class DownloadManager {
public:
    /// What the engine asks of the system besides its ports. Every function is called on the main queue.
    struct Surroundings {
        fileName::TypeRegistry types;
        /// The folder of a path that may begin with "~"; the user's download folder for none.
        std::function<URL(const std::optional<std::string>&)> folder;
        std::function<Date()> today;
    };

    /// The file-name extension of unfinished files.
    static constexpr const char* partialExtension = "fluvane";

    DownloadManager(Config config, std::shared_ptr<HTTPTransport> transport, std::shared_ptr<FileStore> files,
                    std::shared_ptr<Scheduler> scheduler, std::shared_ptr<DownloadStore> store,
                    std::shared_ptr<PowerAssertion> power, std::shared_ptr<Notifier> notifier,
                    std::function<double()> random, Surroundings surroundings);
    ~DownloadManager();
    DownloadManager(const DownloadManager&) = delete;
    DownloadManager& operator=(const DownloadManager&) = delete;

    /// Loads the saved list and begins admitting downloads. Once.
    void start();
    /// Halts everything and returns once the list is on disk. Once, at quit.
    void stop();

    [[nodiscard]] const Config& config() const { return config_; }
    /// Takes changed settings; they apply at once.
    void apply(const Config& config);

    /// In the order they were added. The pointers hold until the main queue's next turn.
    [[nodiscard]] std::vector<const Download*> downloads() const;
    /// Null when there is none.
    [[nodiscard]] const Download* download(DownloadID id) const;
    /// The queued downloads in the order they will start.
    [[nodiscard]] std::vector<const Download*> queue() const;
    /// Seconds until a download that waits for it is tried again, which is for its `retryReason`; absent for
    /// any other.
    [[nodiscard]] std::optional<double> retryIn(const Download& download) const;
    [[nodiscard]] bool online() const { return online_; }
    [[nodiscard]] std::optional<LimitedNetwork> limitedNetwork() const { return limitedNetwork_; }
    /// The folder that a path in the settings stands for; the user's download folder for none.
    [[nodiscard]] URL folder(const std::optional<std::string>& path) const {
        return surroundings_.folder(path);
    }

    /// Without a folder it goes to the one in the settings; `autoFolder` lets rules choose another. Returns
    /// its number.
    DownloadID add(const URL& url, const std::optional<URL>& folder, const std::optional<URL>& referrer,
                   const std::optional<Checksum>& checksum, bool autoFolder);
    struct Addition {
        URL url;
        std::optional<URL> referrer{};
        std::optional<Checksum> checksum{};
    };
    /// The same for many at once, admitted together: takes time in proportion to their number.
    std::vector<DownloadID> add(const std::vector<Addition>& additions, const std::optional<URL>& folder,
                                bool autoFolder);
    void pause(DownloadID id);
    void resume(DownloadID id);
    void pauseAll();
    void resumeAll();
    void remove(DownloadID id);
    void downloadNext(DownloadID id);
    void prioritize(DownloadID id, bool on);
    void updateLink(DownloadID id, const URL& url);
    void setChecksum(DownloadID id, const std::optional<Checksum>& checksum);

    /// From the platform's network watch.
    void setOnline(bool online);
    void setLimitedNetwork(std::optional<LimitedNetwork> network);

    /// Calls back, on a later turn, once everything changed so far is on disk, or with the reason why the
    /// list can't be written now. It is tried again then until it can.
    using SaveCompletion = std::function<void(const std::optional<std::string>& error)>;
    void whenSaved(SaveCompletion completion);

    /// Before the machine sleeps: brings all that was written to stable storage and the list up to it, then
    /// calls back as `whenSaved` does.
    void saveEverything(SaveCompletion completion);
    /// After the machine slept: connections are opened anew instead of waiting for dead ones to time out, and
    /// waiting retries are made now. A download that couldn't carry on keeps its connection.
    void reconnect();

    /// Called after every change that a user could see.
    std::function<void()> onChange;

    // Tuning; changed before `start` or not at all.
    std::int64_t minimumPiece = 1024 * 1024; ///< Bytes; the smallest piece worth a connection of its own.
    int maxAttempts = 8;                     ///< Failures in a row that are retried.
    int startingConnections = 2;
    double adaptWindow = 3.0; ///< Seconds.
    double adaptGain = 0.15;  ///< The relative gain in speed that counts as faster.
    Backoff backoff{1.0, 60.0};

private:
    using Downloads = std::vector<std::unique_ptr<Download>>;
    /// Holds admission back until the end of a command that changes many downloads.
    class Batch;

    // The list and its saving.
    void assertContext() const;
    Download* find(DownloadID id) const;
    void restore(Download& download);
    bool wasMovedIntoPlace(const Download& download) const;
    void set(Download& download, DownloadState state);
    void changed();
    void save();
    void writeSoon();
    void write();
    void written(std::int64_t generation, const SaveResult& result);
    void answerWaiters(const std::optional<std::string>& error);
    void checkpoint();
    struct Captured {
        DownloadID id;
        std::int64_t pieceGeneration;
        RecordSnapshot record;
    };
    void checkpointDone(const std::vector<Captured>& captured);
    struct Syncing {
        using Owner = std::pair<DownloadID, std::int64_t>; ///< Number and generation of pieces.
        std::vector<Owner> owners;
        std::vector<std::shared_ptr<PieceFile>> files;
        void add(const Download& download, std::shared_ptr<PieceFile> file);
    };
    void distrust(const std::vector<Syncing::Owner>& owners, const std::vector<std::size_t>& unsynced);
    RecordSnapshot snapshot(Download& download, bool claimLive) const;
    std::vector<RecordSnapshot> snapshots(bool claimLive);
    Syncing takeFiles();
    void layOut(Download& download, std::vector<Piece> pieces);

    DownloadID append(const Addition& addition, const URL& folder, bool autoFolder);

    // Admission.
    std::vector<Download*> queued() const;
    void pump();
    void pumpOnce();
    void holdOnLimitedNetwork();
    bool roomAtServer(const Download& download);
    bool takeConnection(const std::optional<std::string>& server);
    void relieveServers();
    int connectionsTo(const std::optional<std::string>& server) const;
    void fillAll();
    bool mustWaitForNetwork(const Download& download) const;
    void requeue(Download& download);
    void setPrioritized(Download& download);
    void takeCaps(Download& download, const Config& before);
    [[nodiscard]] static int ruleCap(const Download& download, const Config& config);
    void holdAll();
    void releaseAll();

    // Probe and start.
    void begin(Download& download, bool fresh);
    bool carryOn(Download& download);
    void probe(Download& download);
    void probeAnswered(Download& download, const TransferResponse& response);
    bool readAnswer(Download& download, const TransferResponse& response);
    void chooseFolder(Download& download, const std::string& name);
    bool enoughSpace(Download& download);
    void chooseName(Download& download, const std::string& suggested);
    bool uniqueName(const std::string& name, const URL& folder, const Download& download) const;
    bool createFile(Download& download);
    void handOver(Download& download, int status);

    // Connections.
    int cap(const Download& download) const;
    int aim(const Download& download) const;
    void halt(Download& download);
    void closeFile(Download& download);
    void foldIn(Download& download, std::int64_t start, const Download::Active& active);
    void dropTransfer(Download& download, std::int64_t start);
    void fill(Download& download);
    bool openOne(Download& download);
    void splitPiece(Download& download, std::int64_t start, std::int64_t at);
    void startPiece(Download& download, std::int64_t start);
    void startTransfer(Download& download, std::int64_t start, TransferRequest request, bool isProbe);
    void trim(Download& download);
    void received(DownloadID id, std::int64_t token, const TransferEvent& event);
    void count(Download& download, std::int64_t start, std::int64_t written);
    void progressed(Download& download);
    std::int64_t measure(Download& download, double now);
    void adapt(Download& download, std::int64_t bytes, double at);
    bool mayMeasure(const Download& download) const;
    bool judgeStep(Download& download, double rate, double totalRate);
    void takeStep(Download& download, double rate, double totalRate);
    void measureAfresh(Download& download, bool regrow);
    void remeasure(bool regrow);
    void noticeNeighbours();
    void updateTicker();
    void tick();

    // Failures.
    void pieceAnswered(Download& download, std::int64_t start, const TransferResponse& response);
    void partAnswered(Download& download, std::int64_t start, const TransferResponse& response);
    void wholeFileAnswered(Download& download, std::int64_t start, const TransferResponse& response);
    std::optional<int> refusal(Download& download, std::int64_t start, const TransferResponse& response,
                               bool probing);
    void refuseProbe(Download& download, int status);
    void refusePiece(Download& download, int status);
    void busy(Download& download, const TransferResponse& response);
    void linkExpired(Download& download);
    void fileChanged(Download& download);
    void failed(Download& download, const TransferError& error, std::optional<double> retryAfter);
    void countFailure(Download& download, const TransferError& error);
    void retryLater(Download& download, const TransferError& error, std::optional<double> retryAfter);
    void scheduleRetry(Download& download, double delay);
    void fail(Download& download, const std::string& message, bool discard = false);
    void retried(DownloadID id);
    void reconnect(Download& download);

    // Finishing.
    void ended(Download& download, std::int64_t start);
    void complete(Download& download);
    void verify(Download& download);
    void verified(Download& download, const Outcome<std::string>& digest);
    void storeResult(Download& download, const std::string& digest);
    void finish(Download& download);
    void moveIntoPlace(Download& download);
    void moved(Download& download, const Outcome<URL>& location);
    void verifyFinishedFile(Download& download);
    /// Wraps what follows a digest, a save or a move: it runs only if the download still waits for it.
    template <class Work>
    auto following(Download& download, Work work) {
        const auto operation = ++download.operation;
        return weakly([this, id = download.id(), operation, work = std::move(work)](auto&&... results) {
            Download* const found = find(id);
            if (found && found->operation == operation) {
                work(*found, std::forward<decltype(results)>(results)...);
            }
        });
    }

    /// Wraps work that must not outlive the manager.
    template <class Work>
    auto weakly(Work work) {
        return [alive = std::weak_ptr<bool>(alive_), work = std::move(work)](auto&&... arguments) mutable {
            if (!alive.expired()) {
                work(std::forward<decltype(arguments)>(arguments)...);
            }
        };
    }
    void notify(const std::function<void(Notifier&)>& tell) const;

    Config config_;
    std::shared_ptr<HTTPTransport> transport_;
    std::shared_ptr<FileStore> files_;
    std::shared_ptr<Scheduler> scheduler_;
    std::shared_ptr<DownloadStore> store_;
    std::shared_ptr<PowerAssertion> power_;
    std::shared_ptr<Notifier> notifier_;
    std::function<double()> random_;
    Surroundings surroundings_;

    Downloads downloads_;
    bool online_ = true;
    std::optional<LimitedNetwork> limitedNetwork_;
    std::int64_t nextID_ = 1;
    std::int64_t nextToken_ = 1;
    std::shared_ptr<Cancellable> ticker_;
    std::int64_t ticks_ = 0;
    bool awake_ = false;
    std::int64_t received_ = 0; ///< Bytes, by all downloads.
    std::optional<DownloadID> measuring_;
    std::set<DownloadID> downloading_;

    bool started_ = false;
    int batches_ = 0;
    bool pumping_ = false;
    bool pumpAgain_ = false;

    /// Saving: every change raises `generation_`; a write carries the list as it stood at one.
    std::int64_t generation_ = 0;
    std::int64_t writtenGeneration_ = 0;
    bool writeScheduled_ = false;
    bool writing_ = false;
    bool checkpointing_ = false;
    bool checkpointWanted_ = false;
    std::int64_t receivedAtCheckpoint_ = 0;
    bool overtaken_ = false; ///< A list was written after the checkpoint's own.
    Syncing closing_;        ///< Halted downloads' files, closed once synced.
    struct Waiter {
        std::int64_t generation;
        SaveCompletion completion;
    };
    std::vector<Waiter> waiters_;
    std::optional<std::string> saveError_;          ///< Of the last list written.
    std::vector<SaveCompletion> checkpointWaiters_; ///< For the next checkpoint to begin.

    std::thread::id context_ = std::this_thread::get_id();
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace fluvane
