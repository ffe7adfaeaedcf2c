// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/DroppedData.h"

#include "Fluvane/Links/Links.h"
#include "Fluvane/UI/Models/Aside.h"

#include <QMimeData>
#include <QRegularExpression>
#include <QString>

#include <algorithm>
#include <string>
#include <utility>

namespace fluvane {

namespace {

constexpr auto uriList = "text/uri-list";
constexpr auto browserLink = "text/x-moz-url"; ///< UTF-16: the link, a line feed, its title.

/// What the data says, copied so that it can be read on another thread.
struct Taken {
    links::Pasteboard pasteboard;
    QString markup;
};

std::string trimmed(const QString& line) {
    return line.trimmed().toStdString();
}

/// The list as it was handed over: a link's escapes are its own business.
std::vector<std::string> urls(const QMimeData& data) {
    std::vector<std::string> found;
    for (const QByteArray& line : data.data(uriList).split('\n')) {
        const QByteArray text = line.trimmed();
        if (!text.isEmpty() && !text.startsWith('#')) {
            found.push_back(text.toStdString());
        }
    }
    const QByteArray link = data.data(browserLink);
    if (found.empty() && !link.isEmpty()) {
        const QString text = QString::fromUtf16(reinterpret_cast<const char16_t*>(link.constData()),
                                                link.size() / qsizetype(sizeof(char16_t)));
        found.push_back(trimmed(text.section('\n', 0, 0).remove(QChar(0xFEFF))));
    }
    return found;
}

/// File managers repeat the list as text; the names of files in it are no links.
bool repeats(const QString& text, const std::vector<std::string>& urls) {
    return std::ranges::all_of(text.split('\n', Qt::SkipEmptyParts), [&](const QString& line) {
        const std::string one = trimmed(line);
        return one.empty() || one.starts_with("file:") || one.starts_with('/') ||
               std::ranges::find(urls, one) != urls.end();
    });
}

Taken take(const QMimeData& data) {
    Taken taken;
    taken.pasteboard.urls = urls(data);
    const QString text = data.hasFormat("text/plain") || taken.pasteboard.urls.empty() ? data.text() : "";
    if (taken.pasteboard.urls.empty() || !repeats(text, taken.pasteboard.urls)) {
        taken.pasteboard.text = text.toStdString();
    }
    taken.markup = data.html();
    return taken;
}

/// The values of an attribute, one a line.
QString attributes(const QString& markup, const char* name) {
    const QRegularExpression pattern(QString("<[a-z][^<>]*\\s") + name +
                                         "\\s*=\\s*(?:\"([^\"]*)\"|'([^']*)'|([^\\s>\"']+))",
                                     QRegularExpression::CaseInsensitiveOption);
    QString found;
    for (auto all = pattern.globalMatch(markup); all.hasNext();) {
        const auto match = all.next();
        found += match.captured(match.lastCapturedIndex()).replace("&amp;", "&") + '\n';
    }
    return found;
}

/// A copied piece of a page says in its text what its links are called, and where they lead in its markup.
std::vector<URL> read(const Taken& taken) {
    auto links = links::findOn(taken.pasteboard);
    for (const char* attribute : {"href", "src"}) {
        if (links.empty()) {
            links = links::find(attributes(taken.markup, attribute).toStdString());
        }
    }
    return links;
}

} // namespace

bool mayHoldLinks(const QMimeData& data) {
    return data.hasUrls() || data.hasText() || data.hasHtml() || data.hasFormat(browserLink);
}

std::vector<URL> linksIn(const QMimeData& data) {
    return read(take(data));
}

void findLinks(const QMimeData& data, QObject* context, std::function<void(std::vector<URL>)> completion) {
    aside::run(context, [taken = take(data), completion = std::move(completion)]() -> aside::Finish {
        return [completion, links = read(taken)] { completion(links); };
    });
}

} // namespace fluvane
