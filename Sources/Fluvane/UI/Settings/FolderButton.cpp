// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Settings/FolderButton.h"

#include "Fluvane/Client/DataFolders.h"
#include "Fluvane/UI/Models/FolderText.h"
#include "Fluvane/UI/Models/ToolTip.h"
#include "Tessivar/Windows/FolderDialog.h"
#include "Tessivar/Windows/Icons.h"
#include "Tessivar/Windows/RightToLeft.h"
#include "Tessivar/Windows/Spacing.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QFile>
#include <QHBoxLayout>
#include <QPushButton>
#include <QToolButton>

#include <utility>

namespace fluvane {

using tessivar::qPhrase;

namespace {

constexpr int widestText = 320;

std::string folderSetting(const QString& chosen) {
    return belowHome(dataFolders::absolutePath(QFile::encodeName(chosen).toStdString()));
}

} // namespace

FolderButton::FolderButton(FolderOf folderOf, const Texts& texts, QWidget* parent)
    : QWidget(parent), folderOf_(std::move(folderOf)), none_(texts.none), button_(new QPushButton(this)),
      clear_(new QToolButton(this)) {
    button_->setObjectName("folderButton");
    button_->setIcon(tessivar::icon("folder"));
    clear_->setObjectName("folderClear");
    clear_->setAutoRaise(true);
    clear_->setFocusPolicy(Qt::StrongFocus);
    clear_->setIcon(tessivar::icon("close"));
    clear_->setAccessibleName(texts.clear);
    clear_->setToolTip(texts.clear);
    auto* const layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(tessivar::spacing::small);
    layout->addWidget(button_);
    layout->addWidget(clear_);
    setFocusProxy(button_);
    connect(button_, &QPushButton::clicked, this, &FolderButton::ask);
    connect(clear_, &QToolButton::clicked, this, [this] { choose(std::nullopt); });
    setFolder(std::nullopt);
}

void FolderButton::setFolder(const std::optional<std::string>& folder) {
    folder_ = folder;
    const QString text = folder ? QString::fromStdString(folderText(folderOf_(folder))) : none_;
    QString shown = button_->fontMetrics().elidedText(text, Qt::ElideMiddle, widestText);
    shown.replace('&', "&&");
    button_->setText(tessivar::leftToRight(shown) + QStringLiteral("…"));
    button_->setToolTip(plainToolTip(text));
    button_->setAccessibleDescription(text);
    clear_->setVisible(folder.has_value());
}

void FolderButton::ask() {
    auto* const dialog = new tessivar::FolderDialog(this, qPhrase("Choose Folder"),
                                                    QFile::decodeName(folderOf_(folder_).path().c_str()));
    dialog->setObjectName("folderDialog");
    connect(dialog, &QFileDialog::fileSelected, this,
            [this](const QString& path) { choose(folderSetting(path)); });
    dialog->open();
}

void FolderButton::choose(const std::optional<std::string>& folder) {
    const bool wasFocused = clear_->hasFocus();
    setFolder(folder);
    if (wasFocused) {
        button_->setFocus(); // the other one is gone
    }
    Q_EMIT chosen();
}

} // namespace fluvane
