// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Support/Windows/WindowBench.h"

#include <string>

namespace fluvane::support {

/// One download in each state, by its number: 1 paused at 45 %, 2 finished, 3 failed, 4 link expired, 5 and 6
/// in line behind 7, 8 finished with a wrong checksum.
class SampleList : public WindowBench {
public:
    SampleList() : WindowBench(oneSlot()) {
        auto& saved = engine.store->saved;
        saved.push_back(partly(savedRecord(1, "http://a.example/Système-début.iso", DownloadState::Paused{}),
                               3'000'000'000, 0.45));
        saved.push_back(finished(2, "http://b.example/holiday video.mp4"));
        saved.push_back(partly(savedRecord(3, "http://a.example/report.pdf",
                                           DownloadState::Failed{"The server closed the connection early."}),
                               9'000'000, 0.8));
        saved.push_back(partly(savedRecord(4, "http://a.example/big.zip", DownloadState::Wait::linkExpired),
                               700'000'000, 0.3));
        saved.push_back(savedRecord(5, "http://c.example/track10.flac"));
        saved.push_back(savedRecord(6, "http://c.example/track9.flac"));
        saved.push_back(savedRecord(7, "http://d.example/run.bin"));
        saved.back().prioritized = true;
        saved.push_back(finished(8, "http://d.example/doubtful.exe"));
        saved.back().checksum = Checksum(Checksum::Algorithm::md5, std::string(32, 'a'));
        saved.back().checksumResult = ChecksumResult{ChecksumResult::Differs{std::string(32, 'b')}};
        engine.manager->start();
        refresh();
    }
    static Config oneSlot() {
        Config config;
        config.simultaneous = 1;
        return config;
    }
    static DownloadRecord partly(DownloadRecord record, std::int64_t size, double share) {
        record.size = size;
        record.resumable = true;
        record.name = record.displayName();
        record.partial = record.folder.appending(*record.name + ".fluvane");
        record.pieces = {Piece{0, size, static_cast<std::int64_t>(static_cast<double>(size) * share)}};
        return record;
    }
    static DownloadRecord finished(std::int64_t id, const std::string& url) {
        DownloadRecord record = savedRecord(id, url, DownloadState::Finished{});
        record.size = 5'000'000;
        record.name = record.displayName();
        record.file = record.folder.appending(*record.name);
        record.completed = Date() + std::chrono::hours(24 * 365 * 50 + id);
        return record;
    }
};

} // namespace fluvane::support
