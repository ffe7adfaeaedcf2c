// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QWidget>

#include <cstdint>
#include <optional>

class QComboBox;
class QLabel;
class QLineEdit;

namespace fluvane {

class LiveConfig;
struct Config;

/// The limit of all downloads together: none, one of those people mostly want, or any other, typed in MB/s.
class SpeedLimitField : public QWidget {
    Q_OBJECT

public:
    explicit SpeedLimitField(LiveConfig& live);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void show(const std::optional<std::int64_t>& limit);
    void showOther(bool shown);
    void take(int index);
    void takeTyped();
    void set(const std::optional<std::int64_t>& limit);

    LiveConfig& live_;
    QComboBox* choices_;
    QLineEdit* typed_;
    QLabel* unit_;
    bool asksOther_ = false; ///< Other was chosen, and nothing is typed yet.
};

} // namespace fluvane
