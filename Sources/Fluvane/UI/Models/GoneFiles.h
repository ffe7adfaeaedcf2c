// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Ports/FileActions.h"
#include "FluvaneEngine/Download.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <cstddef>
#include <map>
#include <utility>
#include <vector>

namespace fluvane {

/// Which finished files aren't where they were put anymore, as far as anybody looks at them. Disks are asked
/// aside, some together: one that hangs leaves what is known as it is. The main queue's.
class GoneFiles : public QObject {
    Q_OBJECT

public:
    static constexpr int pause = 200;      ///< Milliseconds in which questions are gathered.
    static constexpr int lasting = 10'000; ///< Milliseconds that an answer isn't asked for again.

    explicit GoneFiles(const FileActions& files);
    /// The one that belongs to that object, made when it is first asked for.
    [[nodiscard]] static GoneFiles& of(QObject& owner, const FileActions& files);

    /// As was seen last, false at first. Has it looked at soon if that was long ago.
    [[nodiscard]] bool isGone(const Download& download);

    /// Of these something else is known now.
    Q_SIGNAL void changed(const std::vector<fluvane::DownloadID>& ids);

private:
    struct Known {
        std::size_t file = 0; ///< Stands for its location.
        bool gone = false;
        qint64 askedAt = -lasting;
    };
    using Answers = std::vector<std::pair<DownloadID, bool>>;
    void look();
    void take(const Answers& answers);

    FileActions::IsGone test_;
    QElapsedTimer clock_;
    QTimer pause_;
    bool looking_ = false;
    std::vector<std::pair<DownloadID, URL>> asked_;
    std::map<DownloadID, Known> known_;
};

} // namespace fluvane
