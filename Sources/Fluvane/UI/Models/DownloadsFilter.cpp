// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/DownloadsFilter.h"

#include "TessivarPhrases/Phrases.h"
#include "TessivarPhrases/QtPhrases.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace fluvane {

using tessivar::marked;
using tessivar::qPhrase;

namespace {

/// More rows coming and going at once than this are shown by starting over.
constexpr std::size_t fewRows = 64;

/// Of other scripts' digits a name's order is as of letters; nothing would be a whole order else.
bool isDigit(QChar character) {
    return character >= '0' && character <= '9';
}

/// As people expect names in order: numbers in them by their value.
int compareNames(const QString& a, const QString& b) {
    qsizetype i = 0;
    qsizetype j = 0;
    const auto number = [](const QString& text, qsizetype& at) {
        while (at < text.size() && text[at] == '0') {
            ++at;
        }
        const qsizetype first = at;
        while (at < text.size() && isDigit(text[at])) {
            ++at;
        }
        return QStringView(text).mid(first, at - first);
    };
    while (i < a.size() && j < b.size()) {
        if (isDigit(a[i]) && isDigit(b[j])) {
            const QStringView left = number(a, i);
            const QStringView right = number(b, j);
            if (left != right) {
                return left.size() != right.size() ? (left.size() < right.size() ? -1 : 1)
                                                   : left.compare(right);
            }
        } else if (a[i] != b[j]) {
            return a[i] < b[j] ? -1 : 1;
        } else {
            ++i, ++j;
        }
    }
    return a.size() - i < b.size() - j ? -1 : a.size() - i > b.size() - j ? 1 : 0;
}

template <class Value>
int compare(const Value& a, const Value& b) {
    return a < b ? -1 : b < a ? 1 : 0;
}

/// What a person looks for first: what runs, what needs a person, and what is over at the end.
constexpr std::array<std::pair<StateGroup, const char*>, 5> byUrgency = {{
    {StateGroup::running, marked("Running")},
    {StateGroup::attention, marked("Needs Attention")},
    {StateGroup::waiting, marked("Waiting")},
    {StateGroup::paused, marked("Paused")},
    {StateGroup::finished, marked("Finished")},
}};

int urgency(StateGroup group) {
    const auto* const found = std::ranges::find(byUrgency, group, &std::pair<StateGroup, const char*>::first);
    return static_cast<int>(found - byUrgency.begin());
}

StateGroup groupOf(const DownloadsModel::Snapshot& one) {
    return one.needsAttention ? StateGroup::attention : one.group;
}

/// Those that wait by their place in line, and of the finished ones the newest first.
int compareStates(const DownloadsModel::Snapshot& a, const DownloadsModel::Snapshot& b) {
    if (groupOf(a) != groupOf(b)) {
        return compare(urgency(groupOf(a)), urgency(groupOf(b)));
    }
    return groupOf(a) == StateGroup::finished  ? compare(b.completed, a.completed)
           : groupOf(a) == StateGroup::waiting ? compare(a.place, b.place)
                                               : 0;
}

} // namespace

DownloadsFilter::DownloadsFilter(DownloadsModel& model, QObject* parent)
    : QAbstractProxyModel(parent), model_(model) {
    setSourceModel(&model);
    connect(&model, &QAbstractItemModel::dataChanged, this,
            [this](const QModelIndex& first, const QModelIndex& last) { touch(first.row(), last.row()); });
    connect(&model, &QAbstractItemModel::rowsInserted, this,
            [this](const QModelIndex&, int first, int last) { sourceInserted(first, last); });
    connect(&model, &QAbstractItemModel::rowsAboutToBeRemoved, this,
            [this](const QModelIndex&, int first, int last) { sourceRemoving(first, last); });
    connect(&model, &QAbstractItemModel::rowsRemoved, this,
            [this](const QModelIndex&, int first, int last) { sourceRemoved(first, last); });
    connect(&model, &QAbstractItemModel::modelAboutToBeReset, this, [this] { beginResetModel(); });
    connect(&model, &QAbstractItemModel::modelReset, this, [this] {
        arrange();
        endResetModel();
    });
    connect(&model, &DownloadsModel::refreshed, this, &DownloadsFilter::catchUp);
    arrange();
}

// What is wanted

void DownloadsFilter::setGroup(StateGroup group) {
    if (group != group_) {
        group_ = group;
        rebuild();
    }
}

void DownloadsFilter::setOrder(Order order, bool descending) {
    if (order != order_ || descending != descending_) {
        order_ = order;
        descending_ = descending;
        rebuild();
    }
}

