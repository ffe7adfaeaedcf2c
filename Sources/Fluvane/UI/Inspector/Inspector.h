// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Models/SpeedHistory.h"
#include "Fluvane/UI/Models/WindowContext.h"

#include <QWidget>

#include <cstdint>
#include <memory>
#include <vector>

namespace fluvane {

/// Everything about the selected download, its pieces, connections and speed; of several how much they are
/// together. Scrolls by itself; wants some 320 to 420 pixels of width and can do with any height. Follows the
/// feed while it is on screen and does nothing while it isn't. The history of speeds is the feed's own
/// (`SpeedHistory::of`): whoever asks for that at start-up makes a window that opens late show what went
/// before.
class Inspector : public QWidget {
    Q_OBJECT

public:
    explicit Inspector(WindowContext& context);
    ~Inspector() override;

    /// What is selected in the list. Numbers of downloads that are gone count as not selected.
    void showDownloads(const std::vector<DownloadID>& ids);

protected:
    void showEvent(QShowEvent* event) override;

private:
    void follow();
    void refresh();
    void showTotals();

    struct Pages;
    WindowContext& context_;
    std::vector<DownloadID> ids_;
    std::unique_ptr<Pages> pages_;
};

} // namespace fluvane
