#include "Fluvane/Commands/CommandCenter.h"

#include "FluvaneCore/StateName.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <limits>
#include <unordered_map>

namespace fluvane {

namespace {

using Json = nlohmann::json; // sorts its keys

std::int64_t truncated(double speed) {
    constexpr auto most = static_cast<double>(std::numeric_limits<std::int64_t>::max());
    if (!(speed > 0)) {
        return 0;
    }
    return speed < most ? static_cast<std::int64_t>(speed) : std::numeric_limits<std::int64_t>::max();
}

void describeOutcome(const DownloadRecord& record, Json& item) {
    if (record.size) {
        item["size"] = *record.size;
    }
    if (record.file) {
        item["file"] = record.file->path();
    }
    if (const auto* reason = record.state.failure()) {
        item["reason"] = *reason;
    }
    if (record.opensWebPage.value_or(false)) {
        item["opensWebPage"] = true;
    }
    if (record.checksum) {
        item["checksum"] =
            std::string(Checksum::rawValue(record.checksum->algorithm)) + ":" + record.checksum->hex;
        if (record.checksumResult) {
            item["checksumMatches"] = record.checksumResult->matches();
        }
    }
}

Json described(const Download& download) {
    const DownloadRecord& record = download.record;
    Json item = {
        {"id", record.id},
        {"name", record.displayName()},
        {"state", stateName(record.state)},
        {"url", record.url.absoluteString()},
        {"folder", record.folder.path()},
        {"downloaded", download.liveBytes()},
        {"connections", download.connections()},
        {"bytesPerSecond", truncated(download.speed())},
    };
    describeOutcome(record, item);
    if (download.isPrioritized()) {
        item["prioritized"] = true;
    }
    return item;
}

} // namespace

Reply CommandCenter::list(const Arguments& /*arguments*/) {
    std::unordered_map<std::int64_t, std::size_t> places;
    for (const Download* waiting : manager_.queue()) {
        places.emplace(waiting->id(), places.size() + 1);
    }
    Json items = Json::array();
    for (const Download* download : manager_.downloads()) {
        Json item = described(*download);
        if (const auto place = places.find(download->id()); place != places.end()) {
            item["placeInLine"] = place->second;
        }
        items.push_back(std::move(item));
    }
    return {.ok = true, .text = items.dump(2, ' ', false, Json::error_handler_t::replace)};
}

} // namespace fluvane
