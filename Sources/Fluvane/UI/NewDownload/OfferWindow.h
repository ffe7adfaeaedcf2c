// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Ports/Offer.h"
#include "Fluvane/UI/Models/RecentFolders.h"
#include "Fluvane/UI/Models/WindowContext.h"

#include <QTimer>
#include <QWidget>

#include <map>
#include <optional>
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
    /// What it is given must outlive it.
    OfferWindow(WindowContext& context, RecentFolders& recentFolders, AnswerOffer answer);

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
    [[nodiscard]] bool isOffered(const std::string& token) const;
    void keepTyped();
    void showDestination();

    struct Typed {
        QString name;
        std::optional<URL> folder;
    };

    WindowContext& context_;
    RecentFolders& recentFolders_;
    AnswerOffer answer_;
    std::vector<PendingOffer> offers_;
    std::set<std::string> unwanted_; ///< Tokens.
    std::map<std::string, Typed> typed_;
    QLabel* heading_ = nullptr;
    QLabel* about_ = nullptr;
    QWidget* single_ = nullptr;
    QLineEdit* name_ = nullptr;
    FolderChoice* folder_ = nullptr;
    QLabel* destination_ = nullptr;
    QListWidget* list_ = nullptr;
    QCheckBox* remember_ = nullptr;
    QPushButton* accept_ = nullptr;
    QPushButton* leave_ = nullptr;
    QTimer guard_; ///< A key that was meant for another window decides nothing.
};

} // namespace fluvane
