// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QLineEdit>

namespace tessivar {

/// A line of text to read, select and copy. Screen readers hear that it can't be edited, and read its tool
/// tip only where that says something else: as its accessible description.
class ReadOnlyLine : public QLineEdit {
    Q_OBJECT

public:
    explicit ReadOnlyLine(QWidget* parent = nullptr);
};

} // namespace tessivar
