// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

using SSL = struct ssl_st;
using SSL_CTX = struct ssl_ctx_st;

namespace fluvane::support {

/// A self-signed certificate for "localhost", made anew, in a file as PEM together with its key.
void writeCertificate(const std::string& path);

/// A server on loopback that answers each connection exactly as a script says: every byte, its grouping into
/// packets, and how the connection ends. Each connection's script runs on a thread of its own.
///
///     ScriptedServer server([](ScriptedServer::Client& client) {
///         client.readRequest();
///         client.send("HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nbody");
///     });
///     fetch(server.url("/file"));
class ScriptedServer {
public:
    class Client {
    public:
        /// The head of the next request, its blank line included; empty once the client has closed.
        std::string readRequest();
        void send(std::string_view bytes);
        /// Blocks until the client closes, or the server ends.
        void waitForClose();

    private:
        friend class ScriptedServer;
        Client(int socket, SSL_CTX* context);
        [[nodiscard]] std::size_t receive(char* bytes, std::size_t size);

        int socket_;
        std::string unread_;
        std::function<void(const std::string&)> noteRequest_;
        std::unique_ptr<SSL, void (*)(SSL*)> tls_;
    };
    using Script = std::function<void(Client&)>;

    /// With a certificate's path it speaks TLS.
    explicit ScriptedServer(Script script, const std::optional<std::string>& certificate = std::nullopt);
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    [[nodiscard]] std::string url(std::string_view path, std::string_view host = "127.0.0.1") const;
    [[nodiscard]] int connections() const { return connections_; }
    /// The heads of all requests so far.
    [[nodiscard]] std::vector<std::string> requests() const;

private:
    void acceptAll();
    void serve(int socket);

    Script script_;
    std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> context_;
    int listener_ = -1;
    std::uint16_t port_ = 0;
    std::atomic<int> connections_ = 0;
    mutable std::mutex mutex_;
    std::vector<std::string> requests_;
    std::vector<int> sockets_;
    std::list<std::thread> threads_;
    std::thread acceptor_;
};

} // namespace fluvane::support
