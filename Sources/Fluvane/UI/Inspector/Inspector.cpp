// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Inspector/Inspector.h"

#include "Fluvane/UI/Inspector/DetailsView.h"
#include "Fluvane/UI/Models/SelectionTotals.h"
#include "FluvaneCore/DetailWords.h"
#include "FluvaneCore/Words.h"
#include "Tessivar/Windows/Colors.h"
#include "Tessivar/Windows/Spacing.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QLabel>
#include <QScrollArea>
#include <QStackedLayout>
#include <QVBoxLayout>

#include <algorithm>

namespace fluvane {

using tessivar::qPhrase;
using tessivar::qPhrases;

namespace {

constexpr int leastWidth = 300;
enum Page { Hint, Several, One };

QLabel* centered(QLabel* label) {
    label->setAlignment(Qt::AlignHCenter);
    label->setWordWrap(true);
    return label;
}

/// Labels in the middle of an otherwise empty page.
QWidget* page(QWidget* parent, std::initializer_list<QLabel*> labels) {
    auto* result = new QWidget(parent);
    auto* layout = new QVBoxLayout(result);
    using tessivar::spacing::margin;
    layout->setContentsMargins(margin, margin, margin, margin);
    layout->setSpacing(tessivar::spacing::small);
    layout->addStretch(1);
    for (QLabel* label : labels) {
        layout->addWidget(centered(label));
    }
    layout->addStretch(2);
    return result;
}

void makeBold(QLabel& label) {
    label.setFont(tessivar::type::title(label.font()));
}

} // namespace

struct Inspector::Pages {
    QStackedLayout* stack;
    QLabel* count = new QLabel;
    QLabel* sizes = new QLabel;
    QLabel* speeds = new tessivar::QuietLabel;
    QScrollArea* scroll = new QScrollArea;
    DetailsView* details;
};

Inspector::Inspector(WindowContext& context) : context_(context), pages_(std::make_unique<Pages>()) {
    setObjectName("details");
    setAccessibleName(qPhrase("Details"));
    setMinimumWidth(leastWidth);
    auto& pages = *pages_;
    pages.count->setObjectName("selection-count");
    pages.sizes->setObjectName("selection-sizes");
    pages.speeds->setObjectName("selection-speed");
    makeBold(*pages.count);
    pages.stack = new QStackedLayout(this);
    auto* hint = new tessivar::QuietLabel(qPhrase("Select a download to see its details."));
    hint->setObjectName("details-hint");
    pages.stack->addWidget(page(this, {hint}));
    pages.stack->addWidget(page(this, {pages.count, pages.sizes, pages.speeds}));
    pages.details = new DetailsView(context, SpeedHistory::of(context.manager, context.feed));
    pages.scroll->setWidget(pages.details);
    pages.scroll->setAccessibleName(qPhrase("Details"));
    pages.scroll->setWidgetResizable(true);
    pages.scroll->setFrameShape(QFrame::NoFrame);
    pages.scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    pages.stack->addWidget(pages.scroll);
    connect(&context.feed, &ListFeed::changed, this, &Inspector::follow);
}

Inspector::~Inspector() = default;

void Inspector::showDownloads(const std::vector<DownloadID>& ids) {
    if (ids != ids_) {
        ids_ = ids;
        pages_->scroll->ensureVisible(0, 0);
        follow();
    }
}

void Inspector::showEvent(QShowEvent* event) {
    refresh();
    QWidget::showEvent(event);
}

void Inspector::follow() {
    if (isVisible()) {
        refresh();
    }
}

void Inspector::refresh() {
    const auto isThere = [this](DownloadID id) { return context_.manager.download(id) != nullptr; };
    const auto there = std::ranges::count_if(ids_, isThere);
    pages_->stack->setCurrentIndex(there == 0 ? Hint : there == 1 ? One : Several);
    if (there == 1) {
        pages_->details->follow(*context_.manager.download(*std::ranges::find_if(ids_, isThere)));
    } else if (there > 1) {
        showTotals();
    }
}

void Inspector::showTotals() {
    const auto totals = SelectionTotals::of(context_.manager, ids_);
    const QString speed = QString::fromStdString(words::speed(totals.speed));
    pages_->count->setText(qPhrases("%1 download selected", "%1 downloads selected", totals.count));
    pages_->sizes->setText(QString::fromStdString(
        words::together({.done = totals.done, .size = totals.size, .unknownSizes = totals.unknownSizes})));
    pages_->speeds->setText(totals.running == 0
                                ? qPhrase("None of them is running")
                                : qPhrases("%1 running, %2", "%1 running, %2", totals.running, speed));
}

} // namespace fluvane
