// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <cstddef>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>

using CURLM = void;

namespace tessivar {

/// Gets a small file from the web, on the calling thread, which may be told to break off.
class FeedFetch {
public:
    struct Request {
        std::string url; ///< http or https; after redirects too, and never from https to http.
        std::string userAgent;
        std::optional<std::string> certificateFile{};
        std::optional<std::string> certificateFolder{};
        double patience = 30.0; ///< Seconds for everything.
        std::size_t longest = 1'000'000;
    };

    /// what() is a sentence.
    class Failed : public std::runtime_error {
    public:
        using std::runtime_error::runtime_error;
    };

    /// The body of an answer with status 200. Fails with Failed.
    [[nodiscard]] std::string run(const Request& request);

    /// Makes a running or later `run` fail at once. From any thread.
    void stop();

private:
    void perform(CURLM* multi);
    [[nodiscard]] bool stopped();

    std::mutex mutex_;
    CURLM* running_ = nullptr;
    bool stopped_ = false;
};

} // namespace tessivar
