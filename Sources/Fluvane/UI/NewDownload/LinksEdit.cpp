// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/NewDownload/LinksEdit.h"

#include "Fluvane/Links/Links.h"
#include "Fluvane/UI/Models/DroppedData.h"

#include <QKeyEvent>
#include <QMimeData>
#include <QSet>
#include <QTextCursor>

namespace fluvane {

namespace {

constexpr qsizetype longestLine = 2000; ///< Characters, where it can be broken.
constexpr qsizetype longestWord = 8192; ///< No server takes a longer link.

bool endsLinks(QChar c) {
    return c.isSpace() || QStringView(u"\"<>`").contains(c);
}

QSet<QString> wordsOf(const QString& text) {
    const auto list = text.split(QChar('\n'), Qt::SkipEmptyParts);
    QSet<QString> found;
    for (const QString& line : list) {
        found.insert(line.trimmed());
    }
    return found;
}

/// What browsers offer beside a text tells where its links lead.
bool namesLinksOnly(const QMimeData& data, const QString& text) {
    return data.hasHtml() && !text.contains("://") && !text.contains("www.");
}

} // namespace

QString withShortLines(const QString& text) {
    QString result;
    qsizetype line = 0;
    for (const QChar c : text) {
        line = c == QChar('\n') ? 0 : line + 1;
        const bool breaks = (line > longestLine && endsLinks(c)) || line > longestWord;
        result += c;
        if (breaks) {
            result += QChar('\n');
            line = 0;
        }
    }
    return result;
}

LinksEdit::LinksEdit(QWidget* parent) : QPlainTextEdit(parent) {
    setTabChangesFocus(true);
    setAcceptDrops(false); // the window takes drops: one in the middle of a link would break it
    viewport()->setAcceptDrops(false);
}

void LinksEdit::addLinks(const std::vector<URL>& links) {
    const QSet<QString> known = wordsOf(toPlainText());
    QString added;
    for (const URL& link : links) {
        const QString line = QString::fromStdString(link.absoluteString());
        added += known.contains(line) ? QString() : line + '\n';
    }
    if (added.isEmpty()) {
        return;
    }
    QTextCursor cursor(document());
    cursor.movePosition(QTextCursor::End);
    const bool startsLine = cursor.atBlockStart();
    added.chop(1);
    added = withShortLines(added);
    cursor.insertText(startsLine ? added : '\n' + added);
    cursor.movePosition(QTextCursor::End);
    setTextCursor(cursor);
}

void LinksEdit::keyPressEvent(QKeyEvent* event) {
    const bool isEnter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (isEnter && event->modifiers() == Qt::NoModifier) {
        Q_EMIT entered();
    } else {
        QPlainTextEdit::keyPressEvent(event);
    }
}

bool LinksEdit::canInsertFromMimeData(const QMimeData* content) const {
    return mayHoldLinks(*content);
}

void LinksEdit::insertFromMimeData(const QMimeData* content) {
    const QString text = content->hasUrls() ? QString() : content->text();
    if (text.isEmpty() || text.size() > qsizetype(links::longestFile)) {
        findLinks(*content, this, [this](const std::vector<URL>& links) { Q_EMIT linksGiven(links); });
        return;
    }
    textCursor().insertText(withShortLines(text));
    ensureCursorVisible();
    if (namesLinksOnly(*content, text)) {
        findLinks(*content, this, [this](const std::vector<URL>& links) { Q_EMIT linksGiven(links); });
    }
}

} // namespace fluvane