void DownloadsFilter::setSearch(const QString& search) {
    search_ = search;
    const QStringList words = folded(search).split(' ', Qt::SkipEmptyParts);
    if (words != words_) {
        words_ = words;
        rebuild();
    }
}

bool DownloadsFilter::wanted(int source) const {
    return model_.snapshot(source).isIn(group_) && fitsSearch(source);
}

bool DownloadsFilter::fitsSearch(int source) const {
    const QString& text = model_.folded(source);
    return std::ranges::all_of(words_, [&text](const QString& word) { return text.contains(word); });
}

DownloadsModel::Summary DownloadsFilter::summary() const {
    if (words_.isEmpty()) {
        return model_.summary();
    }
    DownloadsModel::Summary summary;
    for (int source = 0; source < model_.rowCount(); ++source) {
        if (fitsSearch(source)) {
            summary.add(model_.snapshot(source));
        }
    }
    return summary;
}

bool DownloadsFilter::before(int a, int b) const {
    const auto& left = model_.snapshot(a);
    const auto& right = model_.snapshot(b);
    const int result = [&] {
        switch (order_) {
        case Order::name:
            return compareNames(model_.folded(a), model_.folded(b));
        case Order::size:
            return compare(left.size, right.size);
        case Order::progress:
            return compare(left.fraction(), right.fraction());
        case Order::speed:
            return compare(left.speed, right.speed);
        case Order::state:
            return compareStates(left, right);
        case Order::finished:
            return compare(left.completed, right.completed);
        case Order::added:
            break;
        }
        return compare(a, b);
    }();
    return result != 0 ? (descending_ ? result > 0 : result < 0) : a < b;
}

std::vector<DownloadID> DownloadsFilter::finished() const {
    std::vector<DownloadID> ids;
    for (int source = 0; source < model_.rowCount(); ++source) {
        if (isDone(source)) {
            ids.push_back(model_.snapshot(source).id);
        }
    }
    return ids;
}

bool DownloadsFilter::hasFinished() const {
    for (int source = 0; source < model_.rowCount(); ++source) {
        if (isDone(source)) {
            return true;
        }
    }
    return false;
}

bool DownloadsFilter::isDone(int source) const {
    const auto& one = model_.snapshot(source);
    return one.group == StateGroup::finished && !one.needsAttention && fitsSearch(source);
}

// Rows

void DownloadsFilter::arrange() {
    touched_.clear();
    rows_.clear();
    for (int source = 0; source < model_.rowCount(); ++source) {
        if (wanted(source)) {
            rows_.push_back(source);
        }
    }
    if (order_ != Order::added || descending_) {
        std::ranges::sort(rows_, [this](int a, int b) { return before(a, b); });
    }
    number();
    findHeadings();
}

/// Only what is in the order of states is in groups, and of one group everybody knows the name.
void DownloadsFilter::findHeadings() {
    headings_.clear();
    if (order_ != Order::state || group_ != StateGroup::all) {
        return;
    }
    const auto groupAt = [this](int source) { return groupOf(model_.snapshot(source)); };
    for (auto row = rows_.begin(); row != rows_.end();) {
        const StateGroup group = groupAt(*row);
        headings_.emplace_back(static_cast<int>(row - rows_.begin()), group);
        row = std::partition_point(row, rows_.end(), [&](int source) { return groupAt(source) == group; });
    }
}

void DownloadsFilter::number() {
    shown_.assign(static_cast<std::size_t>(model_.rowCount()), -1);
    for (std::size_t row = 0; row < rows_.size(); ++row) {
        shown_[static_cast<std::size_t>(rows_[row])] = static_cast<int>(row);
    }
}

void DownloadsFilter::rebuild() {
    beginResetModel();
    arrange();
    endResetModel();
}

void DownloadsFilter::touch(int first, int last) {
    for (int source = first; source <= last; ++source) {
        touched_.push_back(source);
    }
}

void DownloadsFilter::sourceInserted(int first, int last) {
    const int count = last - first + 1;
    for (auto* const list : {&rows_, &touched_}) {
        std::ranges::for_each(*list, [=](int& source) { source += source >= first ? count : 0; });
    }
    number();
    touch(first, last);
}

void DownloadsFilter::sourceRemoving(int first, int last) {
    std::vector<int> leaving;
    for (int source = first; source <= last; ++source) {
        if (shownAt(source) >= 0) {
            leaving.push_back(shownAt(source));
        }
    }
    resetting_ = leaving.size() > fewRows;
    if (resetting_) {
        beginResetModel();
        return;
    }
    std::ranges::sort(leaving, std::greater());
    for (const int row : leaving) {
        take(row);
    }
}

