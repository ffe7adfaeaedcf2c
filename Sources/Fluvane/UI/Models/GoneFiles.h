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
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace fluvane {

/// Which finished files aren't where they were put anymore, as far as anybody looks at them. Disks are asked
/// aside, the files of each volume together: where one hangs, what is known of it stays as it is until it
/// answers, and others go on. The main queue's.
class GoneFiles : public QObject {
    Q_OBJECT

public:
    static constexpr int pause = 200;            ///< Milliseconds in which questions are gathered.
    static constexpr int lasting = 3'000;        ///< Milliseconds that an answer isn't asked for again.
    static constexpr std::size_t mostLooks = 16; ///< Volumes at once; hanging ones count.
    /// Files that are remembered, of those asked about last: many more than a window has rows.
    static constexpr std::size_t mostKnown = 2000;

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
        bool asked = false; ///< The answer is yet to come.
        qint64 askedAt = -lasting;
    };
    struct Asked {
        DownloadID id;
        std::size_t file;
        URL location;
    };
    using Answers = std::vector<std::pair<Asked, bool>>;
    void lookAround();
    void look(const std::string& volume, std::vector<Asked> asked);
    void take(const std::string& volume, const Answers& answers);
    void forgetOld();

    const FileActions& files_;
    QElapsedTimer clock_;
    QTimer pause_;
    std::vector<Asked> waiting_;
    std::set<std::string> looking_; ///< Volumes that haven't answered yet.
    std::map<DownloadID, Known> known_;
};

} // namespace fluvane
