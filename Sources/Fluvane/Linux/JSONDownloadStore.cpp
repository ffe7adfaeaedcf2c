// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/JSONDownloadStore.h"

#include "FluvaneCore/Coding.h"
#include "FluvaneEngine/Log.h"
#include "TessivarCore/FileSystem.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <iterator>
#include <mutex>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

namespace fluvane {

namespace {

constexpr mode_t folderMode = 0700;
constexpr std::size_t chunkSize = 256 * 1024;
constexpr std::ptrdiff_t many = 1000; ///< Records written anew at once.

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

/// Of a record, with its hash.
struct Text {
    std::string_view text;
    std::size_t hash;
};

/// Thrown for a record whose text isn't where it was.
struct NeedsAll : std::exception {};

} // namespace

/// The file as it was written last. Lists keep their order, so that it is read from its begin to its end.
class JSONDownloadStore::Former {
public:
    Former(const std::filesystem::path& file, const std::vector<Place>& places)
        : file_(file), places_(places), next_(places.begin()) {}

    /// Good until the next one is asked for.
    [[nodiscard]] Text textOf(DownloadID id) {
        const auto has = [id](const Place& place) { return place.id == id; };
        auto found = std::find_if(next_, places_.end(), has);
        if (found == places_.end()) {
            found = std::find_if(places_.begin(), next_, has);
            if (found == next_) {
                throw NeedsAll();
            }
        }
        next_ = std::next(found);
        const auto text = read(*found);
        if (std::hash<std::string_view>()(text) != found->hash) {
            throw NeedsAll();
        }
        return {.text = text, .hash = found->hash};
    }

private:
    std::string_view read(const Place& place) {
        const auto inChunk = place.at - chunkAt_;
        if (inChunk < 0 || inChunk + static_cast<std::int64_t>(place.length) > std::ssize(chunk_)) {
            fetch(place);
        }
        return std::string_view(chunk_).substr(static_cast<std::size_t>(place.at - chunkAt_), place.length);
    }
    void fetch(const Place& place) {
        if (!descriptor_.isOpen()) {
            descriptor_ = opened();
        }
        chunk_.resize(std::max(chunkSize, place.length));
        chunkAt_ = place.at;
        if (::lseek(descriptor_.get(), chunkAt_, SEEK_SET) < 0) {
            throw NeedsAll();
        }
        try {
            const auto got = tessivar::readFully(descriptor_.get(),
                                                 reinterpret_cast<std::byte*>(chunk_.data()), chunk_.size());
            chunk_.resize(got);
        } catch (const tessivar::SystemError&) { // a bad disk
            throw NeedsAll();
        }
        if (chunk_.size() < place.length) {
            throw NeedsAll();
        }
    }
    [[nodiscard]] tessivar::Descriptor opened() const {
        try {
            return tessivar::openRegular(file_.string(), O_RDONLY);
        } catch (const tessivar::SystemError&) {
            throw NeedsAll();
        }
    }

    const std::filesystem::path& file_;
    const std::vector<Place>& places_;
    std::vector<Place>::const_iterator next_; ///< Behind the one found last.
    tessivar::Descriptor descriptor_;
    std::string chunk_;
    std::int64_t chunkAt_ = 0;
};

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

void JSONDownloadStore::save(std::vector<RecordToSave> records, Saved completion) {
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
    } catch (const NeedsAll&) {
        return needsAll;
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
    std::vector<Place> places;
    file_.write([&](const auto& into) { places = put(records, into); });
    places_ = std::move(places);
    if (std::ranges::count_if(records, [](const auto& one) { return one.record != nullptr; }) > many) {
        malloc_trim(0); // much was needed on the way
    }
}

std::vector<JSONDownloadStore::Place> JSONDownloadStore::put(const Records& records,
                                                             const tessivar::AtomicFile::Put& into) const {
    Former former(file_.path(), places_);
    std::int64_t at = 0;
    const auto write = [&](std::string_view text) {
        into(text);
        at += std::ssize(text);
    };
    std::vector<Place> places;
    places.reserve(records.size());
    std::string anew;
    write("{\n  \"downloads\": [");
    for (const auto& one : records) {
        write(places.empty() ? "\n    " : ",\n    ");
        if (one.record) {
            anew = encodedText(*one.record);
        }
        const auto [text, hash] =
            one.record ? Text{.text = anew, .hash = std::hash<std::string>()(anew)} : former.textOf(one.id);
        places.push_back({.id = one.id, .at = at, .length = text.size(), .hash = hash});
        write(text);
    }
    write(records.empty() ? "],\n  \"version\": 1\n}\n" : "\n  ],\n  \"version\": 1\n}\n");
    return places;
}

} // namespace fluvane
