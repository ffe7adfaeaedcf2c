// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Settings/SpeedLimitField.h"

#include "Fluvane/UI/Settings/LiveConfig.h"
#include "FluvaneCore/SpeedLimit.h"
#include "FluvaneCore/Text.h"
#include "FluvaneCore/Words.h"
#include "Tessivar/Windows/Spacing.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QComboBox>
#include <QFocusEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QSignalBlocker>

namespace fluvane {

using tessivar::qPhrase;

namespace {

constexpr int typedDigits = 10; ///< The field's width.

} // namespace

SpeedLimitField::SpeedLimitField(LiveConfig& live)
    : live_(live), choices_(new QComboBox(this)), typed_(new QLineEdit(this)),
      unit_(new QLabel(qPhrase("MB/s"), this)) {
    choices_->setObjectName("speedLimit");
    choices_->addItem(qPhrase("No limit"));
    for (const std::int64_t limit : Config::speedLimitChoices) {
        const auto text = words::speed(static_cast<double>(limit));
        choices_->addItem(QString::fromStdString(text), QVariant::fromValue<qlonglong>(limit));
    }
    choices_->addItem(qPhrase("Other…"));
    choices_->setMaxVisibleItems(choices_->count());
    typed_->setObjectName("otherSpeedLimit");
    typed_->setAccessibleName(qPhrase("Speed limit in megabytes per second"));
    typed_->setPlaceholderText(qPhrase("like 5 or 0.5"));
    typed_->setMaximumWidth(typed_->fontMetrics().horizontalAdvance('0') * typedDigits * 2);

    auto* const layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(tessivar::spacing::medium);
    layout->addWidget(choices_);
    layout->addWidget(typed_);
    layout->addWidget(unit_);
    setFocusProxy(choices_);

    live.show(this, [this](const Config& config) { show(config.speedLimit); });
    connect(choices_, &QComboBox::currentIndexChanged, this, &SpeedLimitField::take);
    typed_->installEventFilter(this);
    connect(typed_, &QLineEdit::returnPressed, this, &SpeedLimitField::takeTyped);
}

/// What is just being typed stays; it counts when it is done.
void SpeedLimitField::show(const std::optional<std::int64_t>& limit) {
    if (typed_->hasFocus() && (typed_->isModified() || asksOther_)) {
        return;
    }
    asksOther_ = false;
    const QSignalBlocker quiet(choices_);
    const int other = choices_->count() - 1;
    const int known = limit ? choices_->findData(QVariant::fromValue<qlonglong>(*limit)) : 0;
    choices_->setCurrentIndex(known < 0 ? other : known);
    typed_->setText(limit ? QString::fromStdString(speedLimit::typed(*limit)) : QString());
    showOther(known < 0);
}

void SpeedLimitField::showOther(bool shown) {
    typed_->setVisible(shown);
    unit_->setVisible(shown);
}

void SpeedLimitField::take(int index) {
    if (index < choices_->count() - 1) {
        const QVariant limit = choices_->itemData(index);
        set(limit.isValid() ? std::optional<std::int64_t>(limit.toLongLong()) : std::nullopt);
        return;
    }
    asksOther_ = true;
    showOther(true);
    typed_->setFocus();
    typed_->selectAll();
}

/// Left blank, it changes nothing. What is no speed stays to be mended while the field is there.
void SpeedLimitField::takeTyped() {
    const std::string text = typed_->text().toStdString();
    const auto limit = speedLimit::parsed(text::trimmed(text));
    if (limit) {
        typed_->setModified(false);
        asksOther_ = false;
        set(limit);
    } else if (!text::trimmed(text).empty()) {
        Q_EMIT live_.failed(qPhrase("Give a speed in MB/s, like 5 or 0.5."));
        typed_->selectAll();
    }
}

/// What was typed counts when the field is left; else what is in force is shown again.
bool SpeedLimitField::eventFilter(QObject* watched, QEvent* event) {
    if (watched == typed_ && event->type() == QEvent::FocusOut) {
        const auto reason = static_cast<QFocusEvent*>(event)->reason();
        if (reason != Qt::ActiveWindowFocusReason && reason != Qt::PopupFocusReason) {
            if (typed_->isModified()) {
                takeTyped();
            }
            typed_->setModified(false);
            asksOther_ = false;
            show(live_.config().speedLimit);
        }
    }
    return QWidget::eventFilter(watched, event);
}

void SpeedLimitField::set(const std::optional<std::int64_t>& limit) {
    live_.change([&](Config& config) { config.speedLimit = limit; });
}

} // namespace fluvane
