// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The list of downloads, as it may stand on a disk.

#include "Fuzz/Fuzz.h"
#include "Support/Engine.h"

using namespace fluvane;

const fuzz::Inputs fuzz::seeds = {
    R"([{"id":1,"url":"https://files.test/a.iso","folder":"file:///tmp/in%20put/","resumable":true,"size":20,
"pieces":[{"start":0,"end":10,"done":4},{"start":10,"done":0}],"state":{"downloading":{}},"name":"\u00e4\n",
"added":"2026-03-01T09:15:42Z","partial":"file:///tmp/a.iso.fluvane","validators":{"etag":"\"1\""}},
{"id":9223372036854775807,"url":"http://h/x","folder":"file:///","resumable":false,"pieces":[],"queueOrder":-3,
"state":{"waiting":{"_0":"retrying"}},"added":"9999-12-31T23:59:59Z","prioritized":true},
{"id":3,"url":"fluvane:add?url=http://h/","folder":"file:///d/","resumable":false,"size":-1,"completed":null,
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
    engine.manager->start();
    engine.manager->resumeAll();
    engine.scheduler.runFor(3);
    for (const auto* download : engine.manager->downloads()) {
        engine.manager->downloadNext(download->id());
        engine.manager->prioritize(download->id(), true);
    }
    engine.manager->stop();
    fuzz::require(engine.manager->downloads().size() == records.size(), "no download is lost");
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
