// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/LastRun.h"

#include "Tessivar/Report.h"
#include "TessivarCore/AppIdentity.h"
#include "TessivarCore/Log.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <ctime>

namespace tessivar {

namespace {

using nlohmann::json;

constexpr std::size_t longestRecord = 64UL * 1024UL;

struct Record {
    RunID run;
    std::string version;
    std::int64_t began = 0;
    bool ended = false;
};

template <class Value>
Value valueOr(const json& object, const char* key, Value fallback) {
    const auto found = object.find(key);
    if constexpr (std::is_same_v<Value, std::string>) {
        return found != object.end() && found->is_string() ? found->get<Value>() : fallback;
    } else if constexpr (std::is_same_v<Value, bool>) {
        return found != object.end() && found->is_boolean() ? found->get<Value>() : fallback;
    } else {
        return found != object.end() && found->is_number_integer() ? found->get<Value>() : fallback;
    }
}

std::optional<Record> recordIn(const AtomicFile& file) {
    const auto text = file.read(longestRecord);
    const json object = text ? json::parse(*text, nullptr, false) : json();
    if (!object.is_object()) {
        return std::nullopt;
    }
    const auto run = RunID::fromName(valueOr<std::string>(object, "run", ""));
    if (!run) {
        return std::nullopt;
    }
    return Record{*run, valueOr<std::string>(object, "version", ""),
                  valueOr<std::int64_t>(object, "began", 0), valueOr(object, "ended", false)};
}

LastRun::Ending endingOf(const Record& record, const std::vector<Report>& reports) {
    using enum LastRun::Ending;
    const auto left = [&](auto isSuch) {
        return std::ranges::any_of(
            reports, [&](const Report& report) { return report.run == record.run && isSuch(report); });
    };
    if (left([](const Report& report) { return !report.isHang; })) {
        return crashed;
    }
    if (record.ended) {
        return cleanly;
    }
    if (record.run.isAlive()) {
        return stillRunning;
    }
    if (left([](const Report& report) { return !report.number("Lasted"); })) {
        return hung;
    }
    return record.run.isOfThisBoot() ? killed : rebooted;
}

const char* sentence(LastRun::Ending ending) {
    switch (ending) {
    case LastRun::Ending::unknown:
        return "no earlier run is recorded";
    case LastRun::Ending::cleanly:
        return "the last run ended cleanly";
    case LastRun::Ending::crashed:
        return "the last run crashed";
    case LastRun::Ending::hung:
        return "the last run was ended while it didn't answer";
    case LastRun::Ending::killed:
        return "the last run was ended from outside";
    case LastRun::Ending::rebooted:
        return "the last run ended with the machine's";
    case LastRun::Ending::stillRunning:
        return "the last run hasn't ended yet";
    }
    return "";
}

} // namespace

LastRun::LastRun(const std::filesystem::path& folder)
    : folder_(folder), file_(folder / "last-run.json"), run_(RunID::current()) {}

LastRun::Previous LastRun::begin() noexcept {
    Previous before;
    try {
        before = previous();
        log::lifecycle(sentence(before.ending));
        began_ = std::time(nullptr);
        createFolders(folder_, 0700);
        record(false);
    } catch (const std::exception& error) {
        log::lifecycle.error("this run couldn't be recorded", error);
    }
    return before;
}

void LastRun::end() noexcept {
    try {
        const auto latest = recordIn(file_);
        if (latest && latest->run == run_) {
            record(true);
        }
    } catch (const std::exception& error) {
        log::lifecycle.error("the end of this run couldn't be recorded", error);
    }
}

LastRun::Previous LastRun::previous() const {
    try {
        if (const auto record = recordIn(file_)) {
            return {endingOf(*record, reportsIn(folder_)), record->version, record->began};
        }
    } catch (const SystemError& error) {
        log::lifecycle.error("the record of the last run can't be read", error);
    }
    return {};
}

void LastRun::record(bool ended) const {
    const json object = {
        {"run", run_.name()}, {"version", AppIdentity::current.version}, {"began", began_}, {"ended", ended}};
    file_.write(object.dump(4, ' ', false, json::error_handler_t::replace) + "\n");
}

} // namespace tessivar
