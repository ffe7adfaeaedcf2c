// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/SpeedLimit/SpeedLimitMenu.h"

#include "Fluvane/UI/SpeedLimit/SpeedLimitWindow.h"
#include "FluvaneCore/Words.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QVariant>

#include <exception>
#include <utility>

namespace fluvane {

using tessivar::qPhrase;
using tessivar::qPhraseIn;

namespace {

/// As an action holds it: 0 is none.
qlonglong dataFor(std::optional<std::int64_t> limit) {
    return limit.value_or(0);
}

} // namespace

SpeedLimitMenu::SpeedLimitMenu(WindowContext& context, std::function<void(const QString&)> failed)
    : QMenu(qPhrase("Speed &Limit")), context_(context), failed_(std::move(failed)), choices_(this) {
    setObjectName("speed-limit-menu");
    addChoice(qPhraseIn("speed limit", "&None"), std::nullopt);
    addSeparator();
    for (const auto limit : Config::speedLimitChoices) {
        addChoice(QString::fromStdString(words::speed(static_cast<double>(limit))), limit);
    }
    addSeparator();
    other_ = addAction(qPhrase("&Other…"));
    other_->setObjectName("other");
    other_->setCheckable(true);
    choices_.addAction(other_);
    connect(other_, &QAction::triggered, this, &SpeedLimitMenu::askForOther);
    update();
}

SpeedLimitMenu::~SpeedLimitMenu() {
    delete window_.data();
}

QAction* SpeedLimitMenu::addChoice(const QString& text, std::optional<std::int64_t> limit) {
    auto* const action = addAction(text);
    action->setCheckable(true);
    action->setData(dataFor(limit));
    choices_.addAction(action);
    connect(action, &QAction::triggered, this, [this, limit] { set(limit); });
    return action;
}

void SpeedLimitMenu::update() {
    const auto limit = context_.manager.config().speedLimit;
    QAction* inForce = other_;
    for (auto* const action : choices_.actions()) {
        if (action != other_ && action->data().toLongLong() == dataFor(limit)) {
            inForce = action;
        }
    }
    inForce->setChecked(true);
    const auto speed = QString::fromStdString(words::speed(static_cast<double>(limit.value_or(0))));
    const auto text = inForce == other_ ? qPhrase("&Other (%1)…", speed) : qPhrase("&Other…");
    if (other_->text() != text) {
        other_->setText(text);
    }
}

void SpeedLimitMenu::set(std::optional<std::int64_t> limit) {
    try {
        auto config = context_.settings.config();
        config.speedLimit = limit;
        config.clamp();
        context_.settings.update(config);
    } catch (const std::exception& error) {
        failed_(tessivar::qKeptShown(error.what()));
    }
    update();
}

void SpeedLimitMenu::askForOther() {
    update(); // choosing it has checked it, though nothing is decided yet
    if (!window_) {
        window_ = new SpeedLimitWindow(context_.manager.config().speedLimit, parentWidget());
        window_->setAttribute(Qt::WA_DeleteOnClose);
        connect(window_, &SpeedLimitWindow::chosen, this, [this](qint64 limit) { set(limit); });
    }
    window_->show();
    window_->raise();
    window_->activateWindow();
}

} // namespace fluvane
