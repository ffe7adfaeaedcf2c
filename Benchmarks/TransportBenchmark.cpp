// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

/// fluvane-transport [--connections N] [--limit BYTES] URL FILE...
/// Fetches one file with the transport alone, the way the engine would: a probe, a split, one transfer a
/// piece; into several files at once as several downloads. Prints wall seconds, CPU seconds (of this process,
/// user and system) and bytes.

#include "Fluvane/Linux/Transport/SessionTransport.h"
#include "FluvaneCore/Planner.h"

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <deque>
#include <mutex>
#include <string_view>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

using namespace fluvane;

class Queue final : public MainQueue {
public:
    void post(std::function<void()> work) override {
        const std::lock_guard lock(mutex_);
        work_.push_back(std::move(work));
        changed_.notify_one();
    }
    void runOne() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return !work_.empty(); });
        const auto work = std::move(work_.front());
        work_.pop_front();
        lock.unlock();
        work();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::function<void()>> work_;
};

class PlainFile final : public PieceFile {
public:
    explicit PlainFile(const char* path)
        : descriptor_(::open(path, O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC, 0644)) {
        if (descriptor_ < 0) {
            throw FileError(std::strerror(errno));
        }
    }
    ~PlainFile() override { PlainFile::close(); }
    PlainFile(const PlainFile&) = delete;
    PlainFile& operator=(const PlainFile&) = delete;

    void write(std::span<const std::byte> bytes, std::int64_t at) override {
        while (!bytes.empty()) {
            const ssize_t count = ::pwrite(descriptor_, bytes.data(), bytes.size(), at);
            if (count < 0 && errno == EINTR) {
                continue;
            }
            if (count < 0) {
                throw FileError(std::strerror(errno));
            }
            bytes = bytes.subspan(static_cast<std::size_t>(count));
            at += count;
        }
    }
    void read(std::span<std::byte>, std::int64_t) override { throw FileError("It is only written."); }
    void setSize(std::int64_t size) {
        if (::ftruncate(descriptor_, size) != 0) {
            throw FileError(std::strerror(errno));
        }
    }
    void sync() override {}
    void close() noexcept override {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
        descriptor_ = -1;
    }

private:
    int descriptor_;
};

/// One file over several transfers.
class Fetch {
public:
    Fetch(HTTPTransport& transport, URL url, std::shared_ptr<PlainFile> file, std::size_t number,
          int connections)
        : transport_(transport), url_(std::move(url)), file_(std::move(file)),
          number_(static_cast<std::int64_t>(number)), connections_(connections) {}

    void start() { request(0, std::nullopt); }
    [[nodiscard]] bool isOver() const { return running_ == 0; }
    [[nodiscard]] const std::string& error() const { return error_; }
    [[nodiscard]] std::int64_t bytes() const { return bytes_; }

private:
    void request(std::int64_t from, std::optional<std::int64_t> end) {
        ++running_;
        const auto index = transfers_.size();
        transfers_.push_back(nullptr);
        TransferRequest wanted{
            .url = url_, .from = from, .label = fmt::format("piece {}", from), .group = number_};
        if (end) {
            wanted.to = *end - 1;
        }
        transfers_[index] = transport_.start(
            wanted, [this, index, from, end](const TransferEvent& event) { take(index, from, end, event); });
    }

    void take(std::size_t index, std::int64_t from, std::optional<std::int64_t> end,
              const TransferEvent& event) {
        if (const auto* response = std::get_if<TransferResponse>(&event.value)) {
            end ? transfers_[index]->accept(file_, from, end) : split(index, *response);
        } else if (const auto* finished = std::get_if<TransferEvent::Finished>(&event.value)) {
            bytes_ += finished->written;
            --running_;
        } else if (const auto* failed = std::get_if<TransferEvent::Failed>(&event.value)) {
            error_ = failed->error.message;
            bytes_ += failed->written;
            --running_;
        }
    }

    /// The probe's answer: its transfer takes the first piece.
    void split(std::size_t probe, const TransferResponse& response) {
        const auto range = response.contentRange();
        if (response.status() != 206 || !range || !range->total) {
            error_ = fmt::format("status {} to a range request", response.status());
            transfers_[probe]->cancel();
            --running_;
            return;
        }
        file_->setSize(*range->total);
        for (const auto& piece : planner::split(*range->total, connections_, planner::alignment)) {
            if (piece.start == 0) {
                transfers_[probe]->accept(file_, 0, piece.end);
            } else {
                request(piece.start, piece.end);
            }
        }
    }

    HTTPTransport& transport_;
    URL url_;
    std::shared_ptr<PlainFile> file_;
    std::int64_t number_;
    int connections_;
    std::vector<std::shared_ptr<Transfer>> transfers_;
    int running_ = 0;
    std::int64_t bytes_ = 0;
    std::string error_;
};

struct Arguments {
    int connections = 8;
    std::optional<std::int64_t> limit;
    std::vector<const char*> rest;
};

Arguments parse(int count, char** values) {
    Arguments arguments;
    for (int i = 1; i < count; ++i) {
        const std::string_view name = values[i];
        if (name == "--connections" && i + 1 < count) {
            arguments.connections = std::stoi(values[++i]);
        } else if (name == "--limit" && i + 1 < count) {
            arguments.limit = std::stoll(values[++i]);
        } else {
            arguments.rest.push_back(values[i]);
        }
    }
    return arguments;
}

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

int run(const Arguments& arguments) {
    const auto url = arguments.rest.size() >= 2 ? URL::parse(arguments.rest[0]) : std::nullopt;
    if (!url) {
        fmt::print(stderr, "usage: fluvane-transport [--connections N] [--limit BYTES] URL FILE...\n");
        return 2;
    }
    const auto begun = std::chrono::steady_clock::now();
    Queue queue;
    SessionTransport transport(queue);
    transport.setSpeedLimit(arguments.limit);
    std::deque<Fetch> fetches;
    for (std::size_t i = 1; i < arguments.rest.size(); ++i) {
        fetches.emplace_back(transport, *url, std::make_shared<PlainFile>(arguments.rest[i]), i,
                             arguments.connections);
        fetches.back().start();
    }
    std::int64_t bytes = 0;
    for (const auto& fetch : fetches) {
        while (!fetch.isOver()) {
            queue.runOne();
        }
        if (!fetch.error().empty()) {
            fmt::print(stderr, "{}\n", fetch.error());
            return 1;
        }
        bytes += fetch.bytes();
    }
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - begun;
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    fmt::print("wall {:.3f} s, cpu {:.3f} s (user {:.3f}, system {:.3f}), {} bytes, peak {} KiB\n",
               wall.count(), seconds(usage.ru_utime) + seconds(usage.ru_stime), seconds(usage.ru_utime),
               seconds(usage.ru_stime), bytes, usage.ru_maxrss);
    return 0;
}

} // namespace

int main(int count, char** values) {
    try {
        return run(parse(count, values));
    } catch (const std::exception& error) {
        fmt::print(stderr, "{}\n", error.what());
        return 1;
    }
}
