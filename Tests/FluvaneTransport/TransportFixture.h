// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Linux/Transport/SessionTransport.h"
#include "Support/ScriptedServer.h"
#include "Support/TestQueue.h"

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace fluvane::support {

/// A file in memory; `hook` runs before each write and may throw or block.
class RecordingFile final : public PieceFile {
public:
    void write(std::span<const std::byte> bytes, std::int64_t at) override {
        if (hook) {
            hook();
        }
        const std::lock_guard lock(mutex_);
        const auto start = static_cast<std::size_t>(at);
        contents_.resize(std::max(contents_.size(), start + bytes.size()), '.');
        contents_.replace(start, bytes.size(), reinterpret_cast<const char*>(bytes.data()), bytes.size());
    }
    void read(std::span<std::byte>, std::int64_t) override {}
    void sync() override {}
    void close() noexcept override {}
    [[nodiscard]] std::string contents() const {
        const std::lock_guard lock(mutex_);
        return contents_;
    }

    std::function<void()> hook;

private:
    mutable std::mutex mutex_;
    std::string contents_;
};

/// One transfer and everything it reported.
struct Fetch {
    std::shared_ptr<Transfer> transfer;
    std::shared_ptr<RecordingFile> file = std::make_shared<RecordingFile>();
    std::vector<TransferEvent> events;

    template <class Event>
    [[nodiscard]] const Event* last() const {
        return events.empty() ? nullptr : std::get_if<Event>(&events.back().value);
    }
    [[nodiscard]] const TransferResponse* response() const {
        return events.empty() ? nullptr : std::get_if<TransferResponse>(&events.front().value);
    }
    [[nodiscard]] bool ended() const {
        return last<TransferEvent::Finished>() || last<TransferEvent::Failed>();
    }
    /// "finished 5", "failed 2: sentence", or "running".
    [[nodiscard]] std::string outcome() const {
        if (const auto* finished = last<TransferEvent::Finished>()) {
            return "finished " + std::to_string(finished->written);
        }
        if (const auto* failed = last<TransferEvent::Failed>()) {
            return "failed " + std::to_string(failed->written) + ": " + failed->error.message;
        }
        return "running";
    }
};

class TransportTest : public testing::Test {
protected:
    std::shared_ptr<Fetch> start(TransferRequest request) {
        auto fetch = std::make_shared<Fetch>();
        request.label = "test";
        fetch->transfer = transport->start(
            std::move(request), [fetch = fetch.get()](const auto& event) { fetch->events.push_back(event); });
        return fetch;
    }
    std::shared_ptr<Fetch> start(const std::string& url) { return start({.url = *URL::parse(url)}); }

    bool respond(Fetch& fetch) {
        return queue.runUntil([&] { return !fetch.events.empty(); }) && fetch.response();
    }
    /// Accepts the response, if one comes, and runs to the end.
    std::string run(Fetch& fetch, std::int64_t at = 0, std::optional<std::int64_t> end = std::nullopt) {
        if (respond(fetch)) {
            fetch.transfer->accept(fetch.file, at, end);
        }
        queue.runUntil([&] { return fetch.ended(); });
        return fetch.outcome();
    }
    void useOptions(TransportOptions options) {
        transport = std::make_unique<SessionTransport>(queue, std::move(options));
    }

    TestQueue queue;
    std::unique_ptr<SessionTransport> transport = std::make_unique<SessionTransport>(queue);
};

inline std::string ok(std::string_view body) {
    return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
           std::string(body);
}

} // namespace fluvane::support
