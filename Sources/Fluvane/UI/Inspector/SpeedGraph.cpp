// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Inspector/SpeedGraph.h"

#include "FluvaneCore/DetailWords.h"
#include "FluvaneCore/Words.h"
#include "Tessivar/Windows/Colors.h"
#include "Tessivar/Windows/Spacing.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <array>
#include <cmath>

namespace fluvane {

using tessivar::qPhrase;
using tessivar::qPhrases;

namespace {

/// A longer time without a sample is a pause, which no line bridges.
constexpr double longestStep = 4 * SpeedHistory::interval;

double most(const std::vector<SpeedHistory::Sample>& samples) {
    const auto highest = std::ranges::max_element(samples, {}, &SpeedHistory::Sample::speed);
    return highest == samples.end() ? 0 : highest->speed;
}

/// What the axis may reach back, in minutes.
constexpr std::array spans = {1, 2, 5};

} // namespace

SpeedGraph::SpeedGraph(QWidget* parent) : Graphic(parent) {
    setObjectName("speed-graph");
    setAccessibleName(qPhrase("Speed over the last minutes"));
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

QSize SpeedGraph::sizeHint() const {
    return {320, 96 + fontMetrics().height()};
}

QSize SpeedGraph::minimumSizeHint() const {
    return {160, sizeHint().height()};
}

double SpeedGraph::roundTop(double speed) {
    double step = 1000;
    for (int i = 0; i < 60 && step < speed; ++i) {
        step *= i % 3 == 1 ? 2.5 : 2; // 1, 2, 5, 10 …
    }
    return step;
}

void SpeedGraph::follow(const std::vector<SpeedHistory::Sample>& samples, bool runs) {
    const bool isNew = samples != samples_ || runs != runs_;
    samples_ = samples;
    runs_ = runs;
    const double highest = most(samples_);
    const auto now = runs && !samples_.empty() ? std::optional(samples_.back().speed) : std::nullopt;
    const double age = samples_.empty() ? 0 : samples_.back().time - samples_.front().time;
    const auto* const span = std::ranges::find_if(spans, [age](int minutes) { return age <= minutes * 60; });
    minutes_ = span == spans.end() ? spans.back() : *span;
    setAccessibleDescription(QString::fromStdString(words::speeds(now, highest, minutes_)));
    if (isNew) {
        top_ = roundTop(highest);
        update();
    }
}

QRectF SpeedGraph::plot() const {
    const int below = fontMetrics().height() + tessivar::spacing::hair;
    const double above = fontMetrics().height() / 2.0;
    return QRectF(0, above, width() - 1, height() - above - below);
}

QPointF SpeedGraph::point(const SpeedHistory::Sample& sample) const {
    const double age = samples_.back().time - sample.time;
    return {plot().right() - age / (minutes_ * 60) * plot().width(),
            plot().bottom() - std::min(sample.speed / top_, 1.0) * plot().height()};
}

void SpeedGraph::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (!samples_.empty()) {
        paintLine(painter);
    }
    paintScale(painter);
}

void SpeedGraph::paintLine(QPainter& painter) const {
    painter.save();
    painter.setClipRect(plot().adjusted(0, -2, 1, 0));
    std::size_t first = 0;
    for (std::size_t i = 1; i <= samples_.size(); ++i) {
        if (i == samples_.size() || samples_[i].time - samples_[i - 1].time > longestStep) {
            paintStretch(painter, first, i);
            first = i;
        }
    }
    painter.restore();
}

void SpeedGraph::paintStretch(QPainter& painter, std::size_t first, std::size_t end) const {
    QPainterPath line(point(samples_[first]));
    for (std::size_t i = first + 1; i < end; ++i) {
        line.lineTo(point(samples_[i]));
    }
    QPainterPath ground = line;
    ground.lineTo(point(samples_[end - 1]).x(), plot().bottom());
    ground.lineTo(point(samples_[first]).x(), plot().bottom());
    const QColor color =
        tessivar::readable(palette().color(QPalette::Highlight), {palette().color(QPalette::Window), 3});
    QColor faint = color;
    faint.setAlphaF(0.25F);
    painter.fillPath(ground, faint);
    painter.strokePath(line, QPen(color, 1.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
}

/// Time goes from left to right in every language.
void SpeedGraph::paintScale(QPainter& painter) const {
    QColor grid = palette().color(QPalette::WindowText);
    grid.setAlphaF(0.18F);
    const QColor text = tessivar::quietText(palette());
    const int lineHeight = fontMetrics().height();
    for (const double share : {0.0, 0.5, 1.0}) {
        const double y = plot().bottom() - share * plot().height();
        painter.setPen(grid);
        painter.drawLine(QPointF(plot().left(), y), QPointF(plot().right(), y));
        if (share > 0) {
            const QString label = QString::fromStdString(words::speed(share * top_));
            const QRectF place(0, y + 1, fontMetrics().horizontalAdvance(label) + 6, lineHeight);
            QColor ground = palette().color(QPalette::Window);
            ground.setAlphaF(0.75F);
            painter.fillRect(place, ground);
            painter.setPen(text);
            painter.drawText(place, Qt::AlignLeft | Qt::AlignVCenter, label);
        }
    }
    painter.setPen(text);
    const QRectF below(0, plot().bottom() + tessivar::spacing::hair, width(), lineHeight);
    painter.drawText(below, int(Qt::AlignLeft) | int(Qt::AlignAbsolute),
                     runs_ ? qPhrases("1 minute ago", "%1 minutes ago", minutes_)
                           : qPhrases("1 minute before", "%1 minutes before", minutes_));
    painter.drawText(below, int(Qt::AlignRight) | int(Qt::AlignAbsolute),
                     runs_ ? qPhrase("now") : qPhrase("when it last ran"));
}

} // namespace fluvane
