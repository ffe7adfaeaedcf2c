// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The list of downloads, as it may stand on a disk.

#include "Fuzz/Fuzz.h"
#include "Support/Engine.h"

using namespace fluvane;

const fuzz::Inputs fuzz::seeds = {
    R"([{"id":1,"prioritized":true,"url":"https://files.test/a.iso","folder":"file:///tmp/in%20put/","resumable":true,"size":20,
"pieces":[{"start":0,"end":10,"done":4},{"start":10,"done":0}],"state":{"downloading":{}},"name":"\u00e4\n",
"added":"2026-03-01T09:15:42Z","partial":"file:///tmp/a.iso.fluvane","validators":{"etag":"\"1\""}},
{"id":9223372036854775807,"url":"http://h/x","folder":"file:///","resumable":false,"pieces":[],"queueOrder":-9223372036854775808,
"state":{"waiting":{"_0":"retrying"}},"added":"9999-12-31T23:59:59Z"},
{"id":1,"url":"fluvane:add?url=http://h/","folder":"file:///d/","resumable":false,"size":-1,"completed":null,
"pieces":[{"start":0,"end":-9,"done":1e3}],"state":{"failed":{"_0":"No."}},"added":"1969-12-31T23:59:59Z"}])"};

/// Whatever list was saved, a start gets by with it, and so do the commands.
static void checkList(const coding::Json& json) {
    support::Engine engine;
    auto& records = engine.store->saved;
    for (const auto& value : json) {
        records.push_back(coding::decode<DownloadRecord>(value));
        const auto again = coding::parse(coding::encode(records.back()).dump());
        fuzz::require(coding::decode<DownloadRecord>(again) == records.back(), "a record reads back");
    }
    const auto count =
        std::ranges::count_if(records, [](const auto& record) { return !record.removed.value_or(false); });
    engine.config.simultaneous = 1; // the others stay in the line
    engine.manager->apply(engine.config);
    engine.manager->start();
    engine.manager->resumeAll();
    engine.scheduler.runFor(3);
    engine.manager->downloadNext(engine.add("http://h/new"));
    for (const auto* download : engine.manager->downloads()) {
        fuzz::require(engine.manager->download(download->id()) == download, "each has a number of its own");
        engine.manager->downloadNext(download->id());
        engine.manager->prioritize(download->id(), true);
    }
    engine.manager->stop();
    fuzz::require(std::ssize(engine.manager->downloads()) == count + 1, "no download is lost");
}

void fuzz::check(std::string_view input) {
    try {
        const auto json = coding::parse(input);
        if (json.is_array()) {
            checkList(json);
        }
    } catch (const coding::DecodingError& error) {
        require(std::string_view(error.what()).size() > 1, "an error is told");
    }
}
