// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

namespace fluvane {

/// Passes the engine's changes on to what shows them, gathered: at most four times a second, on a later turn
/// of the main queue. Nothing ticks while nothing changes.
class ListFeed : public QObject {
    Q_OBJECT

public:
    static constexpr int interval = 250; ///< Milliseconds.

    ListFeed();

    /// What the manager's observer calls.
    void listChanged();

    /// Who isn't on screen does nothing then, and catches up when it is shown.
    Q_SIGNAL void changed();

private:
    void tell();

    QTimer timer_;
    QElapsedTimer sinceLast_;
};

} // namespace fluvane
