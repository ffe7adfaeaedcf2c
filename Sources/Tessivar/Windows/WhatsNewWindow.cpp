// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Windows/WhatsNewWindow.h"

#include "Tessivar/Windows/Spacing.h"
#include "Tessivar/Windows/TextWindow.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QDialogButtonBox>
#include <QEvent>
#include <QFrame>
#include <QLabel>
#include <QTextBrowser>
#include <QVBoxLayout>

namespace tessivar {

namespace {

constexpr QSize usualSize{520, 420};

QString html(const QString& text) {
    QString html;
    bool inList = false;
    const auto setList = [&](bool list) {
        if (list != inList) {
            html += list ? "<ul>" : "</ul>";
            inList = list;
        }
    };
    for (const auto& line : text.split('\n', Qt::SkipEmptyParts)) {
        const bool isItem = line.startsWith("- ");
        setList(isItem);
        html += isItem ? "<li>" + qPhrase(line.mid(2).toStdString()).toHtmlEscaped() + "</li>"
                       : "<h3>" + qPhrase(line.toStdString()).toHtmlEscaped() + "</h3>";
    }
    setList(false);
    return html;
}

} // namespace

WhatsNewWindow::WhatsNewWindow(const QString& text, QWidget* parent)
    : QWidget(parent), view_(new QTextBrowser) {
    setObjectName("whats-new");
    setWindowTitle(qPhrase("What's New"));
    view_->setObjectName("text");
    view_->setAccessibleName(qPhrase("What's new"));
    view_->setOpenLinks(false);
    view_->setFrameShape(QFrame::NoFrame);
    view_->viewport()->setAutoFillBackground(false);
    view_->document()->setDocumentMargin(0);
    view_->document()->setIndentWidth(spacing::large);
    view_->document()->setDefaultStyleSheet(
        QStringLiteral("h3 { margin-top: %1px; margin-bottom: %2px } ul { margin-top: 0; margin-left: 0; "
                       "-qt-list-indent: 1 } li { margin-bottom: %3px }")
            .arg(spacing::medium)
            .arg(spacing::medium)
            .arg(spacing::small));
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(buttons, &QDialogButtonBox::rejected, this, &QWidget::close);

    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(spacing::margin, spacing::margin, spacing::margin, spacing::margin);
    layout->setSpacing(spacing::large);
    layout->addWidget(heading(qPhrase("What's New")));
    layout->addWidget(view_, 1);
    layout->addWidget(buttons);
    closeOnEscape(*this);
    resize(usualSize);
    setText(text);
}

void WhatsNewWindow::setText(const QString& text) {
    text_ = text;
    render();
}

/// Rich text keeps the colours it was made with.
void WhatsNewWindow::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        render();
    }
}

void WhatsNewWindow::render() {
    view_->setHtml(html(text_));
}

} // namespace tessivar
