// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/JSONDownloadStore.h"

#include "FluvaneCore/Coding.h"
#include "FluvaneEngine/Log.h"

#include <algorithm>
#include <string_view>

namespace fluvane {

namespace {

constexpr mode_t folderMode = 0700;

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

JSONDownloadStore::JSONDownloadStore(std::filesystem::path file, MainQueue& mainQueue,
                                     const std::string& applicationIdentifier)
    : file_(std::move(file)), mainQueue_(mainQueue), writing_(applicationIdentifier + ".store"),
      syncing_(applicationIdentifier + ".store") {}

JSONDownloadStore::~JSONDownloadStore() = default;

std::vector<DownloadRecord> JSONDownloadStore::load() {
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

void JSONDownloadStore::save(std::vector<RecordSnapshot> records,
                             std::vector<std::shared_ptr<PieceFile>> files,
                             std::function<void(const SaveResult&)> completion) {
    const std::lock_guard lock(mutex_);
    const auto number = ++latest_;
    if (files.empty()) {
        enqueue(number, std::move(records), std::move(completion));
        return;
    }
    syncing_.async([this, number, records = std::move(records), files = std::move(files),
                    completion = std::move(completion)]() mutable {
        SaveResult result{.unsynced = syncAll(files)};
        files.clear();
        if (result.unsynced.empty()) {
            synced(number, std::move(records), std::move(completion));
        } else {
            complete(std::move(completion), result);
            notSynced(number);
        }
    });
}

void JSONDownloadStore::flush() {
    syncing_.drain();
    writing_.drain();
}

/// The list is written unless a later one was given meanwhile: the completion then waits for that.
void JSONDownloadStore::synced(std::int64_t number, Records records, Completion completion) {
    SaveResult result;
    {
        const std::lock_guard lock(mutex_);
        if (number == latest_) {
            enqueue(number, std::move(records), std::move(completion));
            return;
        }
        if (number > written_) {
            waiting_.push_back({number, std::move(records), std::move(completion)});
            return;
        }
        result = lastResult_;
    }
    complete(std::move(completion), result);
}

/// With no later list to come, the last one that was left to this one is written after all.
void JSONDownloadStore::notSynced(std::int64_t number) {
    const std::lock_guard lock(mutex_);
    if (number == latest_ && !waiting_.empty() && waiting_.back().number > enqueued_) {
        auto& last = waiting_.back();
        enqueue(last.number, std::move(last.records), nullptr);
    }
}

/// Under the lock, so that lists are written in the order of their numbers.
void JSONDownloadStore::enqueue(std::int64_t number, Records records, Completion completion) {
    enqueued_ = number;
    writing_.async(
        [this, number, records = std::move(records), completion = std::move(completion)]() mutable {
            write(number, records, std::move(completion));
        });
}

void JSONDownloadStore::write(std::int64_t number, const Records& records, Completion completion) {
    const auto result = tried(records);
    done(number, result);
    complete(std::move(completion), result);
}

SaveResult JSONDownloadStore::tried(const Records& records) {
    try {
        writeFile(records);
        error_.reset();
    } catch (const std::exception& error) {
        if (error_ != error.what()) {
            log::files.error(std::string("couldn't save the downloads: ") + error.what());
        }
        error_ = error.what();
    }
    return {.error = error_};
}

void JSONDownloadStore::writeFile(const Records& records) {
    tessivar::createFolders(file_.path().parent_path(), folderMode);
    Encoded encoded;
    encoded.reserve(records.size());
    std::vector<std::string_view> parts = {"{\n  \"downloads\": ["};
    parts.reserve(2 * records.size() + 2);
    for (const auto& record : records) {
        auto known = encoded_.extract(record);
        const auto entry = known ? encoded.insert(std::move(known)).position
                                 : encoded.emplace(record, encodedText(*record)).first;
        parts.emplace_back(parts.size() == 1 ? "\n    " : ",\n    ");
        parts.emplace_back(entry->second);
    }
    parts.emplace_back(records.empty() ? "],\n  \"version\": 1\n}\n" : "\n  ],\n  \"version\": 1\n}\n");
    encoded_ = std::move(encoded);
    file_.write(parts);
}

void JSONDownloadStore::done(std::int64_t number, const SaveResult& result) {
    std::vector<Completion> ready;
    {
        const std::lock_guard lock(mutex_);
        written_ = number;
        lastResult_ = result;
        std::erase_if(waiting_, [&](auto& waiting) {
            const bool stands = waiting.number <= number;
            if (stands) {
                ready.push_back(std::move(waiting.completion));
            }
            return stands;
        });
    }
    for (auto& completion : ready) {
        complete(std::move(completion), result);
    }
}

void JSONDownloadStore::complete(Completion completion, const SaveResult& result) {
    if (completion) {
        mainQueue_.post([completion = std::move(completion), result] { completion(result); });
    }
}

} // namespace fluvane
