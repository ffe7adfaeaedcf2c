// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/SpeedLimit/SpeedLimitWindow.h"

#include "FluvaneCore/SpeedLimit.h"
#include "Tessivar/Windows/Spacing.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace fluvane {

using tessivar::qPhrase;

namespace {

namespace spacing = tessivar::spacing;

constexpr std::int64_t usual = 1'000'000;

} // namespace

SpeedLimitWindow::SpeedLimitWindow(std::optional<std::int64_t> limit, QWidget* parent)
    : QDialog(parent), speed_(new QLineEdit) {
    setObjectName("speed-limit");
    setWindowTitle(qPhrase("Speed Limit"));
    speed_->setObjectName("speed");
    speed_->setAccessibleName(qPhrase("Speed limit in megabytes per second"));
    speed_->setPlaceholderText(qPhrase("like 5 or 0.5"));
    speed_->setText(QString::fromStdString(speedLimit::typed(limit.value_or(usual))));
    speed_->selectAll();

    auto* const label = new QLabel(qPhrase("Most that all downloads &together may take"));
    label->setBuddy(speed_);
    auto* const row = new QHBoxLayout;
    row->setSpacing(spacing::medium);
    row->addWidget(speed_, 1);
    row->addWidget(new QLabel(qPhrase("MB/s")));
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Cancel);
    auto* const set = buttons->addButton(qPhrase("&Set Limit"), QDialogButtonBox::AcceptRole);
    set->setObjectName("set");
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(speed_, &QLineEdit::textChanged, set, [this, set] { set->setEnabled(typed().has_value()); });
    connect(this, &QDialog::accepted, this, [this] {
        if (const auto speed = typed()) {
            Q_EMIT chosen(*speed);
        }
    });

    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(spacing::margin, spacing::margin, spacing::margin, spacing::margin);
    layout->setSpacing(spacing::medium);
    layout->addWidget(label);
    layout->addLayout(row);
    layout->addSpacing(spacing::medium);
    layout->addWidget(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    set->setDefault(true); // once it has a dialog to be the default of
}

std::optional<std::int64_t> SpeedLimitWindow::typed() const {
    return speedLimit::parsed(speed_->text().trimmed().toStdString());
}

} // namespace fluvane
