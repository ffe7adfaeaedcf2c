// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Tray/RunningActions.h"

#include "FluvaneCore/Words.h"
#include "Tessivar/Windows/ScreenState.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QFontMetrics>
#include <QMenu>

#include <algorithm>
#include <utility>

namespace fluvane {

using tessivar::qPhraseIn;
using tessivar::qPhrases;

namespace {

/// Pixels for a name, so that a long one doesn't make the menu as wide as the screen.
constexpr int widestName = 260;

/// Sets an action apart from what it says already: every change is sent to the panel.
void setText(QAction& action, const QString& text) {
    if (action.text() != text) {
        action.setText(text);
    }
}

/// A name written from right to left stays in its place, and what follows it on its right.
QString isolated(const QString& name) {
    constexpr QChar leftToRightMark(0x200e);
    constexpr QChar isolate(0x2068);
    constexpr QChar endOfIsolate(0x2069);
    const bool turns = std::ranges::any_of(name, [](QChar character) {
        return character.direction() == QChar::DirR || character.direction() == QChar::DirAL;
    });
    return turns ? leftToRightMark + (isolate + name) + endOfIsolate : name;
}

const Download* find(const std::vector<const Download*>& downloads, DownloadID id) {
    const auto found =
        std::ranges::find(downloads, id, [](const Download* download) { return download->id(); });
    return found == downloads.end() ? nullptr : *found;
}

} // namespace

RunningActions::RunningActions(QMenu& menu, std::function<void(std::optional<DownloadID>)> chosen) {
    for (std::size_t at = 0; at < most; ++at) {
        actions_[at] = menu.addAction(QString());
        actions_[at]->setObjectName(QStringLiteral("running-%1").arg(at + 1));
        QObject::connect(actions_[at], &QAction::triggered, &menu,
                         [this, at, chosen] { chosen(shown_[at]); });
    }
    more_ = menu.addAction(QString());
    more_->setObjectName(QStringLiteral("running-more"));
    QObject::connect(more_, &QAction::triggered, &menu, [chosen] { chosen(std::nullopt); });
}

void RunningActions::update(const List& list, bool keepPlaces) {
    assign(list.running, keepPlaces);
    std::size_t listed = 0;
    for (std::size_t at = 0; at < most; ++at) {
        const Download* const download = shown_[at] ? find(list.all, *shown_[at]) : nullptr;
        show(*actions_[at], download);
        actions_[at]->setVisible(shown_[at].has_value());
        listed += std::ranges::find(list.running, download) == list.running.end() ? 0U : 1U;
    }
    const auto rest = list.running.size() - listed;
    setText(*more_, qPhrases("… and %1 more", "… and %1 more", rest));
    more_->setVisible(rest > 0);
}

void RunningActions::assign(const std::vector<const Download*>& running, bool keepPlaces) {
    if (!keepPlaces) {
        shown_.fill(std::nullopt);
    }
    auto place = std::find(shown_.begin(), shown_.end(), std::nullopt);
    for (const Download* download : running) {
        if (place != shown_.end() &&
            std::find(shown_.begin(), shown_.end(), download->id()) == shown_.end()) {
            *place++ = download->id();
        }
    }
}

/// What was taken off the list meanwhile keeps its last words, without a use.
void RunningActions::show(QAction& action, const Download* download) const {
    if (download) {
        setText(action, label(*download));
        // As it reads, without what is written for the panel's sake; nothing of it is sent.
        action.setProperty(tessivar::screenState::spoken, spoken(*download));
    }
    action.setEnabled(download != nullptr);
}

QString RunningActions::spoken(const Download& download) {
    return qPhraseIn("name and value", "%1: %2", words::oneLine(download.record.displayName()),
                     trayProgress(download));
}

QString RunningActions::label(const Download& download) const {
    const auto name = QString::fromStdString(words::oneLine(download.record.displayName()));
    const auto shortened = QFontMetrics(QFont()).elidedText(name, Qt::ElideMiddle, widestName);
    return qPhraseIn("name and value", "%1: %2", menuLabel(isolated(shortened), drawer_),
                     trayProgress(download));
}

} // namespace fluvane
