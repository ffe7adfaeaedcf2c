// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Windows/WindowPlaces.h"

#include <QEvent>
#include <QGuiApplication>
#include <QScreen>
#include <QSettings>
#include <QWidget>
#include <QWindow>

#include <algorithm>
#include <utility>

namespace tessivar {

namespace {

constexpr QMargins frame(8, 40, 8, 8); // it isn't known before there is one

QString key(const QWidget& window, const char* what) {
    return "windows/" + window.objectName() + "/" + what;
}

/// Where the user may have put it, it stays.
void moveInto(QWidget& window, const QRect& room) {
    const QRect now = window.geometry();
    if (room.contains(now)) {
        return;
    }
    const QRect inside = room.marginsRemoved(frame);
    const QPoint most = inside.bottomRight() - QPoint(now.width() - 1, now.height() - 1);
    window.setGeometry(std::max(inside.left(), std::min(now.x(), most.x())),
                       std::max(inside.top(), std::min(now.y(), most.y())), now.width(), now.height());
}

/// X11 is told whose a window is only of dialogs.
void belongToAnother(QWidget& window) {
    if (window.windowType() == Qt::Window) {
        window.setWindowFlags((window.windowFlags() & ~Qt::WindowType_Mask) | Qt::Dialog);
    }
}

void fitInto(QWidget& window, const QRect& room) {
    if (!window.testAttribute(Qt::WA_Resized)) {
        window.adjustSize();
    }
    window.resize(window.size().boundedTo(room.marginsRemoved(frame).size()));
    if (window.testAttribute(Qt::WA_Moved)) {
        moveInto(window, room);
    }
}

} // namespace

WindowPlaces::WindowPlaces(QString file, QObject* parent) : QObject(parent), file_(std::move(file)) {}

void WindowPlaces::put(QWidget& window, QWidget* owner) {
    if (window.isVisible()) {
        return;
    }
    const bool isOwned = owner && owner != &window && owner->isVisible() && !owner->isMinimized();
    owner = isOwned ? owner : nullptr;
    if (owner) {
        belongToAnother(window);
        window.winId();
        window.windowHandle()->setTransientParent(owner->windowHandle());
    }
    const QRect room = screenFor(window, owner).availableGeometry();
    restore(window, owner, room);
    fitInto(window, room);
    window.installEventFilter(this);
}

void WindowPlaces::fit(QWidget& window) {
    if (!window.isVisible()) {
        fitInto(window, window.screen()->availableGeometry());
    }
}

QScreen& WindowPlaces::screenFor(const QWidget& window, const QWidget* owner) const {
    if (owner) {
        return *owner->screen();
    }
    const QString name = QSettings(file_, QSettings::IniFormat).value(key(window, "screen")).toString();
    const auto screens = QGuiApplication::screens();
    const auto found = std::ranges::find(screens, name, &QScreen::name);
    return found == screens.end() ? *window.screen() : **found;
}

void WindowPlaces::restore(QWidget& window, const QWidget* owner, const QRect& room) const {
    if (!window.testAttribute(Qt::WA_Resized)) {
        window.adjustSize();
    }
    const QSettings settings(file_, QSettings::IniFormat);
    const auto size = settings.value(key(window, "size")).toSize();
    const auto place = settings.value(key(window, "place"));
    if (!size.isEmpty()) {
        window.resize(size.expandedTo(window.minimumSizeHint()));
    }
    if (place.canConvert<QPoint>()) {
        window.setGeometry(QRect(room.topLeft() + place.toPoint(), window.size()));
    } else if (owner) {
        window.setGeometry(QRect(owner->geometry().center() - window.rect().center(), window.size()));
    }
}

bool WindowPlaces::eventFilter(QObject* watched, QEvent* event) {
    // Active, it has been given its place by the window manager; hidden, it has lost its frame before long.
    if (event->type() == QEvent::WindowActivate && !given_.contains(watched)) {
        given_.insert(watched, static_cast<QWidget*>(watched)->geometry());
    } else if ((event->type() == QEvent::Close || event->type() == QEvent::Hide) &&
               given_.contains(watched)) {
        keep(*static_cast<QWidget*>(watched), given_.take(watched));
    }
    return QObject::eventFilter(watched, event);
}

void WindowPlaces::keep(const QWidget& window, const QRect& before) const {
    const QRect now = window.geometry(); // without its frame, which a new window doesn't have yet
    if (now == before || window.isMaximized() || window.isFullScreen()) {
        return;
    }
    QSettings settings(file_, QSettings::IniFormat);
    if (now.size() != before.size()) {
        settings.setValue(key(window, "size"), now.size());
    }
    const bool tellsPlaces = !QGuiApplication::platformName().startsWith("wayland");
    if (tellsPlaces && now.topLeft() != before.topLeft()) {
        settings.setValue(key(window, "screen"), window.screen()->name());
        settings.setValue(key(window, "place"),
                          now.topLeft() - window.screen()->availableGeometry().topLeft());
    }
}

} // namespace tessivar
