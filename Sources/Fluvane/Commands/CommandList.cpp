// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Commands/CommandCenter.h"

#include "FluvaneCore/StateName.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <limits>
#include <unordered_map>
#include <utility>

namespace fluvane {

namespace {

/// Writes the list's JSON, indented by 2. A tree of values first would cost four times the time, on the main
/// queue. Keys are given in alphabetical order.
class ListWriter {
public:
    void begin() {
        text_ += text_.empty() ? "[\n  {" : ",\n  {";
        first_ = true;
    }
    void end() { text_ += "\n  }"; }
    void add(const char* key, std::string_view value) {
        using Json = nlohmann::json;
        addRaw(key, Json(value).dump(-1, ' ', false, Json::error_handler_t::replace));
    }
    void add(const char* key, std::int64_t value) { addRaw(key, std::to_string(value)); }
    void addTrue(const char* key) { addRaw(key, "true"); }
    void addRaw(const char* key, std::string_view value) {
        text_ += std::exchange(first_, false) ? "\n    \"" : ",\n    \"";
        text_ += key;
        text_ += "\": ";
        text_ += value;
    }
    [[nodiscard]] std::string list() && { return text_.empty() ? "[]" : std::move(text_) + "\n]"; }

private:
    std::string text_;
    bool first_ = true;
};

std::int64_t truncated(double speed) {
    constexpr auto most = static_cast<double>(std::numeric_limits<std::int64_t>::max());
    if (!(speed > 0)) {
        return 0;
    }
    return speed < most ? static_cast<std::int64_t>(speed) : std::numeric_limits<std::int64_t>::max();
}

void describeChecksum(const DownloadRecord& record, ListWriter& writer) {
    if (record.checksum) {
        writer.add("checksum",
                   std::string(Checksum::rawValue(record.checksum->algorithm)) + ":" + record.checksum->hex);
        if (record.checksumResult) {
            writer.addRaw("checksumMatches", record.checksumResult->matches() ? "true" : "false");
        }
    }
}

void describe(const Download& download, std::optional<std::int64_t> placeInLine, ListWriter& writer) {
    const DownloadRecord& record = download.record;
    writer.add("bytesPerSecond", truncated(download.speed()));
    describeChecksum(record, writer);
    writer.add("connections", std::int64_t{download.connections()});
    writer.add("downloaded", download.liveBytes());
    if (record.file) {
        writer.add("file", record.file->path());
    }
    writer.add("folder", record.folder.path());
    writer.add("id", number(record.id));
    writer.add("name", record.displayName());
    if (record.opensWebPage.value_or(false)) {
        writer.addTrue("opensWebPage");
    }
    if (placeInLine) {
        writer.add("placeInLine", *placeInLine);
    }
    if (download.isPrioritized()) {
        writer.addTrue("prioritized");
    }
    if (const auto* reason = record.state.failure()) {
        writer.add("reason", *reason);
    } else if (record.state.isWaiting(DownloadState::Wait::space)) {
        writer.add("reason", download.retry->reason);
    }
    if (record.size) {
        writer.add("size", *record.size);
    }
    writer.add("state", stateName(record.state));
    writer.add("url", record.url.absoluteString());
}

} // namespace

Reply CommandCenter::list(const Arguments& /*arguments*/) {
    std::unordered_map<DownloadID, std::int64_t> places;
    for (const Download* waiting : manager_.queue()) {
        places.emplace(waiting->id(), static_cast<std::int64_t>(places.size()) + 1);
    }
    ListWriter writer;
    for (const Download* download : manager_.downloads()) {
        const auto place = places.find(download->id());
        writer.begin();
        describe(*download, place == places.end() ? std::nullopt : std::optional(place->second), writer);
        writer.end();
    }
    return {.ok = true, .text = std::move(writer).list()};
}

} // namespace fluvane
