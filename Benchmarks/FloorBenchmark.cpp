// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The least that a download costs: reads one file over several connections and writes it, and does nothing
// else. It knows the size, believes every answer, and gives up at the first surprise.

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <openssl/ssl.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

/// What is written at once; ends at multiples of it.
constexpr std::int64_t block = 32 * 1024;
/// And read.
constexpr std::size_t bufferSize = 256 * 1024;

[[noreturn]] void giveUp(const char* what) {
    std::perror(what);
    std::exit(1);
}

struct FreeTLS {
    void operator()(SSL* tls) const { SSL_free(tls); }
};

struct Part {
    std::int64_t start;
    std::int64_t end;
};

class Connection {
public:
    Connection(std::uint16_t port, SSL_CTX* context, int file, const Part& part)
        : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)), file_(file), at_(part.start),
          end_(part.end) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
            giveUp("connect");
        }
        if (context) {
            tls_.reset(SSL_new(context));
            SSL_set_fd(tls_.get(), socket_);
            if (SSL_connect(tls_.get()) != 1) {
                giveUp("handshake");
            }
        }
    }

    [[nodiscard]] int socket() const { return socket_; }
    [[nodiscard]] bool isDone() const { return at_ == end_; }

    void ask(const std::string& path) {
        const auto request = "GET " + path +
                             " HTTP/1.1\r\nHost: 127.0.0.1\r\nRange: bytes=" + std::to_string(at_) + "-" +
                             std::to_string(end_ - 1) + "\r\n\r\n";
        const auto size = static_cast<int>(request.size());
        const auto sent = tls_ ? SSL_write(tls_.get(), request.data(), size)
                               : static_cast<int>(::send(socket_, request.data(), request.size(), 0));
        if (sent != size || ::fcntl(socket_, F_SETFL, O_NONBLOCK) != 0) {
            giveUp("request");
        }
    }

    /// Takes what has arrived.
    void read() {
        while (!isDone()) {
            const auto count =
                receive(bytes_.data() + used_, bytes_.size() - static_cast<std::size_t>(used_));
            if (count < 0) {
                return;
            }
            used_ += count;
            const auto body = inHead_ ? skipHead() : 0;
            if (!inHead_) {
                writeFrom(body);
            }
        }
    }

private:
    [[nodiscard]] std::int64_t untilCut() const { return std::min(block - at_ % block, end_ - at_); }

    /// Negative when there is nothing yet.
    std::int64_t receive(char* bytes, std::size_t size) {
        const auto count = tls_ ? SSL_read(tls_.get(), bytes, static_cast<int>(size))
                                : static_cast<int>(::recv(socket_, bytes, size, 0));
        const bool waits =
            tls_ ? SSL_get_error(tls_.get(), count) == SSL_ERROR_WANT_READ : count < 0 && errno == EAGAIN;
        if (count <= 0 && !waits) {
            giveUp("read");
        }
        return count > 0 ? count : -1;
    }

    /// Where the body begins.
    std::int64_t skipHead() {
        const std::string_view head(bytes_.data(), static_cast<std::size_t>(used_));
        const auto end = head.find("\r\n\r\n");
        if (end == std::string_view::npos) {
            return 0;
        }
        if (!head.starts_with("HTTP/1.1 206")) {
            giveUp("answer");
        }
        inHead_ = false;
        return static_cast<std::int64_t>(end) + 4;
    }

    /// All whole blocks; what is left waits for the rest of its own.
    void writeFrom(std::int64_t first) {
        while (used_ > first && used_ - first >= untilCut()) {
            const auto count = untilCut();
            if (::pwrite(file_, bytes_.data() + first, static_cast<std::size_t>(count), at_) != count) {
                giveUp("write");
            }
            at_ += count;
            first += count;
        }
        std::copy(bytes_.begin() + first, bytes_.begin() + used_, bytes_.begin());
        used_ -= first;
    }

    int socket_;
    int file_;
    std::unique_ptr<SSL, FreeTLS> tls_;
    std::int64_t at_;
    std::int64_t end_;
    std::vector<char> bytes_ = std::vector<char>(bufferSize);
    std::int64_t used_ = 0;
    bool inHead_ = true;
};

void run(std::vector<std::unique_ptr<Connection>>& connections) {
    const int poll = ::epoll_create1(EPOLL_CLOEXEC);
    for (const auto& connection : connections) {
        epoll_event event{.events = EPOLLIN, .data = {.ptr = connection.get()}};
        ::epoll_ctl(poll, EPOLL_CTL_ADD, connection->socket(), &event);
    }
    auto left = connections.size();
    std::vector<epoll_event> events(connections.size());
    while (left > 0) {
        const int count = ::epoll_wait(poll, events.data(), static_cast<int>(events.size()), -1);
        for (int i = 0; i < count; ++i) {
            auto& connection = *static_cast<Connection*>(events[static_cast<std::size_t>(i)].data.ptr);
            connection.read();
            if (connection.isDone()) {
                ::epoll_ctl(poll, EPOLL_CTL_DEL, connection.socket(), nullptr);
                --left;
            }
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 6 && argc != 7) {
        std::fputs("Usage: fluvane-floor <port> <path> <size> <connections> <target> [authority.pem]\n",
                   stderr);
        return 2;
    }
    const auto port = static_cast<std::uint16_t>(std::stoul(argv[1]));
    const std::int64_t size = std::stoll(argv[3]);
    const std::int64_t count = std::stoll(argv[4]);
    const int file = ::open(argv[5], O_CREAT | O_TRUNC | O_RDWR | O_CLOEXEC, 0644);
    if (file < 0 || ::ftruncate(file, size) != 0) {
        giveUp(argv[5]);
    }
    std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context(nullptr, SSL_CTX_free);
    if (argc == 7) {
        context.reset(SSL_CTX_new(TLS_client_method()));
        SSL_CTX_load_verify_file(context.get(), argv[6]);
        SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, nullptr);
        SSL_CTX_set_read_ahead(context.get(), 1);
        SSL_CTX_set_default_read_buffer_len(context.get(), bufferSize);
    }
    std::vector<std::unique_ptr<Connection>> connections;
    for (std::int64_t i = 0; i < count; ++i) {
        connections.push_back(std::make_unique<Connection>(port, context.get(), file,
                                                           Part{size * i / count, size * (i + 1) / count}));
        connections.back()->ask(argv[2]);
    }
    run(connections);
    return ::close(file);
}
