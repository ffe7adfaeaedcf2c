// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QWidget>

namespace fluvane {

/// A picture with a meaning: screen readers are told that it is one, with its name and description.
class Graphic : public QWidget {
    Q_OBJECT

public:
    explicit Graphic(QWidget* parent);
};

} // namespace fluvane
