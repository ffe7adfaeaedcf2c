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
        last_ = std::make_shared<Job>(++saves, std::move(records), std::move(syncing), std::move(completion));
        scheduler_.after(delay, [this, job = last_] { run(*job); });
    }

    /// As at quit: the last list given is written.
    void flush() override {
        if (last_) {
            run(*last_);
        }
    }

    std::vector<DownloadRecord> saved; ///< What a start would find.
    int saves = 0;
    int writes = 0;
    double syncDelay = 0;
    std::optional<std::string> error; ///< Why nothing can be written.

private:
    struct Job {
        Job(int order_, std::vector<RecordSnapshot> records_,
            std::vector<std::shared_ptr<PieceFile>> syncing_,
            std::function<void(const SaveResult&)> completion_)
            : order(order_), records(std::move(records_)), syncing(std::move(syncing_)),
              completion(std::move(completion_)) {}
        int order;
        std::vector<RecordSnapshot> records;
        std::vector<std::shared_ptr<PieceFile>> syncing;
        std::function<void(const SaveResult&)> completion;
    };

    void run(Job& job) {
        SaveResult result;
        const auto files = std::exchange(job.syncing, {});
        for (std::size_t index = 0; index < files.size(); ++index) {
            try {
                files[index]->sync();
            } catch (const FileError&) {
                result.unsynced.push_back(index);
            }
        }
        if (result.unsynced.empty() && job.order > written_) {
            result.error = error;
            if (!error) {
                write(job.records);
            }
            written_ = job.order;
        }
        if (const auto completion = std::exchange(job.completion, nullptr)) {
            completion(result);
        }
    }

    void write(const std::vector<RecordSnapshot>& records) {
        ++writes;
        saved.clear();
        for (const auto& record : records) {
            saved.push_back(*record);
        }
    }

    Scheduler& scheduler_;
    std::shared_ptr<Job> last_;
    int written_ = 0;
};

class FakePower : public PowerAssertion {
public:
    void keepAwake(bool on) override { awake = on; }
    bool awake = false;
};

/// Notes each notice as a line: "finished 1", "failed 2: …", "expired 3".
class FakeNotifier : public Notifier {
public:
    void finished(const DownloadRecord& record) override { notices.push_back("finished " + number(record)); }
    void failed(const DownloadRecord& record, const std::string& reason) override {
        notices.push_back("failed " + number(record) + ": " + reason);
    }
    void linkExpired(const DownloadRecord& record) override {
        notices.push_back("expired " + number(record));
    }
    std::vector<std::string> notices;

private:
    static std::string number(const DownloadRecord& record) {
        return std::to_string(fluvane::number(record.id));
    }
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
