// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/Words.h"
#include "FluvaneEngine/DownloadManager.h"

#include <QAbstractListModel>
#include <QString>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace fluvane {

class GoneFiles;

/// What the line about a download of the manager's is made of. `place` is its place in line; `now` decides
/// between "today" and a date; `isGone`: its file isn't there anymore. For at once: it holds texts of its own
/// and points into the download.
class DownloadWords {
public:
    DownloadWords(const DownloadManager& manager, const Download& download, std::optional<std::int64_t> place,
                  Date now, bool isGone = false);
    DownloadWords(const DownloadWords&) = delete;
    DownloadWords& operator=(const DownloadWords&) = delete;
    [[nodiscard]] const words::Progress& progress() const { return progress_; }
    [[nodiscard]] std::string line() const { return words::line(progress_); }

private:
    std::string folder_;
    std::string when_;
    std::string movingTo_;
    words::Progress progress_;
};

/// The name of the icon for a file's kind, by the name: "kind-archive", …, "kind-file".
[[nodiscard]] QString kindIcon(std::string_view fileName);

/// What a row offers to do at once, for a click on it.
enum class RowAction { none, pause, resume, tryAgain, show, open, remove };

/// What a list is filtered by.
enum class StateGroup { all, running, waiting, paused, attention, finished };

/// The manager's list as rows, in the order of adding. What is said about a row is made when it is asked for;
/// a refresh compares numbers and tells only of rows that changed.
class DownloadsModel : public QAbstractListModel {
    Q_OBJECT

public:
    enum Role {
        IdRole = Qt::UserRole + 1, ///< qlonglong
        LineRole,                  ///< Its state in words.
        FractionRole,              ///< 0 to 1; invalid while it can't be known.
        StateRole,                 ///< StateKind
        KindIconRole,              ///< Name of the icon for the file's kind.
        StateIconRole,             ///< Name of the icon for the state.
        AttentionRole,             ///< Whether only a person can put right what happened.
        FileRole,                  ///< QUrl of the finished file; invalid for any other.
        PrioritizedRole,
        HasBarRole,       ///< Whether there is progress to draw.
        ActionRole,       ///< RowAction
        SecondActionRole, ///< RowAction; none where there is no first.
        StepRole,         ///< A small number that moves as bytes arrive.
        RoleCount,
    };

    /// What of a download is compared. Cheap to take, with 10,000 of them four times a second.
    struct Snapshot {
        DownloadID id{};
        StateGroup group = StateGroup::waiting;
        StateKind state = StateKind::queued;
        bool needsAttention = false; ///< Also a finished one, whose file isn't the expected one.
        bool prioritized = false;
        bool moving = false;
        int percentMoved = -1;
        int checksum = 0;
        int connections = 0;
        std::int64_t done = 0;
        std::int64_t size = -1;
        std::int64_t speed = 0; ///< Bytes per second.
        std::int64_t left = -1; ///< Seconds, or those until it is tried again.
        std::size_t reason = 0; ///< Tells apart the failures it is tried again after.
        std::int64_t place = 0; ///< In line, from 1; 0: not in it.
        std::int64_t queueKey = 0;
        Date completed{};
        friend bool operator==(const Snapshot&, const Snapshot&) = default;
        [[nodiscard]] double fraction() const; ///< Below 0 when it can't be known.
        [[nodiscard]] bool isIn(StateGroup wanted) const;
    };
    struct Summary {
        int total = 0, running = 0, waiting = 0, paused = 0, attention = 0, finished = 0;
        double speed = 0; ///< Of all together, bytes per second.
        [[nodiscard]] int in(StateGroup group) const;
        void add(const Snapshot& one);
    };

    /// Asks `gone`, which must outlive it, about the files of the rows that are shown.
    explicit DownloadsModel(const DownloadManager& manager, GoneFiles* gone = nullptr,
                            QObject* parent = nullptr);

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex& index) const override;
    [[nodiscard]] QStringList mimeTypes() const override;
    /// The finished files among them, to be copied elsewhere.
    [[nodiscard]] QMimeData* mimeData(const QModelIndexList& indexes) const override;
    [[nodiscard]] Qt::DropActions supportedDragActions() const override { return Qt::CopyAction; }

    /// Brings the rows up to the manager's list.
    void refresh();
    /// The end of a refresh, changed or not.
    Q_SIGNAL void refreshed();
    [[nodiscard]] const Summary& summary() const { return summary_; }

    [[nodiscard]] std::optional<int> rowOf(DownloadID id) const;
    [[nodiscard]] const Snapshot& snapshot(int row) const { return rows_[static_cast<std::size_t>(row)].now; }
    /// Lower case, without accents: the name, then the link's host in a line of its own.
    [[nodiscard]] const QString& folded(int row) const { return rows_[static_cast<std::size_t>(row)].folded; }
    /// The download of a row; null when it is gone since the last refresh.
    [[nodiscard]] const Download* download(int row) const;

private:
    struct Row {
        Snapshot now;
        std::optional<std::string> settledName; ///< The record's, for noticing a change.
        std::string link;
        QString name;
        QString folded;
    };

    static bool rename(Row& row, const Download& download);
    void removeGone(const std::vector<const Download*>& list);
    void insertNew(const std::vector<const Download*>& list);
    void insert(std::size_t first, const std::vector<const Download*>& list, std::size_t end);
    [[nodiscard]] Row rowFor(const Download& download) const;
    void update(const std::vector<const Download*>& list);
    void findPlaces(std::vector<bool>& changed);
    void count();
    void tell(const std::vector<bool>& changed);
    [[nodiscard]] QVariant told(const Row& row, const Download& download, int role) const;

    void tellGone(const std::vector<DownloadID>& ids);

    const DownloadManager& manager_;
    GoneFiles* gone_;
    std::vector<Row> rows_;
    std::size_t placed_ = 0; ///< Downloads waiting when places in line were last found.
    Summary summary_;
};

/// Lower case and without accents, as names are searched.
[[nodiscard]] QString folded(const QString& given);

} // namespace fluvane
