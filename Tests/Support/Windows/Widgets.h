// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QApplication>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileDialog>
#include <QWidget>

#include <gtest/gtest.h>

/// What a person does to windows beyond what QTest has.
namespace fluvane::support {

/// The window of that name; nullptr when none is visible.
template <class Window = QWidget>
Window* onScreen(const QString& name) {
    for (auto* const window : QApplication::topLevelWidgets()) {
        if (window->isVisible() && window->objectName() == name) {
            return qobject_cast<Window*>(window);
        }
    }
    return nullptr;
}

/// Windows that delete themselves when they are closed are gone afterwards.
inline void deleteClosed() {
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

inline void chooseFile(QFileDialog* dialog, const QString& path) {
    ASSERT_TRUE(dialog) << "nothing asks for " << path.toStdString();
    Q_EMIT dialog->fileSelected(path);
    dialog->close();
}

inline void drop(QWidget& window, const QMimeData& data) {
    const QPoint place = window.rect().center();
    QDragEnterEvent entering(place, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window, &entering);
    EXPECT_TRUE(entering.isAccepted());
    QDropEvent event(place, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window, &event);
}

} // namespace fluvane::support
