// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/URL.h"
#include "FluvaneEngine/Platform.h"

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace fluvane {

class Bus;
class NotificationServer;

/// Tells the user about finished and stuck downloads through the desktop's notification server. Everything is
/// for the main queue; no call waits for the bus. A notice that finds no server, or one that is just being
/// started again, is held for `patience` seconds and then dropped without a word.
class LinuxNotifier : public Notifier {
public:
    /// What `sent` remembers, the oldest given up first.
    static constexpr std::size_t remembered = 100;

    struct Notice {
        std::string title;
        std::string body; ///< As a person reads it, without markup.
        friend bool operator==(const Notice&, const Notice&) = default;
    };
    using Reveal = std::function<void(const URL& file, const std::string& activationToken)>;

    /// `wanted` is asked before each notice. `reveal` is called when the user clicks the notice of a finished
    /// file, with the token by which its window may come to the front (empty where the server gives none).
    /// The bus must outlive the notifier.
    LinuxNotifier(Bus& session, std::function<bool()> wanted, Reveal reveal, double patience = 10);
    ~LinuxNotifier() override;
    LinuxNotifier(const LinuxNotifier&) = delete;
    LinuxNotifier& operator=(const LinuxNotifier&) = delete;

    /// A checksum that doesn't match is what the notice is about then.
    void finished(const DownloadRecord& record) override;
    void failed(const DownloadRecord& record, const std::string& reason) override;
    void linkExpired(const DownloadRecord& record) override;
    void several(Matter matter, const std::vector<std::string>& names) override;

    /// Something that isn't about a download, such as a newer release; not for `wanted` to decide.
    void tell(const Notice& notice);

    /// The notices of this run, the latest last, whether or not a server was there to show them.
    [[nodiscard]] std::vector<Notice> sent() const { return {sent_.begin(), sent_.end()}; }

private:
    enum class Kind { done, suspicious, stuck };
    void post(Kind kind, const Notice& notice, const std::optional<URL>& file);
    const Notice& remember(const Notice& notice);

    std::function<bool()> wanted_;
    std::deque<Notice> sent_;
    std::unique_ptr<NotificationServer> server_;
};

} // namespace fluvane
