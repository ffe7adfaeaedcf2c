// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Models/WindowContext.h"
#include "Fluvane/UI/Tray/StatusIcon.h"

#include <QImage>
#include <QObject>

#include <memory>
#include <string>

class QMenu;

namespace fluvane {

class Bus;

/// The tray's item and its menu. Shown wherever something shows such items, as soon as it does and again when
/// it comes back. Main thread; all it is given outlives it.
class StatusMenu : public QObject {
    Q_OBJECT

public:
    StatusMenu(WindowContext& context, Bus& session);
    ~StatusMenu() override;

    [[nodiscard]] QMenu& menu();
    /// Whether something shows the item.
    [[nodiscard]] bool isShown() const;
    Q_SIGNAL void availabilityChanged();

    [[nodiscard]] const TrayStatus& status() const;
    [[nodiscard]] std::string toolTip() const;
    /// The item as it stands; `side` in pixels. For a panel whose brightness is known, or as any panel is
    /// given it.
    [[nodiscard]] QImage picture(int side, Panel panel = Panel::unknown) const;

    /// Brings item and menu up to the list at once; otherwise they follow it, at most once a second.
    void update();
    /// The user looks at the list of downloads: what went wrong there needs no attention any more.
    void problemsSeen();

private:
    class Item;
    std::unique_ptr<Item> item_;
};

} // namespace fluvane
