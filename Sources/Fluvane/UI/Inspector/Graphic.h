// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QWidget>

#include <optional>

namespace fluvane {

/// A picture with a meaning: screen readers are told that it is one, with its name, its description and its
/// value.
class Graphic : public QWidget {
    Q_OBJECT

public:
    explicit Graphic(QWidget* parent);

    /// How much of 100 it shows; none if that isn't known.
    [[nodiscard]] std::optional<int> percent() const { return percent_; }

protected:
    void setPercent(std::optional<int> percent);

private:
    std::optional<int> percent_;
};

} // namespace fluvane
