// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Inspector/Graphic.h"
#include "Fluvane/UI/Models/PiecesPicture.h"
#include "FluvaneEngine/Download.h"

#include <optional>

namespace fluvane {

/// The pieces map: a bar of the whole file with what is there, what arrives now and over which connection.
/// Below the bar each connection's number stands where it has got to. The mouse, or the arrow keys, tell of a
/// single piece.
class PiecesMap : public Graphic {
    Q_OBJECT

public:
    explicit PiecesMap(QWidget* parent = nullptr);

    /// Takes what the download and its connections are now; repaints only what looks different.
    void follow(const Download& download, const std::vector<RunningConnection>& connections);
    /// All of it in words, but for what the table of the connections says.
    [[nodiscard]] QString description() const;
    /// The piece that the keyboard or the mouse is at, in words; empty for none.
    [[nodiscard]] const QString& told() const { return told_; }
    Q_SIGNAL void toldChanged(const QString& words);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    void draw();
    void repaintChanges(const PiecesPicture& before);
    void tell();
    void choose(std::optional<std::size_t> piece);
    [[nodiscard]] QRectF bar() const;
    [[nodiscard]] std::optional<std::size_t> pieceAt(QPointF position) const;
    [[nodiscard]] QString words(std::size_t piece) const;
    [[nodiscard]] const RunningConnection* connectionOf(std::size_t piece) const;
    [[nodiscard]] int columns() const;
    [[nodiscard]] QRectF area(int firstColumn, int endColumn) const;
    [[nodiscard]] QRectF onScreen(const QRectF& place) const;
    void paintColumns(QPainter& painter) const;
    void paintRun(QPainter& painter, const QRectF& run, const PiecesPicture::Column& column) const;
    void paintOpenEnd(QPainter& painter) const;
    void paintBorders(QPainter& painter) const;
    void paintHeads(QPainter& painter) const;
    void paintChosen(QPainter& painter) const;

    std::vector<Piece> pieces_;
    std::optional<std::int64_t> size_;
    std::vector<RunningConnection> connections_;
    PiecesPicture picture_;
    std::optional<std::size_t> chosen_;
    QString told_;
};

} // namespace fluvane
