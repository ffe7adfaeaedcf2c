// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Platform.h"
#include "TessivarCore/Log.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace fluvane::support {

/// Keeps the list in memory as the real store keeps it on disk.
class FakeStore : public DownloadStore {
public:
    explicit FakeStore(Scheduler& scheduler) : scheduler_(scheduler) {}

    [[nodiscard]] std::vector<DownloadRecord> load() override { return saved; }

    void save(std::vector<RecordToSave> records, Saved completion) override {
        ++saves;
        add(0, list, [this, records = std::move(records), completion = std::move(completion)] {
            hasFailed = error || !write(records);
            completion(error || !hasFailed ? error : std::optional<std::string>(needsAll));
        });
    }

    void sync(std::vector<std::shared_ptr<PieceFile>> files, Synced completion) override {
        const auto device = files.front()->identity().device;
        add(syncDelay, device, [files = std::move(files), completion = std::move(completion)]() mutable {
            const auto failed = syncAll(files);
            files.clear();
            completion(failed);
        });
    }

    /// As at quit.
    [[nodiscard]] bool flush(double seconds) override {
        patience = seconds;
        for (std::size_t index = 0; index < pending_.size();) {
            const auto job = pending_[index];
            hangs(*job) ? void(++index) : run(job); // which may add more
        }
        return pending_.empty();
    }

    std::vector<DownloadRecord> saved; ///< What a start would find.
    /// Drops what is pending, as when the process is killed.
    void forget() { pending_.clear(); }

    static constexpr std::uint64_t list = 0; ///< The device that it is on.
    int saves = 0;
    double syncDelay = 0;             ///< Seconds.
    std::set<std::uint64_t> hung;     ///< Devices. One no longer among them goes on within a second.
    double patience = 0;              ///< Of the last flush.
    std::optional<std::string> error; ///< Why nothing can be written.
    bool hasFailed = false;           ///< The last list wasn't written.

private:
    struct Job {
        std::uint64_t device;
        std::function<void()> work;
    };

    void add(double delay, std::uint64_t device, std::function<void()> work) {
        pending_.push_back(std::make_shared<Job>(Job{device, std::move(work)}));
        runAfter(delay, pending_.back());
    }

    void runAfter(double delay, const std::shared_ptr<Job>& job) {
        scheduler_.after(delay, [this, job] { hangs(*job) ? runAfter(1, job) : run(job); });
    }

    [[nodiscard]] bool hangs(const Job& job) const { return hung.contains(job.device); }

    void run(const std::shared_ptr<Job>& job) {
        if (std::erase(pending_, job) > 0) { // not done when flushed
            job->work();
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

    /// Whether it has all that is unchanged: what it wrote itself, unless somebody else changed that since.
    bool write(const std::vector<RecordToSave>& records) {
        std::vector<DownloadRecord> whole;
        for (const auto& one : records) {
            const auto before = std::ranges::find(written_, one.id, &DownloadRecord::id);
            if (!one.record && (before == written_.end() || saved != written_)) {
                return false;
            }
            whole.push_back(one.record ? *one.record : *before);
        }
        saved = written_ = std::move(whole);
        return true;
    }

    Scheduler& scheduler_;
    std::vector<DownloadRecord> written_;
    std::vector<std::shared_ptr<Job>> pending_; ///< In the order of the calls.
};

class FakeSessionStore : public SessionStore {
public:
    [[nodiscard]] std::vector<KeptSession> load() override { return kept; }
    void keep(std::vector<KeptSession> sessions) override { kept = std::move(sessions); }
    std::vector<KeptSession> kept;
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
    void several(Matter matter, const std::vector<std::string>& names) override {
        notices.push_back(std::to_string(names.size()) +
                          (matter == Matter::finished ? " finished" : " need attention"));
    }
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
