// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Ports/Offer.h"
#include "Fluvane/UI/Models/WindowContext.h"

#include <QTimer>
#include <QWidget>

#include <set>
#include <string>
#include <vector>

class QCheckBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;

namespace fluvane {

class FolderChoice;

/// Asks whether what browsers offer is downloaded here. One offer shows its name and its folder, which can be
/// changed; several are a list of which some can be chosen. Closing it leaves all to the browser.
class OfferWindow : public QWidget {
    Q_OBJECT

public:
    /// The context must outlive it.
    OfferWindow(WindowContext& context, AnswerOffer answer);

    /// All that are to be decided now.
    void setOffers(const std::vector<PendingOffer>& offers);

protected:
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void makeWidgets();
    [[nodiscard]] QWidget* makeSingle();
    [[nodiscard]] QWidget* makeButtons();
    void showSingle(const PendingOffer& offer);
    void showSeveral();
    void showButtons();
    void guard();
    void accept();
    void leave();
    [[nodiscard]] bool isWanted(const std::string& token) const;

    WindowContext& context_;
    AnswerOffer answer_;
    std::vector<PendingOffer> offers_;
    std::set<std::string> unwanted_; ///< Tokens.
    QLabel* heading_ = nullptr;
    QLabel* about_ = nullptr;
    QWidget* single_ = nullptr;
    QLineEdit* name_ = nullptr;
    FolderChoice* folder_ = nullptr;
    QListWidget* list_ = nullptr;
    QCheckBox* remember_ = nullptr;
    QPushButton* accept_ = nullptr;
    QPushButton* leave_ = nullptr;
    QTimer guard_; ///< A key that was meant for another window decides nothing.
};

} // namespace fluvane
