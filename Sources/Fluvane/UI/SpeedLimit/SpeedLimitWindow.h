// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QDialog>

#include <cstdint>
#include <optional>

class QLineEdit;

namespace fluvane {

/// Asks for a speed limit of the user's own.
class SpeedLimitWindow : public QDialog {
    Q_OBJECT

public:
    /// Bytes per second; what it starts with.
    explicit SpeedLimitWindow(std::optional<std::int64_t> limit, QWidget* parent = nullptr);

    /// Bytes per second.
    Q_SIGNAL void chosen(qint64 limit);

private:
    [[nodiscard]] std::optional<std::int64_t> typed() const;

    QLineEdit* speed_;
};

} // namespace fluvane
