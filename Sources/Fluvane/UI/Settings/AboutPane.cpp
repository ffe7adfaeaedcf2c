// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Settings/AboutPane.h"

#include "Fluvane/UI/Settings/Bindings.h"
#include "Fluvane/UI/Settings/LiveConfig.h"
#include "Fluvane/UI/Settings/TextViewer.h"
#include "Tessivar/Windows/Icons.h"
#include "Tessivar/Windows/RightToLeft.h"
#include "Tessivar/Windows/Spacing.h"
#include "TessivarCore/AppIdentity.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QApplication>
#include <QCheckBox>
#include <QGridLayout>
#include <QPushButton>

namespace fluvane {

using tessivar::qPhrase;

namespace spacing = tessivar::spacing;

namespace {

constexpr int iconSide = 48;

QString fromBytes(const std::string& text) {
    return QString::fromStdString(text);
}

QPushButton* button(const char* name, const QString& text) {
    auto* const made = new QPushButton(text);
    made->setObjectName(name);
    return made;
}

QLabel* nameLabel(const QString& name) {
    auto* const label = new QLabel(tessivar::atOwnSide(name));
    label->setAccessibleName(name);
    label->setFont(tessivar::type::greeting(label->font()));
    label->setTextFormat(Qt::PlainText);
    return label;
}

QLabel* versionLabel(const QString& version) {
    auto* const label = new tessivar::QuietLabel(qPhrase("Version %1", version));
    label->setObjectName("version");
    label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    return label;
}

void bringUp(QWidget* window) {
    window->show();
    window->raise();
    window->activateWindow();
}

} // namespace

AboutPane::AboutPane(WindowContext& context, LiveConfig& live, const SettingsWindow::Extras& extras)
    : context_(context), live_(live), extras_(extras) {
    addIdentity();
    addUpdates();
    addLogging();
    addReports();
    addLibraries();
    end();
}

void AboutPane::addIdentity() {
    const auto& identity = tessivar::AppIdentity::current;
    auto* const block = new QWidget(this);
    auto* const grid = new QGridLayout(block);
    grid->setContentsMargins(0, 0, 0, spacing::medium);
    grid->setHorizontalSpacing(spacing::large);
    grid->setVerticalSpacing(spacing::hair);
    grid->setColumnStretch(1, 1);
    auto* const picture = new QLabel(block);
    picture->setPixmap(
        QApplication::windowIcon().pixmap(QSize(iconSide, iconSide), picture->devicePixelRatioF()));
    grid->addWidget(picture, 0, 0, 2, 1);
    grid->addWidget(nameLabel(fromBytes(identity.displayName)), 0, 1);
    grid->addWidget(versionLabel(fromBytes(identity.version)), 1, 1);
    addWide(block);
    auto* const purpose =
        new QLabel(qPhrase("A download manager that lives in the tray: files come over several "
                           "connections, and carry on where they stopped."));
    purpose->setWordWrap(true);
    addWide(purpose);
    addText(qPhrase(
        "Free software under the GNU General Public License, version 3 or later. It comes without any "
        "warranty."));
}

void AboutPane::addUpdates() {
    auto* const news = button("whatsNew", qPhrase("What's &New"));
    connect(news, &QPushButton::clicked, this, [this] { context_.windows.showWhatsNew(); });
    auto* const check = button("checkForUpdates", qPhrase("Check for &Updates"));
    check->setVisible(static_cast<bool>(extras_.checkForUpdates));
    connect(check, &QPushButton::clicked, this, [this] { extras_.checkForUpdates(); });
    auto* const page = button("projectPage", qPhrase("&Project Page"));
    const auto link = URL::parse(tessivar::AppIdentity::current.projectPage);
    page->setVisible(link.has_value());
    connect(page, &QPushButton::clicked, this, [this, link] { context_.files.open(*link); });
    addWide(rowOf({news, check, page}));
    if (!extras_.checkForUpdates) {
        addText(qPhrase("This build doesn't check for updates."));
    }
}

void AboutPane::addLogging() {
    auto* const detailed = new QCheckBox(qPhrase("&Detailed logging"));
    detailed->setObjectName("detailedLogging");
    addHeading(qPhrase("When something goes wrong"));
    addButton(detailed,
              qPhrase("Every step of every download is kept in the log. Switch it on, let the problem "
                      "happen again, and look at the log. The log may name your links and files."));
    bind(detailed, live_, &Config::detailedLogging);
}

void AboutPane::addReports() {
    auto* const log = button("showLog", qPhrase("Recent &Log…"));
    auto* const report = button("showDiagnostics", qPhrase("Dia&gnostics…"));
    auto* const crash = button("showCrashNote", qPhrase("Last C&rash…"));
    log->setVisible(static_cast<bool>(extras_.log));
    report->setVisible(static_cast<bool>(extras_.diagnostics));
    connect(log, &QPushButton::clicked, this, &AboutPane::showLog);
    connect(report, &QPushButton::clicked, this, &AboutPane::showDiagnostics);
    connect(crash, &QPushButton::clicked, this, [this] { context_.windows.showCrashNote(); });
    addWide(rowOf({log, report, crash}));
    addText(qPhrase("The diagnostics describe this computer and how Fluvane runs on it, for a bug report. "
                    "They never hold links or file names."));
}

void AboutPane::addLibraries() {
    addHeading(qPhrase("Thanks to"));
    addText(
        qPhrase("Qt (LGPL 3), libcurl (curl license), OpenSSL (Apache 2.0), utf8proc (MIT), GNU "
                "Libidn2 (LGPL 3), libpsl (MIT), JSON for Modern C++ (MIT), {fmt} (MIT) and spdlog (MIT)."));
}

void AboutPane::showLog() {
    if (!log_) {
        log_ = new TextViewer(
            {.name = "log",
             .title = qPhrase("Recent Log"),
             .explanation = qPhrase("What Fluvane did in the last 10 minutes, in UTC. It may name "
                                    "your links and files."),
             .empty = qPhrase("Nothing was logged in the last 10 minutes."),
             .fileName = qPhrase("Fluvane Log.txt")},
            extras_.log, this);
    }
    bringUp(log_);
}

void AboutPane::showDiagnostics() {
    if (!diagnostics_) {
        diagnostics_ = new TextViewer(
            {.name = "diagnostics",
             .title = qPhrase("Diagnostics"),
             .explanation = qPhrase("For a bug report. It never holds links, file names, or the "
                                    "names of users and computers."),
             .empty = qPhrase("There is nothing to report."),
             .fileName = qPhrase("Fluvane Diagnostics.txt")},
            extras_.diagnostics, this);
    }
    bringUp(diagnostics_);
}

} // namespace fluvane
