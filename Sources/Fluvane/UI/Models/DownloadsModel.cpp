// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/DownloadsModel.h"

#include "Fluvane/UI/Models/FolderText.h"
#include "Fluvane/UI/Models/GoneFiles.h"
#include "FluvaneCore/Rules.h"
#include "FluvaneCore/Text.h"
#include "FluvaneEngine/Abilities.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QMimeData>
#include <QUrl>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <functional>
#include <iterator>
#include <limits>
#include <unordered_map>
#include <unordered_set>

namespace fluvane {

using tessivar::qPhraseIn;

using State = DownloadState;

namespace {

/// Gaps in the list up to which rows are removed one gap at a time.
constexpr std::size_t fewGaps = 64;

QString shown(std::string_view utf8) {
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

StateGroup groupOf(StateKind state) {
    if (state == StateKind::finished) {
        return StateGroup::finished;
    }
    if (needsAttention(state)) {
        return StateGroup::attention;
    }
    if (state == StateKind::paused) {
        return StateGroup::paused;
    }
    return runs(state) ? StateGroup::running : StateGroup::waiting;
}

bool hasBar(const DownloadsModel::Snapshot& now) {
    return now.group == StateGroup::running || (now.group != StateGroup::finished && now.done > 0);
}

enum ChecksumState { noChecksum, unchecked, matching, differing };

int checksumState(const DownloadRecord& record) {
    if (!record.checksum) {
        return noChecksum;
    }
    return !record.checksumResult ? unchecked : record.checksumResult->matches() ? matching : differing;
}

std::int64_t whole(double number) {
    constexpr double most = 9e18;
    return number > 0 ? static_cast<std::int64_t>(std::min(number, most)) : 0;
}

DownloadsModel::Snapshot taken(const DownloadManager& manager, const Download& download, std::int64_t place) {
    const DownloadRecord& record = download.record;
    DownloadsModel::Snapshot now;
    now.id = record.id;
    now.state = record.state.kind();
    now.group = groupOf(now.state);
    now.needsAttention = needsAttention(record);
    now.prioritized = download.isPrioritized();
    now.moving = record.moving.has_value();
    now.percentMoved = download.percentMoved;
    now.checksum = checksumState(record);
    now.size = record.size.value_or(-1);
    now.queueKey = record.queueKey();
    now.done = download.liveBytes();
    now.place = place;
    if (now.group == StateGroup::running) {
        now.connections = download.connections();
        now.speed = whole(download.speed());
        now.left = download.secondsLeft ? whole(*download.secondsLeft) : -1;
    }
    if (const auto seconds = manager.retryIn(download)) {
        now.left = whole(*seconds);
    }
    if (now.state == StateKind::retrying || now.state == StateKind::space) {
        now.reason = std::hash<std::string>()(download.retry->reason);
    }
    now.completed = record.completed.value_or(Date());
    return now;
}

QString hostOf(const URL& link) {
    return shown(link.host().value_or(""));
}

const char* stateIcon(const DownloadsModel::Snapshot& now) {
    switch (now.state) {
    case StateKind::queued:
        return "clock";
    case StateKind::starting:
    case StateKind::downloading:
        return "download";
    case StateKind::paused:
        return "pause";
    case StateKind::offline:
    case StateKind::limitedNetwork:
        return "offline";
    case StateKind::space:
        return "clock";
    case StateKind::retrying:
        return "retry";
    case StateKind::linkExpired:
        return "link";
    case StateKind::verifying:
    case StateKind::finishing:
        return "checksum";
    case StateKind::finished:
        return now.needsAttention ? "warning" : "check";
    case StateKind::failed:
        return "warning";
    }
    return "";
}

bool isRetrying(const Download& download) {
    return download.record.state.isWaiting(DownloadState::Wait::retrying);
}

RowAction actionOf(const Download& download) {
    const Abilities can = abilities(download);
    if (can.downloadAnyway) { // which may cost money: not by one click on a picture
        return RowAction::none;
    }
    return can.tryAgain || isRetrying(download) ? RowAction::tryAgain
           : can.resume                         ? RowAction::resume
           : can.pause                          ? RowAction::pause
           : can.open                           ? RowAction::show
                                                : RowAction::none;
}

/// What is as often done next; removing can be undone.
RowAction secondAction(const DownloadsModel::Snapshot& now, RowAction first) {
    switch (first) {
    case RowAction::resume:
    case RowAction::tryAgain:
        return now.state == StateKind::retrying ? RowAction::pause : RowAction::remove;
    case RowAction::show:
        return now.needsAttention ? RowAction::remove : RowAction::open; // not a file that differs
    default:
        return RowAction::none;
    }
}

QUrl fileURL(const DownloadRecord& record) {
    const bool finished = record.state.is<State::Finished>() && record.file;
    return finished ? QUrl::fromEncoded(QByteArray::fromStdString(record.file->absoluteString())) : QUrl();
}

/// Never read as marked-up text, whatever a name holds.
QString toolTip(const QString& name, const QString& line) {
    return "<p>" + name.toHtmlEscaped() + "</p><p>" + line.toHtmlEscaped() + "</p>";
}

} // namespace

// Words

DownloadWords::DownloadWords(const DownloadManager& manager, const Download& download,
                             std::optional<std::int64_t> place, Date now, bool isGone) {
    const DownloadRecord& record = download.record;
    progress_.state = record.state.kind();
    if (const auto* reason = record.state.failure()) {
        progress_.reason = *reason;
    }
    if (const auto seconds = manager.retryIn(download)) {
        progress_.reason = download.retry->reason;
        progress_.retryIn = seconds;
    } else if (progress_.state == StateKind::space) {
        progress_.reason = download.retry->reason;
    }
    progress_.done = download.liveBytes();
    progress_.size = record.size;
    progress_.bytesPerSecond = download.speed();
    progress_.secondsLeft = download.secondsLeft;
    progress_.connections = download.connections();
    progress_.placeInLine = place;
    progress_.prioritized = download.isPrioritized();
    if (record.checksum) {
        progress_.checksumName = Checksum::name(record.checksum->algorithm);
        progress_.checksumMatches =
            record.checksumResult ? std::optional(record.checksumResult->matches()) : std::nullopt;
    }
    if (record.state.is<State::Finished>()) {
        folder_ = folderText(record.folder);
        when_ = record.completed ? words::when(*record.completed, {now}) : "";
    }
    if (record.moving) {
        movingTo_ = folderText(record.moving->folder);
        progress_.movingTo = movingTo_;
        progress_.percentMoved = download.percentMoved;
    }
    progress_.isGone = isGone;
    progress_.folder = folder_;
    progress_.when = when_;
}

QString kindIcon(std::string_view fileName) {
    static constexpr std::array names = {"kind-disk-image", "kind-archive",  "kind-video",
                                         "kind-audio",      "kind-document", "kind-image"};
    const std::string extension = text::lowercased(text::pathExtension(fileName));
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (fileKind::hasExtension(fileKind::all[i], extension)) {
            return names[i];
        }
    }
    return "kind-file";
}

QString folded(const QString& given) {
    const bool plain = std::ranges::all_of(given, [](QChar character) { return character.unicode() < 0x80; });
    if (plain) {
        return given.toLower();
    }
    QString apart = given.normalized(QString::NormalizationForm_KD);
    apart.removeIf([](QChar character) { return character.isMark(); });
    return apart.toCaseFolded();
}

// The list

double DownloadsModel::Snapshot::fraction() const {
    if (group == StateGroup::finished) {
        return 1;
    }
    if (size < 0) {
        return -1;
    }
    return size == 0 ? 1 : std::clamp(static_cast<double>(done) / static_cast<double>(size), 0.0, 1.0);
}

bool DownloadsModel::Snapshot::isIn(StateGroup wanted) const {
    return wanted == StateGroup::all || wanted == group ||
           (wanted == StateGroup::attention && needsAttention);
}

int DownloadsModel::Summary::in(StateGroup group) const {
    switch (group) {
    case StateGroup::all:
        return total;
    case StateGroup::running:
        return running;
    case StateGroup::waiting:
        return waiting;
    case StateGroup::paused:
        return paused;
    case StateGroup::attention:
        return attention;
    case StateGroup::finished:
        return finished;
    }
    return 0;
}

void DownloadsModel::Summary::add(const Snapshot& one) {
    const auto count = [&one](int& number, StateGroup group) { number += one.isIn(group) ? 1 : 0; };
    count(total, StateGroup::all);
    count(running, StateGroup::running);
    count(waiting, StateGroup::waiting);
    count(paused, StateGroup::paused);
    count(attention, StateGroup::attention);
    count(finished, StateGroup::finished);
    speed += static_cast<double>(one.speed);
}

DownloadsModel::DownloadsModel(const DownloadManager& manager, GoneFiles* gone, QObject* parent)
    : QAbstractListModel(parent), manager_(manager), gone_(gone) {
    if (gone_) {
        connect(gone_, &GoneFiles::changed, this, &DownloadsModel::tellGone);
    }
}

void DownloadsModel::tellGone(const std::vector<DownloadID>& ids) {
    for (const auto id : ids) {
        if (const auto row = rowOf(id)) {
            Q_EMIT dataChanged(index(*row), index(*row));
        }
    }
}

void DownloadsModel::refresh() {
    const auto list = manager_.downloads();
    removeGone(list);
    insertNew(list);
    update(list);
    count();
    Q_EMIT refreshed();
}

/// The manager's list keeps its order: it loses entries, grows at its end, and gets some back in between
/// after an undo.
void DownloadsModel::removeGone(const std::vector<const Download*>& list) {
    const auto isSame = [](const Row& row, const Download* download) { return row.now.id == download->id(); };
    if (rows_.size() <= list.size() &&
        std::equal(rows_.begin(), rows_.end(), list.begin(), list.begin() + std::ssize(rows_), isSame)) {
        return;
    }
    std::unordered_set<DownloadID> there;
    std::ranges::for_each(list, [&](const Download* download) { there.insert(download->id()); });
    std::vector<std::pair<std::size_t, std::size_t>> gaps; // first row and row past the last
    for (std::size_t row = 0; row < rows_.size(); ++row) {
        if (there.contains(rows_[row].now.id)) {
            continue;
        }
        if (!gaps.empty() && gaps.back().second == row) {
            ++gaps.back().second;
        } else {
            gaps.emplace_back(row, row + 1);
        }
    }
    if (gaps.size() > fewGaps) {
        beginResetModel();
        const auto rowAt = [this](std::size_t row) {
            return rows_.begin() + static_cast<std::ptrdiff_t>(row);
        };
        std::vector<Row> kept;
        std::size_t next = 0;
        for (const auto& [first, end] : gaps) {
            std::move(rowAt(next), rowAt(first), std::back_inserter(kept));
            next = end;
        }
        std::move(rowAt(next), rows_.end(), std::back_inserter(kept));
        rows_ = std::move(kept);
        endResetModel();
        return;
    }
    std::ranges::reverse(gaps);
    for (const auto& [first, end] : gaps) {
        beginRemoveRows({}, static_cast<int>(first), static_cast<int>(end) - 1);
        rows_.erase(rows_.begin() + static_cast<std::ptrdiff_t>(first),
                    rows_.begin() + static_cast<std::ptrdiff_t>(end));
        endRemoveRows();
    }
}

bool DownloadsModel::rename(Row& row, const Download& download) {
    const DownloadRecord& record = download.record;
    const std::string& link = record.url.absoluteString();
    if (!row.link.empty() && row.settledName == record.name && row.link == link) {
        return false;
    }
    row.settledName = record.name;
    row.link = link;
    row.name = shown(words::oneLine(record.displayName()));
    row.folded = fluvane::folded(row.name) + "\n" + fluvane::folded(hostOf(record.url));
    return true;
}

/// Each stretch of new ones by itself; where they are many, all behind the first are made anew together.
void DownloadsModel::insertNew(const std::vector<const Download*>& list) {
    std::size_t stretches = 0;
    for (std::size_t at = 0; rows_.size() < list.size(); ++at) {
        const auto isRow = [&](const Download* download) { return download->id() == rows_[at].now.id; };
        if (at < rows_.size() && isRow(list[at])) {
            continue;
        }
        auto end = list.end();
        if (at < rows_.size() && ++stretches <= fewGaps) {
            end = std::find_if(list.begin() + static_cast<std::ptrdiff_t>(at), list.end(), isRow);
        }
        if (at < rows_.size() && end == list.end()) {
            beginRemoveRows({}, static_cast<int>(at), rowCount() - 1);
            rows_.erase(rows_.begin() + static_cast<std::ptrdiff_t>(at), rows_.end());
            endRemoveRows();
        }
        insert(at, list, static_cast<std::size_t>(end - list.begin()));
    }
}

void DownloadsModel::insert(std::size_t first, const std::vector<const Download*>& list, std::size_t end) {
    beginInsertRows({}, static_cast<int>(first), static_cast<int>(end) - 1);
    std::vector<Row> made;
    made.reserve(end - first);
    for (std::size_t at = first; at < end; ++at) {
        made.push_back(rowFor(*list[at]));
    }
    rows_.insert(rows_.begin() + static_cast<std::ptrdiff_t>(first), std::move_iterator(made.begin()),
                 std::move_iterator(made.end()));
    endInsertRows();
}

DownloadsModel::Row DownloadsModel::rowFor(const Download& download) const {
    Row row;
    row.now = taken(manager_, download, 0);
    rename(row, download);
    return row;
}

void DownloadsModel::update(const std::vector<const Download*>& list) {
    std::vector<bool> changed(rows_.size());
    bool lineChanged = false;
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        Row& row = rows_[i];
        const Snapshot now = taken(manager_, *list[i], row.now.place);
        changed[i] = rename(row, *list[i]);
        if (now == row.now) {
            continue;
        }
        lineChanged = lineChanged || now.state != row.now.state || now.queueKey != row.now.queueKey ||
                      now.prioritized != row.now.prioritized;
        row.now = now;
        changed[i] = true;
    }
    const auto waiting = static_cast<std::size_t>(
        std::ranges::count_if(rows_, [](const Row& row) { return row.now.group == StateGroup::waiting; }));
    if (lineChanged || waiting != placed_) {
        placed_ = waiting;
        findPlaces(changed);
    }
    tell(changed);
}

