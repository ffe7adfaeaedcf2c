// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Application/ReleaseChannel.h"
#include "Fluvane/Linux/LinuxScheduler.h"
#include "Fluvane/Linux/Services/Bus.h"
#include "FluvaneEngine/DownloadManager.h"
#include "Tessivar/CrashNote.h"
#include "Tessivar/Diagnostics.h"
#include "Tessivar/WhatsNew.h"
#include "TessivarCore/LogFiles.h"

#include <chrono>
#include <functional>
#include <string>

namespace fluvane {

/// What the application tells about itself: notes on crashes and hangs, diagnostics, what is new, newer
/// releases. For the main thread.
class Reports {
public:
    /// How far back `fluvane log` and reports go.
    static constexpr std::chrono::minutes recentLog{10};

    /// What it is given must outlive it.
    Reports(const DownloadManager& manager, const tessivar::LogFiles& log, LinuxScheduler& scheduler,
            const Buses& buses);
    Reports(const Reports&) = delete;
    Reports& operator=(const Reports&) = delete;

    struct Handlers {
        ReleaseChannel::Tell tellOfUpdate;
        std::function<void(const std::string& text)> whatsNew{};  ///< Empty: there is only the log.
        std::function<void(const std::string& note)> crashNote{}; ///< The same.
    };
    /// Once, when the list is loaded: notes crashes, says what is new after an update, and begins to look for
    /// newer releases now and then.
    void start(Handlers handlers);

    [[nodiscard]] std::string crashNote() const { return crashNote_.latest(); }
    [[nodiscard]] std::string whatsNew() const { return whatsNew_.latest(); }
    void diagnostics(std::function<void(std::string)> completion) {
        diagnostics_.report(std::move(completion));
    }
    [[nodiscard]] const ReleaseChannel& releases() const { return releases_; }

    /// Where crashes and hangs leave their reports.
    [[nodiscard]] static std::string crashFolder();

private:
    [[nodiscard]] tessivar::Diagnostics::Options options(const tessivar::LogFiles& log,
                                                         const Buses& buses) const;
    [[nodiscard]] std::vector<tessivar::Diagnostics::Section> sections() const;

    const DownloadManager& manager_;
    tessivar::CrashNote crashNote_;
    tessivar::WhatsNew whatsNew_;
    tessivar::Diagnostics diagnostics_;
    ReleaseChannel releases_;
};

} // namespace fluvane
