// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QHash>
#include <QObject>
#include <QRect>
#include <QString>

class QScreen;
class QWidget;

namespace tessivar {

/// Where the user left windows, and how large: under their object names in a settings file, relative to the
/// screen. Only what the user changes is kept; a window whose place is never changed stays in the middle of
/// the one that it belongs to.
class WindowPlaces : public QObject {
    Q_OBJECT

public:
    /// A file that can't be read or makes no sense counts as none.
    explicit WindowPlaces(QString file, QObject* parent = nullptr);

    /// Before each time the window is shown; one on screen stays as it is. It belongs to the owner and opens
    /// on that one's screen, if that is on screen itself. Always whole on a screen, if that is large enough.
    void put(QWidget& window, QWidget* owner);
    /// The last of it alone, for a window that remembers its place itself.
    static void fit(QWidget& window);

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    [[nodiscard]] QScreen& screenFor(const QWidget& window, const QWidget* owner) const;
    void restore(QWidget& window, const QWidget* owner, const QRect& room) const;
    void keep(const QWidget& window, const QRect& before) const;

    QString file_;
    QHash<const QObject*, QRect> given_; ///< Place and size of those on screen, as they came there.
};

} // namespace tessivar
