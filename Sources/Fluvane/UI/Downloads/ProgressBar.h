// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/StateKind.h"

#include <QPalette>
#include <QRect>

#include <optional>

class QPainter;

namespace fluvane {

struct ProgressLook {
    QPalette palette;
    QColor ground; ///< What the bar is drawn on.
    Qt::LayoutDirection direction = Qt::LeftToRight;
    StateKind state = StateKind::queued;
    std::optional<double> fraction{}; ///< Absent: unknown, drawn as stripes.
    int step = 0;                     ///< Moves the stripes as bytes arrive.
};

/// Draws a slim bar. Running ones are filled, waiting and stopped ones in grey, those that need attention
/// hatched, so that they are told apart without colours too. The fill stands out from the track by 3:1.
void paintProgress(QPainter& painter, const QRect& place, const ProgressLook& look);

} // namespace fluvane