/// Sorting the line costs more than all the rest: it is done when something in it changed.
void DownloadsModel::findPlaces(std::vector<bool>& changed) {
    std::unordered_map<DownloadID, std::int64_t> places;
    for (const Download* download : manager_.queue()) {
        places.emplace(download->id(), static_cast<std::int64_t>(places.size()) + 1);
    }
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        const auto found = places.find(rows_[i].now.id);
        const std::int64_t place = found == places.end() ? 0 : found->second;
        if (rows_[i].now.place != place) {
            rows_[i].now.place = place;
            changed[i] = true;
        }
    }
}

void DownloadsModel::tell(const std::vector<bool>& changed) {
    for (std::size_t i = 0; i < changed.size(); ++i) {
        if (changed[i]) {
            const std::size_t first = i;
            while (i + 1 < changed.size() && changed[i + 1]) {
                ++i;
            }
            Q_EMIT dataChanged(index(static_cast<int>(first)), index(static_cast<int>(i)));
        }
    }
}

void DownloadsModel::count() {
    summary_ = {};
    for (const Row& row : rows_) {
        summary_.add(row.now);
    }
}

std::optional<int> DownloadsModel::rowOf(DownloadID id) const {
    const auto byID = [](const Row& row) { return row.now.id; };
    auto found = std::ranges::lower_bound(rows_, id, {}, byID);
    if (found == rows_.end() || found->now.id != id) {
        found = std::ranges::find(rows_, id, byID); // a list edited by hand may be in any order
    }
    return found == rows_.end() ? std::nullopt : std::optional(static_cast<int>(found - rows_.begin()));
}

