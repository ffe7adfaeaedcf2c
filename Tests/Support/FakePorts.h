#pragma once

#include "FluvaneEngine/Platform.h"
#include "TessivarCore/Log.h"

#include <functional>
#include <memory>
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
              std::function<void()> completion) override {
        const auto order = ++saves;
        const auto store = [this, order, records = std::move(records), syncing = std::move(syncing),
                            completion] {
            for (const auto& file : syncing) {
                try {
                    file->sync();
                } catch (const FileError&) {
                    ++failedSyncs;
                }
            }
            if (order > written_) {
                write(records);
                written_ = order;
            }
            if (completion) {
                completion();
            }
        };
        scheduler_.after(syncing.empty() ? 0 : syncDelay, store);
        last_ = store;
    }

    /// As at quit: the last list given is written. (Completions come as they would.)
    void flush() override {
        if (last_) {
            last_();
        }
    }

    std::vector<DownloadRecord> saved; ///< What a start would find.
    int saves = 0;
    int writes = 0;
    int failedSyncs = 0;
    double syncDelay = 0;

private:
    void write(const std::vector<RecordSnapshot>& records) {
        ++writes;
        saved.clear();
        for (const auto& record : records) {
            saved.push_back(*record);
        }
    }

    Scheduler& scheduler_;
    std::function<void()> last_;
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
    static std::string number(const DownloadRecord& record) { return std::to_string(record.id); }
};

/// Collects log lines ("downloads: download 1 added") while it lives.
class LogCapture {
public:
    LogCapture() {
        tessivar::Log::detailed = true;
        tessivar::Log::setSink(
            [this](tessivar::Log::Level, std::string_view category, std::string_view message) {
                lines.push_back(std::string(category) + ": " + std::string(message));
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