void DownloadsFilter::sourceRemoved(int first, int last) {
    const int count = last - first + 1;
    const auto isGone = [=](int source) { return source >= first && source <= last; };
    std::erase_if(touched_, isGone);
    std::erase_if(rows_, isGone);
    for (auto* const list : {&rows_, &touched_}) {
        std::ranges::for_each(*list, [=](int& source) { source -= source > last ? count : 0; });
    }
    number();
    if (std::exchange(resetting_, false)) {
        endResetModel();
    }
}

void DownloadsFilter::take(int row) {
    beginRemoveRows({}, row, row);
    rows_.erase(rows_.begin() + row);
    number();
    findHeadings();
    endRemoveRows();
}

/// Brings what is shown up to the rows that changed: they leave, come, or stay with something new to say.
void DownloadsFilter::catchUp() {
    std::vector<int> touched = std::exchange(touched_, {});
    std::ranges::sort(touched);
    touched.erase(std::unique(touched.begin(), touched.end()),
                  touched.end()); // new ones may have changed too
    std::vector<int> leaving;
    std::vector<int> coming;
    for (const int source : touched) {
        if (wanted(source) == (shownAt(source) >= 0)) {
            continue;
        }
        (shownAt(source) >= 0 ? leaving : coming).push_back(source);
    }
    if (leaving.size() + coming.size() > fewRows) {
        rebuild();
        return;
    }
    for (const int source : leaving) {
        take(shownAt(source));
    }
    if (!coming.empty()) {
        const int first = rowCount();
        beginInsertRows({}, first, first + static_cast<int>(coming.size()) - 1);
        rows_.insert(rows_.end(), coming.begin(), coming.end());
        number();
        endInsertRows();
    }
    if (!touched.empty()) {
        putInOrder();
        tell(touched);
    }
    const auto before = std::exchange(headings_, {});
    findHeadings();
    if (headings_ != before) {
        Q_EMIT headingsChanged();
    }
}

void DownloadsFilter::tell(const std::vector<int>& touched) {
    for (const int source : touched) {
        if (const int row = shownAt(source); row >= 0) {
            Q_EMIT dataChanged(index(row, 0), index(row, 0));
        }
    }
}

void DownloadsFilter::putInOrder() {
    const auto inOrder = [this](int a, int b) { return before(a, b); };
    if (std::ranges::is_sorted(rows_, inOrder)) {
        return;
    }
    Q_EMIT layoutAboutToBeChanged({}, VerticalSortHint);
    const QModelIndexList before = persistentIndexList();
    std::vector<int> sources;
    for (const auto& index : before) {
        sources.push_back(rows_[static_cast<std::size_t>(index.row())]);
    }
    std::ranges::sort(rows_, inOrder);
    number();
    QModelIndexList after;
    for (const int source : sources) {
        after.append(index(shownAt(source), 0));
    }
    changePersistentIndexList(before, after);
    Q_EMIT layoutChanged({}, VerticalSortHint);
}

// As a model

QVariant DownloadsFilter::data(const QModelIndex& index, int role) const {
    if (role != HeadingRole) {
        return QAbstractProxyModel::data(index, role);
    }
    const auto* const at = headings_.data();
    const auto* const end = at + headings_.size();
    const auto* const found =
        std::find_if(at, end, [&](const auto& each) { return each.first == index.row(); });
    return found == end ? QVariant()
                        : qPhrase(byUrgency[static_cast<std::size_t>(urgency(found->second))].second);
}

DownloadID DownloadsFilter::idAt(int row) const {
    return model_.snapshot(rows_[static_cast<std::size_t>(row)]).id;
}

QModelIndex DownloadsFilter::indexOf(DownloadID id) const {
    const auto source = model_.rowOf(id);
    return source && shownAt(*source) >= 0 ? index(shownAt(*source), 0) : QModelIndex();
}

QModelIndex DownloadsFilter::mapToSource(const QModelIndex& index) const {
    return index.isValid() ? model_.index(rows_[static_cast<std::size_t>(index.row())]) : QModelIndex();
}

QModelIndex DownloadsFilter::mapFromSource(const QModelIndex& source) const {
    const int row = source.isValid() ? shownAt(source.row()) : -1;
    return row >= 0 ? index(row, 0) : QModelIndex();
}

int DownloadsFilter::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int DownloadsFilter::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : 1;
}

QModelIndex DownloadsFilter::index(int row, int column, const QModelIndex& parent) const {
    return hasIndex(row, column, parent) ? createIndex(row, column) : QModelIndex();
}

QModelIndex DownloadsFilter::parent(const QModelIndex& /*index*/) const {
    return {};
}

} // namespace fluvane