const Download* DownloadsModel::download(int row) const {
    return manager_.download(snapshot(row).id);
}

// What is shown

int DownloadsModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

QVariant DownloadsModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) {
        return {};
    }
    const Row& row = rows_[static_cast<std::size_t>(index.row())];
    switch (role) {
    case Qt::DisplayRole:
        return row.name;
    case IdRole:
        return qlonglong{number(row.now.id)};
    case FractionRole:
        return row.now.fraction() < 0 ? QVariant() : QVariant(row.now.fraction());
    case StepRole:
        return static_cast<int>(row.now.done / 16384 % 4096);
    case StateRole:
        return QVariant::fromValue(row.now.state);
    case AttentionRole:
        return row.now.needsAttention;
    case PrioritizedRole:
        return row.now.prioritized && row.now.group != StateGroup::finished;
    case HasBarRole:
        return hasBar(row.now);
    default:
        const Download* const download = manager_.download(row.now.id);
        return download ? told(row, *download, role) : QVariant();
    }
}

QVariant DownloadsModel::told(const Row& row, const Download& download, int role) const {
    const auto isGone = [&] { return gone_ && gone_->isGone(download); };
    const auto line = [&] {
        const auto place = row.now.place > 0 ? std::optional(row.now.place) : std::nullopt;
        return shown(
            DownloadWords(manager_, download, place, std::chrono::system_clock::now(), isGone()).line());
    };
    switch (role) {
    case LineRole:
        return line();
    case StateIconRole:
        return row.now.group == StateGroup::finished && isGone() ? "close" : stateIcon(row.now);
    case Qt::AccessibleTextRole: {
        // What is paused has it in its line.
        const bool isTold = row.now.group == StateGroup::paused || !hasBar(row.now);
        const double done = isTold ? -1 : row.now.fraction();
        return done >= 0 ? qPhraseIn("name and value", "%1: %2, %3", row.name, words::percent(done), line())
                         : qPhraseIn("name and value", "%1: %2", row.name, line());
    }
    case Qt::ToolTipRole:
        return toolTip(row.name, line());
    case KindIconRole:
        return kindIcon(download.record.displayName());
    case FileRole:
        return fileURL(download.record);
    case ActionRole:
        return QVariant::fromValue(isGone() ? RowAction::remove : actionOf(download));
    case SecondActionRole:
        return QVariant::fromValue(isGone() ? RowAction::none : secondAction(row.now, actionOf(download)));
    default:
        return {};
    }
}

Qt::ItemFlags DownloadsModel::flags(const QModelIndex& index) const {
    const Qt::ItemFlags flags = QAbstractListModel::flags(index);
    const bool finished = index.isValid() && snapshot(index.row()).group == StateGroup::finished;
    return finished ? flags | Qt::ItemIsDragEnabled : flags & ~Qt::ItemIsDragEnabled;
}

QStringList DownloadsModel::mimeTypes() const {
    return {"text/uri-list"};
}

QMimeData* DownloadsModel::mimeData(const QModelIndexList& indexes) const {
    QList<QUrl> files;
    for (const auto& index : indexes) {
        const QUrl file = data(index, FileRole).toUrl();
        const Download* const download = this->download(index.row());
        const bool isGone = download && gone_ && gone_->isGone(*download); // asking its disk may take long
        if (file.isValid() && !isGone) {
            files.append(file);
        }
    }
    if (files.isEmpty()) {
        return nullptr;
    }
    auto* const mime = new QMimeData;
    mime->setUrls(files);
    return mime;
}

} // namespace fluvane
