// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Ports/Autostart.h"
#include "Fluvane/UI/Models/WindowContext.h"

#include <QWidget>

#include <functional>
#include <vector>

class QCheckBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace fluvane {

/// The first start's page. Every choice applies at once; closing it, in whatever way, is the end of the first
/// start.
class WelcomeWindow : public QWidget {
    Q_OBJECT

public:
    /// What it is given must outlive it.
    WelcomeWindow(WindowContext& context, Autostart& autostart);

    /// It is closed for the first time ever.
    Q_SIGNAL void firstStartEnded();

protected:
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void makePage();
    [[nodiscard]] QWidget* makeIntroduction();
    [[nodiscard]] QWidget* makeChoices();
    [[nodiscard]] QWidget* makeWays();
    [[nodiscard]] QWidget* makeEnd();
    void drawIcons();
    void showSettings(const Config& config);
    void chooseFolder();
    void setAutostart(bool on);
    /// Where it can't be saved the window says why, and shows what stays in force.
    void change(const std::function<void(Config&)>& edit);
    void showProblem(const QString& problem);

    WindowContext& context_;
    Autostart& autostart_;
    tessivar::Subscription changes_;
    QLineEdit* folder_ = nullptr;
    QCheckBox* openAtLogin_ = nullptr;
    QCheckBox* waitOnHotspots_ = nullptr;
    QLabel* problem_ = nullptr;
    QPushButton* start_ = nullptr;
    std::vector<QLabel*> icons_; ///< Of the ways links get here.
};

} // namespace fluvane
