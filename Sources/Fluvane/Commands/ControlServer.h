// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Commands/Reply.h"
#include "FluvaneEngine/MainQueue.h"

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace fluvane {

/// Listens on the control socket and has commands carried out. Its calls are the main queue's; reading and
/// writing happen on a thread of its own, where no client waits for another. Only the holder of the instance
/// lock may start it, since it takes over whatever is at the socket's path.
class ControlServer {
public:
    /// Called on the main queue; the completion is called once, from any thread, at any time.
    using Handler = std::function<void(std::vector<std::string> arguments, ReplyCompletion completion)>;

    /// `main` must outlive the server.
    ControlServer(std::string socketPath, MainQueue& main, Handler handler);
    ~ControlServer();
    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;

    /// A failure is logged; the application then runs without a command line. Does nothing while listening.
    void start();
    /// Removes the socket; replies that are ready are written first, commands without one go unanswered.
    void stop();
    [[nodiscard]] bool listening() const { return thread_.joinable(); }

    /// How long a client may take, in all, to send its request. Changed before `start` or not at all.
    std::chrono::milliseconds receiveTimeout{5000};

private:
    class Loop;
    std::string path_;
    MainQueue& main_;
    Handler handler_;
    std::shared_ptr<Loop> loop_;
    std::thread thread_;
};

} // namespace fluvane
