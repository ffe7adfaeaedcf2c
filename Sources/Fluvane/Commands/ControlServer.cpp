// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Commands/ControlServer.h"

#include "Fluvane/Client/ControlSocket.h"
#include "Fluvane/Commands/ControlConnection.h"
#include "Fluvane/Commands/ControlRequest.h"
#include "TessivarBase/Descriptor.h"
#include "TessivarCore/Log.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <optional>
#include <system_error>
#include <utility>

namespace fluvane {

namespace {

using tessivar::Descriptor;
using Clock = ControlConnection::Clock;
using Stage = ControlConnection::Stage;
using tessivar::log::lifecycle;

constexpr int backlog = 8;
/// More clients than this wait in the backlog, or take the place of one that came and said nothing.
constexpr std::size_t mostConnections = 64;
/// How long a client may say nothing before it has to make room.
constexpr std::chrono::milliseconds silencePatience{500};
/// How long ready replies may take to be written at the end.
constexpr std::chrono::seconds lastWords{1};
constexpr std::chrono::milliseconds acceptPause{100};

Reply notACommand() {
    return {.ok = false, .text = "That wasn't a command."};
}

void logFailure(int number) {
    lifecycle.error("couldn't open the command-line socket: " + std::generic_category().message(number));
}

/// An empty descriptor when it couldn't listen, with the failure logged where there is one to tell.
Descriptor listenAt(const std::string& path) {
    const auto address = controlSocket::address(path);
    if (!address) {
        lifecycle.error("the command-line socket's path is too long");
        return Descriptor();
    }
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
    unlink(path.c_str());
    Descriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!listener.isOpen()) {
        return listener;
    }
    // The socket's file takes its permissions from the descriptor: owner only, from its first moment on, and
    // without touching the file-creation mask, which other threads' files would feel.
    fchmod(listener.get(), S_IRUSR | S_IWUSR);
    if (bind(listener.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0 ||
        chmod(path.c_str(), S_IRUSR | S_IWUSR) != 0 || listen(listener.get(), backlog) != 0) {
        logFailure(errno);
        return Descriptor();
    }
    return listener;
}

bool isOurUser(int socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == getuid();
}

} // namespace

/// What runs on the control thread, and the two things that cross to it: replies and the end.
class ControlServer::Loop : public std::enable_shared_from_this<Loop> {
public:
    Loop(Descriptor listener, MainQueue& main, Handler handler, std::chrono::milliseconds patience)
        : listener_(std::move(listener)), wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), main_(main),
          handler_(std::move(handler)), patience_(patience) {}

    void run();
    /// From any thread.
    void end();
    /// From any thread.
    void reply(std::uint64_t connection, Reply reply);

private:
    void turn(std::optional<Clock::time_point> until);
    [[nodiscard]] std::vector<pollfd> polled() const;
    [[nodiscard]] int timeout(std::optional<Clock::time_point> until) const;
    [[nodiscard]] std::size_t firstSilent() const;
    /// When somebody can be made to make room; absent while nobody needs to, or nobody can.
    [[nodiscard]] std::optional<Clock::time_point> roomAt() const;
    [[nodiscard]] bool hasRoom() const;
    void makeRoom();
    void accept();
    void takeReplies();
    void serve(ControlConnection& connection, bool ready);
    void handOn(ControlConnection& connection);
    void dropClosed();
    void finishReplies();

    Descriptor listener_;
    Descriptor wake_;
    MainQueue& main_;
    Handler handler_; ///< Main queue only.
    std::chrono::milliseconds patience_;
    std::vector<ControlConnection> connections_; ///< Control thread only.
    std::uint64_t nextConnection_ = 1;
    std::optional<Clock::time_point> acceptAgain_; ///< Set after a failed accept.
    std::mutex mutex_;
    std::vector<std::pair<std::uint64_t, Reply>> replies_; ///< Under the mutex.
    std::atomic<bool> ending_ = false;
};

void ControlServer::Loop::run() {
    pthread_setname_np(pthread_self(), "fluvane.control");
    while (!ending_) {
        turn(std::nullopt);
    }
    finishReplies();
}

void ControlServer::Loop::end() {
    ending_ = true;
    eventfd_write(wake_.get(), 1);
}

void ControlServer::Loop::reply(std::uint64_t connection, Reply reply) {
    const std::lock_guard lock(mutex_);
    replies_.emplace_back(connection, std::move(reply));
    eventfd_write(wake_.get(), 1);
}

void ControlServer::Loop::turn(std::optional<Clock::time_point> until) {
    auto descriptors = polled();
    if (poll(descriptors.data(), descriptors.size(), timeout(until)) < 0) {
        return;
    }
    if (acceptAgain_ && Clock::now() >= *acceptAgain_) {
        acceptAgain_.reset();
    }
    eventfd_t count = 0;
    eventfd_read(wake_.get(), &count);
    takeReplies();
    for (std::size_t i = 0; i < connections_.size(); ++i) {
        serve(connections_[i], descriptors[i + 2].revents != 0);
    }
    dropClosed();
    if (descriptors[1].revents != 0 && hasRoom()) {
        accept();
    }
}

