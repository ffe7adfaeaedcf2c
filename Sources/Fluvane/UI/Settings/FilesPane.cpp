// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Settings/FilesPane.h"

#include "Fluvane/UI/Models/FolderText.h"
#include "Fluvane/UI/Settings/FolderButton.h"
#include "Fluvane/UI/Settings/LiveConfig.h"
#include "FluvaneCore/DuplicateNaming.h"
#include "Tessivar/Windows/Spacing.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QButtonGroup>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace fluvane {

using tessivar::qPhrase;

namespace spacing = tessivar::spacing;

namespace {

constexpr std::string_view sampleName = "report.pdf";

QString fromView(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QRadioButton* choice(DuplicateNaming style, QWidget* parent) {
    const auto example = duplicateNaming::example(style, sampleName);
    auto* const button = new QRadioButton(QString::fromStdString(example), parent);
    button->setObjectName(fromView(duplicateNaming::rawValue(style)));
    return button;
}

} // namespace

FilesPane::FilesPane(LiveConfig& live) : live_(live) {
    addFolder();
    addNaming();
    end();
}

void FilesPane::addFolder() {
    const QString standard = QString::fromStdString(folderText(live_.folder(std::nullopt)));
    auto* const folder =
        new FolderButton([this](const auto& path) { return live_.folder(path); },
                         {.none = standard, .clear = qPhrase("Back to your download folder, %1", standard)});
    folder->setObjectName("folder");
    addHeading(qPhrase("Folder"));
    addRow(qPhrase("&Download to"), folder,
           qPhrase("Finished files go here, unless a rule or you choose another folder. Unfinished ones wait "
                   "there, too, with .fluvane behind their names."));
    live_.show(folder, [folder](const Config& config) { folder->setFolder(config.folder); });
    connect(folder, &FolderButton::chosen, this,
            [this, folder] { live_.change([folder](Config& config) { config.folder = folder->folder(); }); });
}

void FilesPane::addNaming() {
    addHeading(qPhrase("When %1 is there already", fromView(sampleName)));
    addText(qPhrase("When a file in the folder already has the name, the new one gets a number; nothing "
                    "is replaced."));
    auto* const choices = new QWidget(this);
    auto* const column = new QVBoxLayout(choices);
    column->setContentsMargins(0, spacing::small, 0, 0);
    column->setSpacing(spacing::medium);
    auto* const group = new QButtonGroup(choices);
    for (const DuplicateNaming style : duplicateNaming::all) {
        auto* const button = choice(style, choices);
        group->addButton(button, static_cast<int>(style));
        column->addWidget(button);
    }
    addWide(choices);
    live_.show(choices, [group](const Config& config) {
        const QSignalBlocker quiet(group);
        group->button(static_cast<int>(config.duplicateNames))->setChecked(true);
    });
    connect(group, &QButtonGroup::idToggled, this, [this](int id, bool on) {
        if (on) {
            live_.change([id](Config& config) { config.duplicateNames = static_cast<DuplicateNaming>(id); });
        }
    });
}

} // namespace fluvane
