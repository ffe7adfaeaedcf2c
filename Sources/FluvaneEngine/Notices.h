// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Conditions.h"
#include "FluvaneEngine/Platform.h"

#include <memory>
#include <utility>

namespace fluvane {

/// Passes notices on while the settings want them.
class Notices : public Notifier {
public:
    Notices(std::shared_ptr<Notifier> notifier, const Conditions& conditions)
        : notifier_(std::move(notifier)), conditions_(conditions) {}

    void finished(const DownloadRecord& record) override {
        if (areWanted()) {
            notifier_->finished(record);
        }
    }
    void failed(const DownloadRecord& record, const std::string& reason) override {
        if (areWanted()) {
            notifier_->failed(record, reason);
        }
    }
    void linkExpired(const DownloadRecord& record) override {
        if (areWanted()) {
            notifier_->linkExpired(record);
        }
    }

private:
    [[nodiscard]] bool areWanted() const { return conditions_.config.notifyWhenDone; }

    std::shared_ptr<Notifier> notifier_;
    const Conditions& conditions_;
};

} // namespace fluvane
