// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QString>
#include <QWidget>

#include <cstddef>

namespace fluvane {

/// Lies over all of a widget, its parent and owner, while links are held above it, and says what dropping
/// them does. Lets every event through to what is below.
class DropTarget : public QWidget {
    Q_OBJECT

public:
    explicit DropTarget(QWidget& over);

    void setLinks(std::size_t count);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString words_;
};

} // namespace fluvane