/// The wake-up first, then the listener, then the connections in their order; a negative descriptor is
/// skipped.
std::vector<pollfd> ControlServer::Loop::polled() const {
    std::vector<pollfd> result;
    result.reserve(connections_.size() + 2);
    result.push_back({.fd = wake_.get(), .events = POLLIN, .revents = 0});
    result.push_back(
        {.fd = hasRoom() && !acceptAgain_ ? listener_.get() : -1, .events = POLLIN, .revents = 0});
    for (const auto& connection : connections_) {
        const short interest = connection.interest();
        // A client that hung up while its command runs would be reported again and again.
        result.push_back(
            {.fd = interest != 0 ? connection.descriptor() : -1, .events = interest, .revents = 0});
    }
    return result;
}

int ControlServer::Loop::timeout(std::optional<Clock::time_point> until) const {
    for (const auto& connection : connections_) {
        if (!connection.waits()) {
            until = std::min(until.value_or(connection.deadline()), connection.deadline());
        }
    }
    const bool full = !hasRoom(); // once there is room, only the listener matters
    for (const auto& time : {acceptAgain_, full ? roomAt() : std::nullopt}) {
        if (time) {
            until = std::min(until.value_or(*time), *time);
        }
    }
    if (!until) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*until - Clock::now()).count();
    return static_cast<int>(std::max<std::int64_t>(left, 0));
}

/// The client that has said nothing for longest; the connections are in the order of their arrival.
std::size_t ControlServer::Loop::firstSilent() const {
    const auto silent = std::ranges::find_if(
        connections_, [](const auto& connection) { return connection.silentSince().has_value(); });
    return static_cast<std::size_t>(silent - connections_.begin());
}

std::optional<Clock::time_point> ControlServer::Loop::roomAt() const {
    const auto silent = firstSilent();
    if (connections_.size() < mostConnections || silent == connections_.size()) {
        return std::nullopt;
    }
    return *connections_[silent].silentSince() + silencePatience;
}

bool ControlServer::Loop::hasRoom() const {
    const auto time = roomAt();
    return connections_.size() < mostConnections || (time && Clock::now() >= *time);
}

void ControlServer::Loop::makeRoom() {
    if (connections_.size() >= mostConnections) {
        const auto silent = connections_.begin() + static_cast<std::ptrdiff_t>(firstSilent());
        silent->reply(notACommand());
        connections_.erase(silent);
    }
}

void ControlServer::Loop::accept() {
    Descriptor socket(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!socket.isOpen() && errno != EAGAIN && errno != ECONNABORTED && errno != EINTR) {
        // Out of descriptors, most likely: the client stays in the backlog, and we don't spin over it.
        acceptAgain_ = Clock::now() + acceptPause;
    }
    if (socket.isOpen() && isOurUser(socket.get())) {
        makeRoom();
        connections_.emplace_back(nextConnection_++, std::move(socket), patience_);
    }
}

void ControlServer::Loop::takeReplies() {
    std::vector<std::pair<std::uint64_t, Reply>> replies;
    {
        const std::lock_guard lock(mutex_);
        replies.swap(replies_);
    }
    for (const auto& [number, reply] : replies) {
        const auto connection = std::ranges::find(connections_, number, &ControlConnection::number);
        if (connection != connections_.end() && connection->waits()) {
            connection->reply(reply);
        }
    }
}

void ControlServer::Loop::serve(ControlConnection& connection, bool ready) {
    if (ready) {
        connection.ready();
    }
    if (connection.interest() != 0 && Clock::now() >= connection.deadline()) {
        connection.expired();
    }
    if (connection.stage() == Stage::received) {
        handOn(connection);
    }
}

void ControlServer::Loop::handOn(ControlConnection& connection) {
    auto arguments = parseRequest(connection.request());
    connection.run();
    if (!arguments) {
        return connection.reply(notACommand());
    }
    main_.post(
        [self = shared_from_this(), number = connection.number(), list = std::move(*arguments)]() mutable {
            if (!self->ending_) {
                self->handler_(std::move(list),
                               [self, number](Reply answer) { self->reply(number, std::move(answer)); });
            }
        });
}

void ControlServer::Loop::dropClosed() {
    std::erase_if(connections_, [](const auto& connection) { return connection.stage() == Stage::closed; });
}

void ControlServer::Loop::finishReplies() {
    listener_.reset();
    takeReplies();
    std::erase_if(connections_, [](const auto& connection) { return connection.stage() != Stage::writing; });
    const auto until = Clock::now() + lastWords;
    while (!connections_.empty() && Clock::now() < until) {
        turn(until);
        std::erase_if(connections_,
                      [](const auto& connection) { return connection.stage() != Stage::writing; });
    }
    connections_.clear();
}

ControlServer::ControlServer(std::string socketPath, MainQueue& main, Handler handler)
    : path_(std::move(socketPath)), main_(main), handler_(std::move(handler)) {}

ControlServer::~ControlServer() {
    stop();
}

void ControlServer::start() {
    if (listening()) {
        return;
    }
    Descriptor listener = listenAt(path_);
    if (listener.isOpen()) {
        loop_ = std::make_shared<Loop>(std::move(listener), main_, handler_, receiveTimeout);
        thread_ = std::thread([loop = loop_] { loop->run(); });
    }
}

void ControlServer::stop() {
    if (!listening()) {
        return;
    }
    unlink(path_.c_str());
    loop_->end();
    thread_.join();
    loop_.reset();
}

} // namespace fluvane
