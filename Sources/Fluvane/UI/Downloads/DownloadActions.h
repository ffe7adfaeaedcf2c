// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Models/WindowContext.h"
#include "FluvaneEngine/Abilities.h"

#include <QAction>
#include <QObject>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class QMenu;
class QWidget;

namespace fluvane {

class GoneFiles;

/// What can be done with the selected downloads, as actions that are there exactly when they apply to at
/// least one of them; each is done with those it applies to.
class DownloadActions : public QObject {
    Q_OBJECT

public:
    using IDs = std::vector<DownloadID>;

    /// The window is what questions are asked over; it owns the actions.
    DownloadActions(WindowContext& context, QWidget& window);

    /// Of the selection as it stands now: called when it changes and when downloads do.
    void update(const IDs& selected);
    /// In the order of menus and toolbars; a null stands for a separator.
    [[nodiscard]] const std::vector<QAction*>& all() const { return order_; }

    /// Space: carries on with what has stopped; when nothing has, pauses what runs.
    /// With the finished files going to the wastebasket. What can't be moved there stays on the list.
    void removeWithFiles();
    /// Can be undone for some seconds.
    void remove();
    /// The same for others than those selected.
    void remove(const IDs& ids);
    /// For a row of buttons that keep their places: in their order, without those that share a place with
    /// one; a null separates.
    [[nodiscard]] std::vector<QAction*> tools() const;
    /// The one that takes an action's place while only that one applies; null where there is none.
    [[nodiscard]] QAction* insteadOf(const QAction* action) const;

    /// Some are off the list now, on the user's word.
    Q_SIGNAL void removed();
    /// Something that can't be seen was done: a sentence that says what.
    Q_SIGNAL void done(const QString& sentence);

private:
    using Check = std::function<bool(const Download&)>;
    [[nodiscard]] Abilities offered(const Download& download) const;
    [[nodiscard]] Check having(bool Abilities::*ability) const;
    QAction* make(const char* name, const QString& text, const char* icon, void (DownloadActions::*run)());
    [[nodiscard]] std::vector<const Download*> those(const Check& check) const;
    [[nodiscard]] IDs numbers(const Check& check) const;
    void nameResume(std::string_view label);

    void pause();
    void resume();
    void next();
    void prioritize();
    void stopPrioritizing();
    void changeLink();
    void editChecksum();
    void rename();
    void stopMoving();
    void changeFolder();
    void copyLinks();
    void open();
    void show();
    struct Question {
        QString text;
        QString explanation;
        QString yes; ///< What its button says.
    };
    void ask(const Question& question, std::function<void()> agreed);
    void discard(const IDs& ids);
    struct Discarding;
    static void discarded(WindowContext& context, Discarding& work, DownloadID id,
                          const std::optional<std::string>& error);
    void tell(const Discarding& work);

    WindowContext& context_;
    QWidget& window_;
    GoneFiles& gone_;
    IDs selected_;
    std::vector<QAction*> order_;
    QAction* pause_;
    QAction* resume_;
    QAction* next_;
    QAction* prioritize_;
    QAction* stopPrioritizing_;
    QAction* changeLink_;
    QAction* checksum_;
    QAction* rename_;
    QAction* stopMoving_;
    QAction* changeFolder_;
    QAction* copy_;
    QAction* open_;
    QAction* show_;
    QAction* remove_;
    QAction* removeFile_;
};

} // namespace fluvane
