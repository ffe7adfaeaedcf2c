// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Settings/GeneralPane.h"

#include "Fluvane/UI/Settings/Bindings.h"
#include "Fluvane/UI/Settings/LiveConfig.h"
#include "Fluvane/UI/Settings/MessageLine.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QCheckBox>
#include <QFile>
#include <QFileDialog>
#include <QPushButton>
#include <QSignalBlocker>

#include <exception>

namespace fluvane {

using tessivar::qPhrase;

namespace {

QCheckBox* named(const char* name, const QString& text, QWidget* parent) {
    auto* const box = new QCheckBox(text, parent);
    box->setObjectName(name);
    return box;
}

QPushButton* button(const char* name, const QString& text) {
    auto* const made = new QPushButton(text);
    made->setObjectName(name);
    return made;
}

QFileDialog* fileDialog(QWidget* parent, const QString& title) {
    auto* const dialog = new QFileDialog(parent, title, QDir::homePath());
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setNameFilters({qPhrase("Settings (*.json)"), qPhrase("All files (*)")});
    return dialog;
}

std::string bytes(const QString& path) {
    return QFile::encodeName(path).toStdString();
}

} // namespace

GeneralPane::GeneralPane(WindowContext& context, LiveConfig& live, Autostart& autostart, MessageLine& message)
    : context_(context), live_(live), autostart_(autostart), message_(message),
      atLogin_(named("openAtLogin", qPhrase("Open Fluvane at &login"), this)) {
    addButton(atLogin_, qPhrase("It starts in the background and carries on with your downloads."));
    connect(atLogin_, &QCheckBox::toggled, this, &GeneralPane::setAutostart);
    addSwitches();
    addBrowserChoices();
    addFileButtons();
    end();
}

void GeneralPane::addSwitches() {
    auto* const notify = named("notifyWhenDone", qPhrase("&Notify me when downloads are done"), this);
    addButton(notify, qPhrase("Also when one needs you, for example because its link expired."));
    bind(notify, live_, &Config::notifyWhenDone);
    auto* const awake = named("keepAwake", qPhrase("&Keep the computer awake while downloads run"), this);
    addButton(awake, qPhrase("The screen may still turn off. If the computer does sleep, downloads carry on "
                             "afterwards."));
    bind(awake, live_, &Config::keepAwake);
    auto* const hotspots = named("waitOnHotspots", qPhrase("&Wait on metered connections"), this);
    addButton(hotspots,
              qPhrase("Downloads wait while you're on a phone's hotspot or another connection that is "
                      "paid for by its use. You can resume single ones anyway."));
    bind(hotspots, live_, &Config::waitOnHotspots);
}

void GeneralPane::addBrowserChoices() {
    addHeading(qPhrase("Browser"));
    auto* const atOnce = named("startOffersAtOnce", qPhrase("Start what &my browser offers at once"), this);
    addButton(atOnce, qPhrase("Without it a small window asks first. Whatever happens, the file arrives "
                              "here or in the browser."));
    bind(atOnce, live_, &Config::startOffersAtOnce);
    auto* const fresh =
        named("renewLinksByThemselves", qPhrase("Take &fresh links for expired ones without asking"), this);
    addButton(fresh, qPhrase("When the browser downloads the same file again from its page."));
    bind(fresh, live_, &Config::renewLinksByThemselves);
    auto* const forget = button("forgetSites", qPhrase("F&orget Choices for Sites"));
    addButton(forget, qPhrase("Which sites' downloads come here or stay in the browser without a question."));
    connect(forget, &QPushButton::clicked, this,
            [this] { live_.change([](Config& config) { config.offerSites.clear(); }); });
    live_.show(forget, [forget](const Config& config) { forget->setEnabled(!config.offerSites.empty()); });
}

void GeneralPane::addFileButtons() {
    auto* const welcome = button("showWelcome", qPhrase("Show W&elcome Again"));
    addHeading(qPhrase("Welcome"));
    addButton(welcome, qPhrase("What Fluvane does, and how to bring links in."));
    connect(welcome, &QPushButton::clicked, this, [this] { context_.windows.showWelcome(); });

    auto* const exporting = button("export", qPhrase("E&xport…"));
    auto* const importing = button("import", qPhrase("&Import…"));
    addHeading(qPhrase("All settings"));
    addWide(rowOf({exporting, importing}));
    addText(qPhrase("A file with every setting, for a backup or another computer. Importing one replaces "
                    "all settings, your rules too."));
    connect(exporting, &QPushButton::clicked, this, &GeneralPane::askWhereToExport);
    connect(importing, &QPushButton::clicked, this, &GeneralPane::askWhatToImport);
}

void GeneralPane::showEvent(QShowEvent* event) {
    Form::showEvent(event);
    showAutostart();
}

void GeneralPane::showAutostart() {
    const QSignalBlocker quiet(atLogin_);
    atLogin_->setChecked(autostart_.isOn());
}

void GeneralPane::setAutostart(bool on) {
    try {
        autostart_.set(on);
        message_.withdrawWarning();
    } catch (const std::exception& error) {
        message_.warn(tessivar::qKeptShown(error.what()));
    }
    showAutostart();
}

void GeneralPane::askWhereToExport() {
    auto* const dialog = fileDialog(this, qPhrase("Export Settings"));
    dialog->setObjectName("exportDialog");
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setDefaultSuffix("json");
    dialog->selectFile(qPhrase("Fluvane Settings.json"));
    connect(dialog, &QFileDialog::fileSelected, this, &GeneralPane::exportTo);
    dialog->open();
}

void GeneralPane::askWhatToImport() {
    auto* const dialog = fileDialog(this, qPhrase("Import Settings"));
    dialog->setObjectName("importDialog");
    dialog->setFileMode(QFileDialog::ExistingFile);
    dialog->setLabelText(QFileDialog::Accept, qPhrase("Import"));
    connect(dialog, &QFileDialog::fileSelected, this, &GeneralPane::importFrom);
    dialog->open();
}

void GeneralPane::exportTo(const QString& path) {
    try {
        live_.settings().exportTo(bytes(path));
        message_.say(qPhrase("Exported settings to %1.", path));
    } catch (const std::exception& error) {
        message_.warn(tessivar::qKeptShown(error.what()));
    }
}

void GeneralPane::importFrom(const QString& path) {
    const Config before = live_.config();
    try {
        live_.settings().importFrom(bytes(path));
        message_.offer(qPhrase("Imported settings from %1.", path),
                       {.button = qPhrase("Undo"),
                        .run = [this, before] { live_.change([&](Config& config) { config = before; }); }});
    } catch (const std::exception& error) {
        message_.warn(tessivar::qKeptShown(error.what()));
    }
}

} // namespace fluvane
