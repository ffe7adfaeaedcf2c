// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Inspector/PiecesMap.h"

#include "Fluvane/UI/Inspector/ConnectionLook.h"
#include "FluvaneCore/DetailWords.h"
#include "FluvaneCore/Words.h"
#include "Tessivar/Windows/Colors.h"
#include "Tessivar/Windows/Spacing.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QKeyEvent>
#include <QLinearGradient>
#include <QMouseEvent>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace fluvane {

using tessivar::marked;
using tessivar::qPhrase;

using tessivar::blend;

namespace {

constexpr int barHeight = 26;
constexpr double badgeSide = 14;
constexpr auto spokenName = marked("Pieces of the file");

/// Where nothing is yet, and what is there since before.
QColor trackColor(const QPalette& palette) {
    return blend(palette.color(QPalette::Window), palette.color(QPalette::WindowText), 0.10);
}
QColor doneColor(const QPalette& palette) {
    return blend(palette.color(QPalette::Window), palette.color(QPalette::WindowText), 0.58);
}

bool looksLike(const PiecesPicture::Column& a, const PiecesPicture::Column& b) {
    return a.filled == b.filled && a.connection == b.connection && a.arrived == b.arrived;
}

/// Moves marks, which stand in order, so far apart that none covers another, and all of them into the width;
/// where they are too many for it they share it.
void spread(std::vector<double>& lefts, double distance, double width) {
    distance = std::min(distance, width / static_cast<double>(std::max<std::size_t>(lefts.size(), 1)));
    for (std::size_t i = 1; i < lefts.size(); ++i) {
        lefts[i] = std::max(lefts[i], lefts[i - 1] + distance);
    }
    double limit = width;
    for (std::size_t i = lefts.size(); i-- > 0; limit = lefts[i]) {
        lefts[i] = std::max(std::min(lefts[i], limit - distance), static_cast<double>(i) * distance);
    }
}

} // namespace

