// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Platform.h"
#include "Support/ManualScheduler.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace fluvane::support {

/// The bytes that every fake server has from one offset of its file to another.
[[nodiscard]] std::string content(std::int64_t from, std::int64_t to);

/// One request to the fake transport, answered step by step by the test.
class FakeTransfer : public Transfer, public std::enable_shared_from_this<FakeTransfer> {
public:
    FakeTransfer(TransferRequest request_, HTTPTransport::Events events, ManualScheduler& scheduler)
        : request(std::move(request_)), events_(std::move(events)), scheduler_(scheduler) {}

    void accept(std::shared_ptr<PieceFile> file, std::int64_t at, std::optional<std::int64_t> end) override;
    [[nodiscard]] std::int64_t position() const override { return next_; }
    void setEnd(std::int64_t end) override;
    void cancel() override;

    // The server's side. Each is a turn of its own, the probe's answer with those in which its file is
    // created, and does nothing once the transfer is over.
    void respond(int status, TransferResponse::Headers headers = {});
    /// The usual 206 for the request's range of a file of `size` bytes.
    void respondPart(std::int64_t size, TransferResponse::Headers more = {});
    /// Writes the next bytes of the content, up to the end, and reports them.
    void send(std::int64_t count);
    /// Writes without a report, as between two progress events.
    void sendQuietly(std::int64_t count);
    void finish();
    void fail(const std::string& message, bool offline = false);
    /// Delivers any event even after the end, as one that was under way when the transfer was cancelled.
    void deliverLate(const TransferEvent& event) { events_(event); }

    const TransferRequest request;
    [[nodiscard]] bool isOver() const { return over_; }
    [[nodiscard]] bool isAccepted() const { return file_ != nullptr; }
    [[nodiscard]] std::optional<std::int64_t> end() const { return end_; }
    [[nodiscard]] bool isProbe() const { return request.label.ends_with("probe"); }

    std::optional<URL> redirectedTo; ///< Where its answer comes from.
    /// The next so many bytes that the server sends; without it those of `content`.
    std::function<std::span<const std::byte>(std::int64_t count)> body;
    /// Bytes under way when it is cancelled: they are still written, and `position` doesn't tell.
    std::int64_t writesOnCancel = 0;

private:
    [[nodiscard]] std::int64_t written() const { return next_ - offset_; }
    void endIfThere();
    void end(const TransferEvent& event);

    HTTPTransport::Events events_;
    ManualScheduler& scheduler_;
    std::shared_ptr<PieceFile> file_;
    std::int64_t offset_ = 0;
    std::int64_t next_ = 0;
    std::optional<std::int64_t> end_;
    bool over_ = false;
    bool cancelled_ = false;
};

class FakeTransport : public HTTPTransport {
public:
    explicit FakeTransport(ManualScheduler& scheduler) : scheduler_(scheduler) {}

    [[nodiscard]] std::shared_ptr<Transfer> start(TransferRequest request, Events events) override;
    void setSpeedLimit(std::optional<std::int64_t> bytesPerSecond) override { speedLimit = bytesPerSecond; }

    /// Every transfer ever started, in order; the ones not over yet.
    std::vector<std::shared_ptr<FakeTransfer>> transfers;
    [[nodiscard]] std::vector<std::shared_ptr<FakeTransfer>> live() const;
    [[nodiscard]] FakeTransfer& last() const { return *transfers.back(); }

    std::optional<std::int64_t> speedLimit;
    /// Called with each new transfer, to answer it later.
    std::function<void(const std::shared_ptr<FakeTransfer>&)> onStart;

private:
    ManualScheduler& scheduler_;
};

/// Answers every transfer by itself on simulated time, like a server with one file of `content`.
class FakeServer {
public:
    FakeServer(FakeTransport& transport, ManualScheduler& scheduler);

    std::int64_t size = 0;
    bool sendsParts = true;
    std::string etag = "\"v1\"";
    double bytesPerSecond = 1'000'000;         ///< Of one connection.
    std::optional<double> bytesPerSecondInAll; ///< Shared evenly.
    std::int64_t sent = 0;                     ///< Bytes, in all.
    /// Deals with a request in its own way, or returns false.
    std::function<bool(FakeTransfer&)> answers;
    /// Bytes per second of a connection that is unlike the others.
    std::function<std::optional<double>(const FakeTransfer&)> speedOf;
    std::optional<std::int64_t> longest; ///< Bytes after which it closes a connection.

private:
    void answer(const std::shared_ptr<FakeTransfer>& transfer);
    void beat();
    void pour(FakeTransfer& transfer, std::size_t connections);

    FakeTransport& transport_;
    ManualScheduler& scheduler_;
};

} // namespace fluvane::support
