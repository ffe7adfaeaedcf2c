// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/JSONDownloadStore.h"

#include "FluvaneCore/Coding.h"
#include "FluvaneEngine/Log.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <string_view>
#include <utility>

#include <malloc.h>

namespace fluvane {

namespace {

constexpr mode_t folderMode = 0700;
constexpr std::size_t many = 1000; ///< Records written anew at once.

/// The text of one record, as it stands in the list.
std::string encodedText(const DownloadRecord& record) {
    const nlohmann::json sorted = coding::encode(record);
    const auto text = sorted.dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
    std::string indented;
    indented.reserve(text.size() + text.size() / 4);
    for (const char character : text) { // line breaks within texts are escaped
        indented += character;
        if (character == '\n') {
            indented += "    ";
        }
    }
    indented.shrink_to_fit(); // it is kept
    return indented;
}

std::vector<DownloadRecord> decoded(const std::string& text) {
    const auto json = coding::parse(text);
    (void)coding::required<std::int64_t>(json, "version"); // there is only one so far
    const auto* downloads = coding::detail::find(json, "downloads");
    if (!downloads) {
        coding::detail::keyNotFound("downloads");
    }
    if (!downloads->is_array()) {
        throw coding::DecodingError(coding::DecodingError::Kind::typeMismatch,
                                    "Expected a list under 'downloads'.");
    }
    std::vector<DownloadRecord> records;
    records.reserve(downloads->size());
    for (const auto& record : *downloads) {
        records.push_back(coding::detail::decodeUnder<DownloadRecord>("downloads", record));
        const auto& before = records[records.size() - std::min<std::size_t>(records.size(), 2)].folder;
        if (records.back().folder == before) {
            records.back().folder = before; // most go to one folder, whose location they share
        }
    }
    return records;
}

/// The indices of the files that couldn't be. They remember it: their writes and moves fail from now on.
std::vector<std::size_t> syncAll(const std::vector<std::shared_ptr<PieceFile>>& files) {
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

} // namespace

/// Completions on their way to the main queue, where whoever waits for them takes them early.
class JSONDownloadStore::Completions : public std::enable_shared_from_this<Completions> {
public:
    explicit Completions(MainQueue& mainQueue) : mainQueue_(mainQueue) {}

    /// One more is to come.
    void expect() {
        const std::lock_guard lock(mutex_);
        ++expected_;
    }
    /// It is here. From any thread.
    void add(std::function<void()> completion) {
        {
            const std::lock_guard lock(mutex_);
            --expected_;
            here_.push_back(std::move(completion));
        }
        added_.notify_all();
        mainQueue_.post([self = shared_from_this()] {
            std::unique_lock lock(self->mutex_);
            if (!self->here_.empty()) { // none was taken early
                self->callFirst(lock);
            }
        });
    }
    /// Whether all came and were called in time.
    bool callAll(std::chrono::steady_clock::time_point end) {
        std::unique_lock lock(mutex_);
        while (added_.wait_until(lock, end, [this] { return !here_.empty() || expected_ == 0; })) {
            if (here_.empty()) {
                return true;
            }
            callFirst(lock);
        }
        return false;
    }

private:
    void callFirst(std::unique_lock<std::mutex>& lock) {
        const auto completion = std::move(here_.front());
        here_.pop_front();
        lock.unlock();
        completion();
        lock.lock();
    }

    MainQueue& mainQueue_;
    std::mutex mutex_; ///< For all below.
    std::condition_variable added_;
    std::deque<std::function<void()>> here_;
    std::size_t expected_ = 0;
};

JSONDownloadStore::JSONDownloadStore(std::filesystem::path file, MainQueue& mainQueue,
                                     const std::string& applicationIdentifier)
    : file_(std::move(file)), completions_(std::make_shared<Completions>(mainQueue)),
      writing_(applicationIdentifier + ".store"), syncing_(applicationIdentifier + ".sync") {}

JSONDownloadStore::~JSONDownloadStore() = default;

/// Reading a long list takes several times the memory that it needs afterwards.
std::vector<DownloadRecord> JSONDownloadStore::load() {
    auto records = read();
    malloc_trim(0);
    return records;
}

std::vector<DownloadRecord> JSONDownloadStore::read() {
    try {
        const auto text = file_.read();
        return text ? decoded(*text) : std::vector<DownloadRecord>();
    } catch (const std::exception& error) {
        log::files.error(std::string("couldn't read the saved downloads: ") + error.what());
        const bool wasRead = dynamic_cast<const tessivar::SystemError*>(&error) == nullptr;
        wasRead ? file_.setAside() : file_.setAsideNumbered();
    }
    return {};
}

void JSONDownloadStore::save(std::vector<RecordSnapshot> records, Saved completion) {
    completions_->expect();
    writing_.async([this, records = std::move(records), completion = std::move(completion)] {
        completions_->add([completion, error = write(records)] { completion(error); });
    });
}

void JSONDownloadStore::sync(std::vector<std::shared_ptr<PieceFile>> files, Synced completion) {
    completions_->expect();
    const auto device = files.front()->identity().device;
    syncing_.async(device, [completions = completions_, files = std::move(files),
                            completion = std::move(completion)]() mutable {
        auto failed = syncAll(files);
        files.clear(); // the last one to have a file closes it
        completions->add(
            [completion = std::move(completion), failed = std::move(failed)] { completion(failed); });
    });
}

bool JSONDownloadStore::flush(double seconds) {
    using namespace std::chrono;
    return completions_->callAll(steady_clock::now() +
                                 duration_cast<steady_clock::duration>(duration<double>(seconds)));
}

std::optional<std::string> JSONDownloadStore::write(const Records& records) {
    try {
        writeFile(records);
        error_.reset();
    } catch (const std::exception& error) {
        if (error_ != error.what()) {
            log::files.error(std::string("couldn't save the downloads: ") + error.what());
        }
        error_ = error.what();
    }
    return error_;
}

void JSONDownloadStore::writeFile(const Records& records) {
    tessivar::createFolders(file_.path().parent_path(), folderMode);
    std::size_t anew = 0;
    Encoded encoded;
    encoded.reserve(records.size());
    std::vector<std::string_view> parts = {"{\n  \"downloads\": ["};
    parts.reserve(2 * records.size() + 2);
    for (const auto& record : records) {
        auto known = encoded_.extract(record);
        anew += known ? 0 : 1;
        const auto entry = known ? encoded.insert(std::move(known)).position
                                 : encoded.emplace(record, encodedText(*record)).first;
        parts.emplace_back(parts.size() == 1 ? "\n    " : ",\n    ");
        parts.emplace_back(entry->second);
    }
    parts.emplace_back(records.empty() ? "],\n  \"version\": 1\n}\n" : "\n  ],\n  \"version\": 1\n}\n");
    encoded_ = std::move(encoded);
    file_.write(parts);
    if (anew > many) {
        malloc_trim(0); // much was needed on the way
    }
}

} // namespace fluvane
