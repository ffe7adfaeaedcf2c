// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/DownloadManager.h"

#include <QObject>
#include <QTimer>

#include <memory>
#include <optional>
#include <string>

namespace fluvane {

/// What the server says of one link's file, while somebody looks at it. The main queue's.
class LinkPreview : public QObject {
    Q_OBJECT

public:
    static constexpr int pause = 350; ///< Milliseconds that a link has to stay before its server is asked.

    /// The manager must outlive it.
    explicit LinkPreview(DownloadManager& manager);
    ~LinkPreview() override;

    /// From now on it is about this link, or about none; what another's server says isn't waited for. To be
    /// called again when asking may have become possible: the same link is asked about only once.
    void follow(const std::optional<Inquiry::Question>& question);
    /// What the server of this link said; null while that isn't known.
    [[nodiscard]] const LinkFacts* facts(const URL& link) const;
    /// "629.1 MB, raw CD image", or why nothing is known; empty before that.
    [[nodiscard]] std::string sentence() const;

    Q_SIGNAL void changed();

private:
    void ask();
    void take(const Outcome<LinkFacts>& outcome);

    DownloadManager& manager_;
    QTimer pause_;
    std::optional<Inquiry::Question> question_;
    std::unique_ptr<Inquiry> inquiry_;
    std::optional<Outcome<LinkFacts>> outcome_;
};

} // namespace fluvane
