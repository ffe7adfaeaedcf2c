// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Conditions.h"
#include "FluvaneEngine/Config.h"
#include "FluvaneEngine/Download.h"
#include "FluvaneEngine/Environment.h"
#include "FluvaneEngine/Inquiry.h"
#include "FluvaneEngine/Platform.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fluvane {

/// The engine: owns the list of downloads, decides which run, and runs them. One per process, used from the
/// main queue only (the thread that made it); no call blocks on disk or network except `start`, which loads
/// the list, and `stop`, which waits for it to be written. A number that names no download, and a command
/// that doesn't apply to a download's state, change nothing and report nothing.
///
/// It takes commands; the parts behind it decide (see Documentation/Architecture.md).
class DownloadManager {
public:
    /// The file-name extension of unfinished files.
    static const char* const partialExtension;

    DownloadManager(Config config, std::shared_ptr<HTTPTransport> transport, std::shared_ptr<FileStore> files,
                    std::shared_ptr<Scheduler> scheduler, std::shared_ptr<DownloadStore> store,
                    std::shared_ptr<PowerAssertion> power, std::shared_ptr<Notifier> notifier,
                    std::function<double()> random, Environment environment);
    ~DownloadManager();
    DownloadManager(const DownloadManager&) = delete;
    DownloadManager& operator=(const DownloadManager&) = delete;

    /// Loads the saved list and begins admitting downloads. Once.
    void start();
    /// Halts everything and returns once all that was written is on stable storage and the list up to it.
    /// False, after some 10 s, when a disk didn't answer: a thread hangs on it then, for which the ports'
    /// destructors wait. Once, at quit.
    bool stop();

    [[nodiscard]] const Config& config() const;
    /// Takes changed settings; they apply at once.
    void apply(const Config& config);

    /// In the order they were added. The pointers hold until the main queue's next turn.
    [[nodiscard]] std::vector<const Download*> downloads() const;
    /// Null when there is none.
    [[nodiscard]] const Download* download(DownloadID id) const;
    /// The queued downloads in the order they will start.
    [[nodiscard]] std::vector<const Download*> queue() const;
    /// How many places are held by downloads that are being tried again, while others wait for a place.
    [[nodiscard]] std::int64_t placesHeldByRetries() const;
    /// Seconds until a download that waits for it is tried again, which is for its `retry.reason`; absent for
    /// any other.
    [[nodiscard]] std::optional<double> retryIn(const Download& download) const;
    [[nodiscard]] bool online() const;
    [[nodiscard]] std::optional<LimitedNetwork> limitedNetwork() const;
    /// The folder that a path in the settings stands for; the user's download folder for none.
    [[nodiscard]] URL folder(const std::optional<std::string>& path) const;

    /// Without a folder it goes to the one in the settings; `autoFolder` lets rules choose another. Returns
    /// its number.
    DownloadID add(const URL& url, const std::optional<URL>& folder, const std::optional<URL>& referrer,
                   const std::optional<Checksum>& checksum, bool autoFolder);
    struct Addition {
        URL url;
        std::optional<URL> referrer{};
        std::optional<Checksum> checksum{};
        std::optional<std::string> name{}; ///< Instead of what server and link suggest; made safe.
        SharedSession session{};           ///< By which the server knows who asks.
        bool paused = false;               ///< Doesn't start before it is resumed.
    };
    /// The same for many at once, admitted together: takes time in proportion to their number.
    std::vector<DownloadID> add(const std::vector<Addition>& additions, const std::optional<URL>& folder,
                                bool autoFolder);
    /// The name as a file gets it, if it is free; absent when nothing usable is left.
    [[nodiscard]] static std::optional<std::string> fileName(std::string_view typed);
    /// Asks the server about a link that may be added; changes nothing here. Null while nothing may be asked:
    /// offline, on a network that is spared, or with as many connections to the server as it gets.
    [[nodiscard]] std::unique_ptr<Inquiry> inquire(const Inquiry::Question& question,
                                                   Inquiry::Answered answered) const;
    void pause(DownloadID id);
    void resume(DownloadID id);
    void pauseAll();
    void resumeAll();
    void remove(DownloadID id);
    static constexpr double undoTime = 10; ///< Seconds.
    /// Removes them, together, so that it can be undone for that time: nobody finds them anymore, but their
    /// unfinished files are deleted only after it, or at the end of the program, or when one of their links
    /// is added again. What is being moved into place stays.
    void removeForNow(const std::vector<DownloadID>& ids);
    /// Brings back what the last removal took that can be undone, as it was; what ran is queued. Returns
    /// which; none when it is too late.
    std::vector<DownloadID> undoRemoval();
    /// How many that would bring back.
    [[nodiscard]] std::size_t undoable() const;
    void downloadNext(DownloadID id);
    void prioritize(DownloadID id, bool on);
    /// With a session it replaces the one that the download has.
    void updateLink(DownloadID id, const URL& url, const SharedSession& session = nullptr);
    /// With the name that it has then, or a sentence on why all is as it was.
    using Moved = std::function<void(const Outcome<std::string>& name)>;
    /// Changes the folder, the name, or both; the file it has is moved there, finished or not, and replaces
    /// nothing: a name that is taken gets a number. What runs carries on afterwards. Calls back on a later
    /// turn, which may take as long as a copy to another disk, unless the download is removed before.
    void move(DownloadID id, const std::optional<URL>& folder, const std::optional<std::string>& name,
              Moved then);
    /// Ends a copy to another disk; everything stays where it was, which the move tells as a failure. One
    /// that is through already stays moved.
    void stopMoving(DownloadID id);
    void setChecksum(DownloadID id, const std::optional<Checksum>& checksum);

    /// From the platform's network watch.
    void setOnline(bool online);
    void setLimitedNetwork(std::optional<LimitedNetwork> network);

    /// Calls back, on a later turn, once everything changed so far is on disk, or with the reason why the
    /// list can't be written now. It is tried again then until it can.
    using SaveCompletion = std::function<void(const std::optional<std::string>& error)>;
    void whenSaved(SaveCompletion completion);

    /// Before the machine sleeps: brings all that was written to stable storage and the list up to it, then
    /// calls back as `whenSaved` does. A disk that doesn't answer is given up after a few seconds.
    void saveEverything(SaveCompletion completion);
    /// After the machine slept: connections are opened anew instead of waiting for dead ones to time out, and
    /// waiting retries are made now. A download that couldn't carry on keeps its connection.
    void reconnect();

    /// Called after every change that a user could see.
    std::function<void()> onChange;

private:
    struct Engine;

    void lookWhetherMoved(Download& download);
    void restore(Download& download, const std::optional<std::string>& movedTo);
    void settle();
    void admit();
    void beaten(std::int64_t beats);
    Download* find(DownloadID id) const;
    DownloadID append(const Addition& addition, const URL& folder, bool autoFolder);
    void pause(Download& download);
    void requeue(Download& download);
    void resume(Download& download);
    void makeOnlyPrioritized(Download& download);
    void cutBackOthers(const Download& download);
    void takeConfig(const Config& config);
    void holdAll();
    void hold(Download& download, DownloadState::Wait reason);
    void releaseAll(DownloadState::Wait reason);

    std::unique_ptr<Engine> engine_;
};

} // namespace fluvane
