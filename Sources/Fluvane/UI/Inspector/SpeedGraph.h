// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Inspector/Graphic.h"
#include "Fluvane/UI/Models/SpeedHistory.h"

#include <vector>

namespace fluvane {

/// The speed over the last minutes as a filled line, with a scale of round speeds.
class SpeedGraph : public Graphic {
    Q_OBJECT

public:
    explicit SpeedGraph(QWidget* parent = nullptr);

    /// `runs`: the last sample is of now.
    void follow(const std::vector<SpeedHistory::Sample>& samples, bool runs);

    /// The next round number of 1, 2 or 5 times a power of ten that isn't below the speed, at least 1000.
    [[nodiscard]] static double roundTop(double speed);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    [[nodiscard]] QRectF plot() const;
    [[nodiscard]] QPointF point(const SpeedHistory::Sample& sample) const;
    void paintScale(QPainter& painter) const;
    void paintLine(QPainter& painter) const;
    void paintStretch(QPainter& painter, std::size_t first, std::size_t end) const;

    std::vector<SpeedHistory::Sample> samples_;
    bool runs_ = false;
    double top_ = 1000;
    int minutes_ = 1; ///< That the axis reaches back: as many as there is something to show for.
};

} // namespace fluvane
