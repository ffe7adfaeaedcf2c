// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Models/TrayStatus.h"

#include <QIcon>
#include <QImage>

class QPainter;
class QRectF;

/// The tray's pictures: drawn at any size, told apart by their shape alone.
namespace fluvane {

/// What a picture is drawn for. Of most panels nobody tells how bright they are: for them the shape takes a
/// colour that stands out from both.
enum class Panel { light, dark, unknown };

/// The steps in which progress is drawn; less isn't seen, and each is sent to the panel.
inline constexpr int trayProgressSteps = 24;

void drawStatus(QPainter& painter, const QRectF& square, const TrayStatus& status, Panel panel);
[[nodiscard]] QIcon statusIcon(const TrayStatus& status, Panel panel = Panel::unknown);
/// With a transparent ground; `side` in pixels.
[[nodiscard]] QImage statusImage(const TrayStatus& status, int side, Panel panel);
/// Whether the one picture is the other, too.
[[nodiscard]] bool looksAlike(const TrayStatus& one, const TrayStatus& other);

} // namespace fluvane
