// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Conditions.h"
#include "FluvaneEngine/DownloadList.h"
#include "FluvaneEngine/Platform.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace fluvane {

/// Passes notices on while the settings want them. While others run or are in line, which may end soon, too,
/// a notice waits for some seconds, and those of one kind become one.
class Notices : public Notifier, public std::enable_shared_from_this<Notices> {
public:
    Notices(std::shared_ptr<Notifier> notifier, std::shared_ptr<Scheduler> scheduler,
            const Conditions& conditions, const DownloadList& list)
        : notifier_(std::move(notifier)), scheduler_(std::move(scheduler)), conditions_(conditions),
          list_(list) {}

    void finished(const DownloadRecord& record) override;
    void failed(const DownloadRecord& record, const std::string& reason) override;
    void linkExpired(const DownloadRecord& record) override;
    void several(Matter matter, const std::vector<std::string>& names) override;

private:
    struct Gathered {
        std::vector<std::string> names;
        std::function<void()> tellAlone; ///< Of the first one.
    };
    void gather(Matter matter, const DownloadRecord& record, std::function<void()> tellAlone);
    [[nodiscard]] bool areWanted(const DownloadRecord& record) const;
    void tell();

    std::shared_ptr<Notifier> notifier_;
    std::shared_ptr<Scheduler> scheduler_;
    const Conditions& conditions_;
    const DownloadList& list_;
    std::map<Matter, Gathered> gathered_;
};

} // namespace fluvane
