// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Windows/LanguageOfWindows.h"

#include "TessivarPhrases/Language.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QGuiApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

#include <cstring>

namespace tessivar {

namespace {

/// The buttons of Qt's questions, for where its own catalogue isn't installed.
class StandardButtons : public QTranslator {
public:
    using QTranslator::QTranslator;
    [[nodiscard]] bool isEmpty() const override { return false; }
    [[nodiscard]] QString translate(const char* context, const char* text, const char* /*disambiguation*/,
                                    int /*count*/) const override {
        if (std::strcmp(context, "QPlatformTheme") != 0) {
            return {};
        }
        for (const char* const known : {marked("OK"), marked("Cancel"), marked("Close"), marked("Open"),
                                        marked("Save"), marked("&Yes"), marked("&No")}) {
            if (std::strcmp(text, known) == 0) {
                return qPhrase(known);
            }
        }
        return {};
    }
};

/// Of the same language, in a country that writes numbers with ASCII's digits.
QLocale withPlainDigits(const QLocale& locale) {
    if (locale.zeroDigit() == "0") {
        return locale;
    }
    const QLocale elsewhere(locale.language(), QLocale::UnitedArabEmirates);
    return elsewhere.language() == locale.language() && elsewhere.zeroDigit() == "0" ? elsewhere
                                                                                     : QLocale::c();
}

} // namespace

void followLanguage() {
    QLocale::setDefault(withPlainDigits(QLocale::system()));
    const auto name = QString::fromStdString(language().name);
    if (name.isEmpty()) {
        return;
    }
    QGuiApplication::setLayoutDirection(isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
    auto* const buttons = new StandardButtons(qApp);
    QCoreApplication::installTranslator(buttons);
    auto* const qt = new QTranslator(qApp);
    if (qt->load("qtbase_" + name, QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
        QCoreApplication::installTranslator(qt); // asked before the other
    }
}

} // namespace tessivar