PiecesMap::PiecesMap(QWidget* parent) : Graphic(parent) {
    setObjectName("pieces-map");
    setAccessibleName(qPhrase(spokenName));
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

QSize PiecesMap::sizeHint() const {
    return {320, barHeight + tessivar::spacing::small + static_cast<int>(badgeSide) + 2};
}

QSize PiecesMap::minimumSizeHint() const {
    return {120, sizeHint().height()};
}

QRectF PiecesMap::bar() const {
    return QRectF(1, 1, width() - 2, barHeight - 2);
}

int PiecesMap::columns() const {
    return std::max(1, static_cast<int>(std::lround(bar().width() * devicePixelRatioF())));
}

QRectF PiecesMap::area(int firstColumn, int endColumn) const {
    const double scale = bar().width() / static_cast<double>(picture_.columns.size());
    return {bar().left() + firstColumn * scale, bar().top(), (endColumn - firstColumn) * scale,
            bar().height()};
}

/// The file begins where reading begins, as its bar in the list does.
QRectF PiecesMap::onScreen(const QRectF& place) const {
    return isRightToLeft() ? QRectF(width() - place.right(), place.top(), place.width(), place.height())
                           : place;
}

// What is shown

void PiecesMap::follow(const Download& download, const std::vector<RunningConnection>& connections) {
    pieces_ = download.livePieces();
    size_ = download.record.size;
    connections_ = connections;
    if (chosen_ && *chosen_ >= pieces_.size()) {
        chosen_.reset();
    }
    const PiecesPicture before = std::move(picture_);
    draw();
    repaintChanges(before);
    setAccessibleDescription(description());
    setPercent(size_.value_or(0) > 0 ? std::optional(static_cast<int>(100 * download.liveBytes() / *size_))
                                     : std::nullopt);
    tell();
}

void PiecesMap::draw() {
    picture_ = PiecesPicture::make(pieces_, size_, connections_, columns());
}

void PiecesMap::repaintChanges(const PiecesPicture& before) {
    const auto& now = picture_.columns;
    if (before.columns.size() != now.size() || before.borders != picture_.borders ||
        before.openEnded != picture_.openEnded) {
        update();
        return;
    }
    const auto first = std::ranges::mismatch(before.columns, now, looksLike).in2 - now.begin();
    if (first < std::ssize(now)) {
        const auto same =
            std::mismatch(before.columns.rbegin(), before.columns.rend(), now.rbegin(), looksLike);
        const auto end = now.rend() - same.second;
        update(onScreen(area(static_cast<int>(first), static_cast<int>(end))).toAlignedRect());
    }
    if (before.heads != picture_.heads) {
        update(0, barHeight, width(), height() - barHeight);
    }
}

const RunningConnection* PiecesMap::connectionOf(std::size_t piece) const {
    const auto found = std::ranges::find(connections_, pieces_[piece].start, &RunningConnection::start);
    return found == connections_.end() ? nullptr : &*found;
}

QString PiecesMap::words(std::size_t piece) const {
    const auto* connection = connectionOf(piece);
    const auto end = pieces_[piece].end ? pieces_[piece].end : size_;
    return QString::fromStdString(
        words::piece({.number = piece + 1,
                      .done = pieces_[piece].done,
                      .length = end ? std::optional(*end - pieces_[piece].start) : std::nullopt,
                      .connection = connection ? std::optional(connection->number) : std::nullopt,
                      .bytesPerSecond = connection ? connection->speed : 0}));
}

QString PiecesMap::description() const {
    const auto done = static_cast<std::size_t>(std::ranges::count_if(pieces_, &Piece::isComplete));
    return qPhrase("%1.", words::pieces(pieces_.size(), done));
}

// A single piece

std::optional<std::size_t> PiecesMap::pieceAt(QPointF position) const {
    const bool inside = bar().contains(position) && !pieces_.empty();
    const auto count = static_cast<double>(picture_.columns.size());
    if (!inside) {
        return std::nullopt;
    }
    const double along = isRightToLeft() ? bar().right() - position.x() : position.x() - bar().left();
    const double column = along / bar().width() * count;
    return picture_.columns[static_cast<std::size_t>(std::clamp(column, 0.0, count - 1))].piece;
}

void PiecesMap::choose(std::optional<std::size_t> piece) {
    if (chosen_ != piece) {
        chosen_ = piece;
        update();
        tell();
        // So that a screen reader says the piece as the keys reach it, though not each byte that it gets.
        setAccessibleName(hasFocus() && chosen_ ? told_ : qPhrase(spokenName));
    }
}

void PiecesMap::tell() {
    const QString now = chosen_ ? words(*chosen_) : QString();
    if (now != told_) {
        told_ = now;
        Q_EMIT toldChanged(now);
    }
}

void PiecesMap::mouseMoveEvent(QMouseEvent* event) {
    choose(pieceAt(event->position()));
}

void PiecesMap::leaveEvent(QEvent* /*event*/) {
    choose(std::nullopt);
}

void PiecesMap::focusOutEvent(QFocusEvent* event) {
    choose(std::nullopt);
    Graphic::focusOutEvent(event);
}

void PiecesMap::keyPressEvent(QKeyEvent* event) {
    if (pieces_.empty()) {
        return Graphic::keyPressEvent(event);
    }
    const std::size_t last = pieces_.size() - 1;
    if (event->key() == (isRightToLeft() ? Qt::Key_Right : Qt::Key_Left)) {
        return choose(chosen_.value_or(1) > 0 ? chosen_.value_or(1) - 1 : 0);
    }
    switch (event->key()) {
    case Qt::Key_Left:
    case Qt::Key_Right:
        return choose(chosen_ ? std::min(*chosen_ + 1, last) : 0);
    case Qt::Key_Home:
        return choose(0);
    case Qt::Key_End:
        return choose(last);
    default:
        return Graphic::keyPressEvent(event);
    }
}

// Painting

void PiecesMap::paintEvent(QPaintEvent* /*event*/) {
    if (static_cast<int>(picture_.columns.size()) != columns()) {
        draw();
    }
    QPainter painter(this);
    if (isRightToLeft()) {
        painter.setTransform(QTransform::fromScale(-1, 1) * QTransform::fromTranslate(width(), 0));
    }
    paintColumns(painter);
    paintBorders(painter);
    paintChosen(painter);
    painter.resetTransform(); // numbers aren't mirrored
    paintHeads(painter);
}

void PiecesMap::paintColumns(QPainter& painter) const {
    const auto& all = picture_.columns;
    for (std::size_t first = 0; first < all.size();) {
        std::size_t end = first + 1;
        while (end < all.size() && looksLike(all[first], all[end])) {
            ++end;
        }
        paintRun(painter, area(static_cast<int>(first), static_cast<int>(end)), all[first]);
        first = end;
    }
    if (picture_.openEnded) {
        paintOpenEnd(painter);
    }
    painter.setPen(blend(palette().color(QPalette::Window), palette().color(QPalette::WindowText), 0.45));
    painter.drawRect(bar().adjusted(-0.5, -0.5, 0.5, 0.5));
}

void PiecesMap::paintRun(QPainter& painter, const QRectF& run, const PiecesPicture::Column& column) const {
    if (column.connection != 0 && column.filled > 0 && column.arrived) {
        connectionLook::fill(painter, run, column.connection, palette(), column.filled);
        return;
    }
    const QColor empty =
        column.connection != 0 ? connectionLook::faint(column.connection, palette()) : trackColor(palette());
    painter.fillRect(run, blend(empty, doneColor(palette()), column.filled));
}

void PiecesMap::paintOpenEnd(QPainter& painter) const {
    QLinearGradient fade(bar().topLeft(), bar().topRight());
    const QColor window = palette().color(QPalette::Window);
    QColor clear = window;
    clear.setAlpha(0);
    fade.setColorAt(0.3, clear);
    fade.setColorAt(1, window);
    painter.fillRect(bar(), fade);
}

void PiecesMap::paintBorders(QPainter& painter) const {
    for (const int border : picture_.borders) {
        const double x = area(border, border).left();
        painter.fillRect(QRectF(x - 1, bar().top(), 1.5, bar().height()), palette().color(QPalette::Base));
    }
}

void PiecesMap::paintHeads(QPainter& painter) const {
    std::vector<double> lefts;
    for (const auto& head : picture_.heads) {
        lefts.push_back(area(0, 1).left() + head.at * area(0, 1).width() - badgeSide / 2);
    }
    spread(lefts, badgeSide + 1, width() + 1);
    const double top = barHeight + tessivar::spacing::small;
    painter.setRenderHint(QPainter::Antialiasing);
    for (std::size_t i = 0; i < lefts.size(); ++i) {
        const auto& head = picture_.heads[i];
        const double at = area(0, 1).left() + head.at * area(0, 1).width();
        const QRectF square = onScreen(QRectF(lefts[i], top, badgeSide, badgeSide));
        painter.setPen(QPen(connectionLook::color(head.connection, palette()), 1.5));
        painter.drawLine(onScreen(QRectF(at, bar().bottom(), 0, 0)).topLeft(),
                         QPointF(square.center().x(), top + 1));
        connectionLook::badge(painter, square, head.connection, palette());
    }
    painter.setRenderHint(QPainter::Antialiasing, false);
}

/// The piece that is told of, and the focus.
void PiecesMap::paintChosen(QPainter& painter) const {
    painter.setPen(QPen(palette().color(QPalette::WindowText), 2));
    if (chosen_ && !picture_.openEnded) {
        const auto belongs = [this](const PiecesPicture::Column& column) { return column.piece == *chosen_; };
        const auto first = std::ranges::find_if(picture_.columns, belongs);
        const auto end = std::find_if_not(first, picture_.columns.end(), belongs);
        const auto begin = picture_.columns.begin();
        painter.drawRect(
            area(static_cast<int>(first - begin), static_cast<int>(end - begin)).adjusted(1, 1, -1, -1));
    } else if (hasFocus()) {
        painter.setPen(QPen(palette().color(QPalette::Highlight), 2));
        painter.drawRect(bar());
    }
}

} // namespace fluvane
