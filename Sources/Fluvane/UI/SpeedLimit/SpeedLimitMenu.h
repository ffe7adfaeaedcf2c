// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Models/WindowContext.h"

#include <QActionGroup>
#include <QMenu>
#include <QPointer>

#include <cstdint>
#include <functional>
#include <optional>

namespace fluvane {

class SpeedLimitWindow;

/// The speed limit to choose: the usual ones, another, none.
class SpeedLimitMenu : public QMenu {
    Q_OBJECT

public:
    /// `failed` is called with a sentence for the user.
    SpeedLimitMenu(WindowContext& context, std::function<void(const QString&)> failed);
    ~SpeedLimitMenu() override;

    /// Checks the limit that is in force.
    void update();
    /// Bytes per second.
    void set(std::optional<std::int64_t> limit);

private:
    QAction* addChoice(const QString& text, std::optional<std::int64_t> limit);
    void askForOther();

    WindowContext& context_;
    std::function<void(const QString&)> failed_;
    QActionGroup choices_;
    QAction* other_;
    QPointer<SpeedLimitWindow> window_; ///< Asks for another.
};

} // namespace fluvane
