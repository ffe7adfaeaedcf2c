// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMenu>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>

/// What a person does to windows beyond what QTest has, and what windows are mostly made of.
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

/// What has that name in a window, seen or not.
template <class Part = QWidget>
Part& part(const QObject& window, const char* name) {
    auto* const found = window.findChild<Part*>(name);
    if (!found) {
        throw std::logic_error(std::string("there is no ") + name);
    }
    return *found;
}

/// What a label or field says, without the marks where it may break; empty when
/// it isn't seen.
inline std::string said(const QWidget& window, const char* name) {
    const auto& found = part<QWidget>(window, name);
    const auto* const label = qobject_cast<const QLabel*>(&found);
    const auto* const field = qobject_cast<const QLineEdit*>(&found);
    QString text = label ? label->text() : field ? field->text() : QString("there");
    return found.isVisible() ? text.remove(QChar(0x200B)).toStdString() : std::string();
}

/// On screen, and the one that keys go to.
inline void activate(QWidget& window) {
    window.show();
    window.activateWindow();
    EXPECT_TRUE(QTest::qWaitFor([&] { return QApplication::activeWindow() == &window; }));
}

inline void click(const QWidget& window, const char* button) {
    QTest::mouseClick(&part<QAbstractButton>(window, button), Qt::LeftButton);
}

/// Instead of what the field holds.
inline void typeInto(QWidget& field, const QString& text) {
    field.setFocus();
    QTest::keyClick(&field, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(&field, text);
}
inline void typeAndEnter(QWidget& field, const QString& text) {
    typeInto(field, text);
    QTest::keyClick(&field, Qt::Key_Return);
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

} // namespace fluvane::support
