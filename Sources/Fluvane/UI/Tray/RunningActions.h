// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Models/TrayMenu.h"

#include <QAction>

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

class QMenu;

namespace fluvane {

/// The running downloads in the tray's menu: a fixed number of items that change in place, so that none moves
/// under the pointer while the menu is open.
class RunningActions {
public:
    static constexpr std::size_t most = 8;

    /// Adds its items to the menu. `chosen` is called with a download's number, or without one for the rest.
    RunningActions(QMenu& menu, std::function<void(std::optional<DownloadID>)> chosen);

    /// For the length of a call.
    struct List {
        const std::vector<const Download*>& all;
        const std::vector<const Download*>& running;
    };

    /// Who draws the menu, from the next change on.
    void setDrawer(MenuDrawer drawer) { drawer_ = drawer; }
    /// While `keepPlaces`, what was listed stays where it is, whatever became of it.
    void update(const List& list, bool keepPlaces);

private:
    void assign(const std::vector<const Download*>& running, bool keepPlaces);
    void show(QAction& action, const Download* download) const;
    [[nodiscard]] QString label(const Download& download) const;
    [[nodiscard]] static QString spoken(const Download& download);

    std::array<QAction*, most> actions_{};
    std::array<std::optional<DownloadID>, most> shown_{}; ///< Numbers, in the actions' order.
    QAction* more_;
    MenuDrawer drawer_ = MenuDrawer::qt;
};

} // namespace fluvane
