// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Support/ScriptedServer.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <stdexcept>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace fluvane::support {

namespace {

void require(bool fine, const std::string& what) {
    if (!fine) {
        throw std::runtime_error(what);
    }
}

SSL_CTX* openContext(const std::optional<std::string>& certificate) {
    if (!certificate) {
        return nullptr;
    }
    SSL_CTX* const context = SSL_CTX_new(TLS_server_method());
    require(SSL_CTX_use_certificate_file(context, certificate->c_str(), SSL_FILETYPE_PEM) == 1,
            "certificate");
    require(SSL_CTX_use_PrivateKey_file(context, certificate->c_str(), SSL_FILETYPE_PEM) == 1, "key");
    return context;
}

} // namespace

void writeCertificate(const std::string& path) {
    const auto command = "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 1 "
                         "-subj /CN=localhost -addext subjectAltName=DNS:localhost -keyout " +
                         path + " >>" + path + " 2>/dev/null";
    require(std::system(command.c_str()) == 0, command);
}

ScriptedServer::ScriptedServer(Script script, const std::optional<std::string>& certificate)
    : script_(std::move(script)), context_(openContext(certificate), &SSL_CTX_free),
      listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    require(::bind(listener_, generic, size) == 0 && ::listen(listener_, 128) == 0, "listen");
    ::getsockname(listener_, generic, &size);
    port_ = ntohs(address.sin_port);
    acceptor_ = std::thread([this] { acceptAll(); });
}

ScriptedServer::~ScriptedServer() {
    ::shutdown(listener_, SHUT_RDWR);
    acceptor_.join();
    {
        const std::lock_guard lock(mutex_);
        std::for_each(sockets_.begin(), sockets_.end(), [](int socket) { ::shutdown(socket, SHUT_RDWR); });
    }
    std::for_each(threads_.begin(), threads_.end(), [](std::thread& thread) { thread.join(); });
    std::for_each(sockets_.begin(), sockets_.end(), [](int socket) { ::close(socket); });
    ::close(listener_);
}

std::string ScriptedServer::url(std::string_view path, std::string_view host) const {
    return (context_ ? "https://" : "http://") + std::string(host) + ":" + std::to_string(port_) +
           std::string(path);
}

std::vector<std::string> ScriptedServer::requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
}

void ScriptedServer::acceptAll() {
    for (int socket = 0; (socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
        const int on = 1;
        ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        const std::lock_guard lock(mutex_);
        sockets_.push_back(socket);
        ++connections_;
        threads_.emplace_back([this, socket] { serve(socket); });
    }
}

/// The descriptor itself is closed at the end only: its number must not be given to another meanwhile.
void ScriptedServer::serve(int socket) {
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE); // TLS writes would raise it
    pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
    Client client(socket, context_.get());
    client.noteRequest_ = [this](const std::string& request) {
        const std::lock_guard lock(mutex_);
        requests_.push_back(request);
    };
    script_(client);
    ::shutdown(socket, SHUT_WR);
    client.waitForClose();
}

ScriptedServer::Client::Client(int socket, SSL_CTX* context)
    : socket_(socket), tls_(context ? SSL_new(context) : nullptr, &SSL_free) {
    if (tls_) {
        SSL_set_fd(tls_.get(), socket_);
        SSL_accept(tls_.get());
    }
}

std::string ScriptedServer::Client::readRequest() {
    std::size_t end = 0;
    while ((end = unread_.find("\r\n\r\n")) == std::string::npos) {
        char bytes[4096];
        const std::size_t count = receive(bytes, sizeof bytes);
        if (count == 0) {
            return {};
        }
        unread_.append(bytes, count);
    }
    const auto request = unread_.substr(0, end + 4);
    unread_.erase(0, end + 4);
    noteRequest_(request);
    return request;
}

void ScriptedServer::Client::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const auto count = tls_ ? SSL_write(tls_.get(), bytes.data(), static_cast<int>(bytes.size()))
                                : ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count <= 0) {
            return; // the client has closed
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

void ScriptedServer::Client::waitForClose() {
    char bytes[4096];
    while (receive(bytes, sizeof bytes) > 0) {
    }
}

std::size_t ScriptedServer::Client::receive(char* bytes, std::size_t size) {
    const auto count =
        tls_ ? SSL_read(tls_.get(), bytes, static_cast<int>(size)) : ::recv(socket_, bytes, size, 0);
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

} // namespace fluvane::support
