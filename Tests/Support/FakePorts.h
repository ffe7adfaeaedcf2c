// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Platform.h"
#include "TessivarCore/Log.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace fluvane::support {

/// Keeps the list in memory as the real store keeps it on disk: syncs take `syncDelay` seconds, and a list
/// overtaken by a later one meanwhile is never written.
class FakeStore : public DownloadStore {
public:
    explicit FakeStore(Scheduler& scheduler) : scheduler_(scheduler) {}

    [[nodiscard]] std::vector<DownloadRecord> load() override { return saved; }

    void save(std::vector<RecordSnapshot> records, std::vector<std::shared_ptr<PieceFile>> syncing,
              std::function<void(const SaveResult&)> completion) override {
        const double delay = syncing.empty() ? 0 : syncDelay;
        const auto job = std::make_shared<Job>(
            Job{++saves, std::move(records), std::move(syncing), std::move(completion)});
        pending_.push_back(job);
        scheduler_.after(delay, [this, job] { run(job); });
    }

    /// As at quit.
    void flush() override {
        for (const auto& job : std::vector(pending_)) {
            run(job);
        }
    }

    std::vector<DownloadRecord> saved; ///< What a start would find.
    int saves = 0;
    int writes = 0;
    double syncDelay = 0;
    std::optional<std::string> error; ///< Why nothing can be written.

private:
    struct Job {
        int order;
        std::vector<RecordSnapshot> records;
        std::vector<std::shared_ptr<PieceFile>> syncing;
        std::function<void(const SaveResult&)> completion;
    };

    void run(const std::shared_ptr<Job>& job) {
        if (std::erase(pending_, job) == 0) {
            return; // done when flushed
        }
        const auto files = std::exchange(job->syncing, {});
        const auto unsynced = syncAll(files);
        if (!unsynced.empty()) {
            complete(*job, {.unsynced = unsynced});
            if (job->order == saves && !waiting_.empty()) {
                store(*std::shared_ptr(waiting_.back())); // no later one stands for it now
            }
        } else if (files.empty() || job->order == saves) {
            store(*job);
        } else if (job->order > stored_) {
            waiting_.push_back(job);
        } else {
            complete(*job, {.error = lastError_});
        }
    }

    static std::vector<std::size_t> syncAll(const std::vector<std::shared_ptr<PieceFile>>& files) {
        std::vector<std::size_t> failed;
        for (std::size_t index = 0; index < files.size(); ++index) {
            try {
                files[index]->sync();
            } catch (const FileError&) {
                failed.push_back(index);
            }
        }
        return failed;
    }

    void store(Job& job) {
        if (!error) {
            write(job.records);
        }
        stored_ = job.order;
        lastError_ = error;
        complete(job, {.error = error});
        std::erase_if(waiting_, [&](const auto& waiting) {
            const bool stands = waiting->order <= job.order;
            if (stands) {
                complete(*waiting, {.error = error});
            }
            return stands;
        });
    }

    void write(const std::vector<RecordSnapshot>& records) {
        ++writes;
        saved.clear();
        for (const auto& record : records) {
            saved.push_back(*record);
        }
    }

    void complete(Job& job, SaveResult result) {
        if (auto completion = std::exchange(job.completion, nullptr)) {
            scheduler_.after(
                0, [completion = std::move(completion), result = std::move(result)] { completion(result); });
        }
    }

    Scheduler& scheduler_;
    std::vector<std::shared_ptr<Job>> pending_; ///< In the order of the calls.
    std::vector<std::shared_ptr<Job>> waiting_; ///< Synced, and left to a later one.
    int stored_ = 0;                            ///< Order of the list stored last, or that failed to be.
    std::optional<std::string> lastError_;
};

class FakePower : public PowerAssertion {
public:
    void keepAwake(bool on) override { awake = on; }
    bool awake = false;
};

/// Notes each notice as a line: "finished 1", "failed 2: …", "expired 3".
class FakeNotifier : public Notifier {
public:
    void finished(const DownloadRecord& record) override { note("finished", record); }
    void failed(const DownloadRecord& record, const std::string& reason) override {
        note("failed", record, ": " + reason);
    }
    void linkExpired(const DownloadRecord& record) override { note("expired", record); }
    void note(const std::string& what, const DownloadRecord& record, const std::string& why = "") {
        notices.push_back(what + " " + std::to_string(number(record.id)) + why);
    }
    std::vector<std::string> notices;
};

/// Collects log lines ("downloads: download 1 added") while it lives.
class LogCapture {
public:
    LogCapture() {
        tessivar::Log::detailed = true;
        tessivar::Log::setSink(
            [this](tessivar::Log::Level, std::string_view category, std::string_view message) {
                lines.push_back(std::string(category) + ": " + tessivar::log::shown(message));
            });
    }
    ~LogCapture() {
        tessivar::Log::setSink({});
        tessivar::Log::detailed = false;
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<std::string> lines;
};

} // namespace fluvane::support
