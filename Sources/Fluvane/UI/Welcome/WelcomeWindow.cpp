// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Welcome/WelcomeWindow.h"

#include "Fluvane/UI/Models/FolderText.h"
#include "Fluvane/UI/Models/ToolTip.h"
#include "Tessivar/Windows/Colors.h"
#include "Tessivar/Windows/FolderDialog.h"
#include "Tessivar/Windows/Icons.h"
#include "Tessivar/Windows/ReadOnlyLine.h"
#include "Tessivar/Windows/Spacing.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QAction>
#include <QCheckBox>
#include <QEvent>
#include <QFile>
#include <QGridLayout>
#include <QIcon>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include <array>
#include <exception>

namespace fluvane {

using tessivar::marked;
using tessivar::qPhrase;

namespace spacing = tessivar::spacing;

namespace {

constexpr int pictureSize = 96;

struct Way {
    const char* icon;
    const char* text;
};
constexpr std::array ways = {
    Way{"paste",
        marked("Copy links and paste them into the Downloads window, or press New Download. Any text with "
               "links in it will do.")},
    Way{"link", marked("Drop links, text or a file full of links on the Downloads window.")},
    Way{"folder", marked("Choose Download with Fluvane in the file manager's menu of a file with links.")},
    Way{"download",
        marked("Let your browser offer what it downloads: the package fluvane-browser brings an extension "
               "for Firefox and Chromium.")},
    Way{"open",
        marked("Type fluvane add and a link in a terminal. Web pages can hand over links that begin with "
               "fluvane://, and nothing is downloaded before you say so.")},
};

QLabel* heading(const QString& text, QFont (*size)(const QFont&)) {
    auto* const label = new QLabel(text);
    label->setFont(size(label->font()));
    return label;
}

} // namespace

WelcomeWindow::WelcomeWindow(WindowContext& context, Autostart& autostart)
    : context_(context), autostart_(autostart) {
    setObjectName("welcome");
    setWindowTitle(qPhrase("Welcome to Fluvane"));
    makePage();
    changes_ = context_.settings.subscribe([this](const Config& config) { showSettings(config); });
    auto* const close = new QAction(qPhrase("Close"), this);
    close->setShortcuts({Qt::Key_Escape, QKeySequence(QKeySequence::Close)});
    connect(close, &QAction::triggered, this, &QWidget::close);
    addAction(close);
    resize(600, 520);
}

/// On a small screen the page scrolls; what has to be done stays in sight.
void WelcomeWindow::makePage() {
    auto* const content = new QWidget;
    auto* const column = new QVBoxLayout(content);
    column->setContentsMargins(spacing::margin, spacing::margin, spacing::margin, spacing::margin);
    column->setSpacing(spacing::large);
    column->addWidget(makeIntroduction());
    column->addWidget(makeChoices());
    column->addWidget(makeWays());
    column->addStretch();
    auto* const scroll = new QScrollArea;
    scroll->setWidget(content);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->setFocusPolicy(Qt::NoFocus);

    auto* const page = new QVBoxLayout(this);
    page->setContentsMargins({});
    page->setSpacing(0);
    page->addWidget(scroll, 1);
    page->addWidget(makeEnd());
}

QWidget* WelcomeWindow::makeIntroduction() {
    auto* const picture = new QLabel;
    picture->setPixmap(QIcon(":/welcome/org.fluvane.Fluvane.svg").pixmap(pictureSize));
    picture->setAccessibleName(qPhrase("Fluvane's icon"));
    auto* const text =
        new QLabel(qPhrase("Fluvane downloads files over several connections at once. It carries on "
                           "where it stopped after a pause, a restart or a lost network."));
    text->setWordWrap(true);
    auto* const box = new QWidget;
    auto* const grid = new QGridLayout(box);
    grid->setContentsMargins({});
    grid->setHorizontalSpacing(spacing::large);
    grid->setVerticalSpacing(spacing::medium);
    grid->addWidget(picture, 0, 0, 2, 1, Qt::AlignVCenter);
    grid->addWidget(heading(qPhrase("Welcome to Fluvane"), tessivar::type::greeting), 0, 1, Qt::AlignBottom);
    grid->addWidget(text, 1, 1, Qt::AlignTop);
    grid->setColumnStretch(1, 1);
    return box;
}

QWidget* WelcomeWindow::makeChoices() {
    folder_ = new tessivar::ReadOnlyLine;
    folder_->setObjectName("folder");
    folder_->setAccessibleName(qPhrase("Folder for downloads"));
    auto* const choose = new QPushButton(qPhrase("&Choose…"));
    choose->setObjectName("choose-folder");
    choose->setAccessibleName(qPhrase("Choose the folder for downloads"));
    openAtLogin_ = new QCheckBox(qPhrase("Open at &login"));
    openAtLogin_->setObjectName("open-at-login");
    waitOnHotspots_ = new QCheckBox(qPhrase("&Wait on metered connections"));
    waitOnHotspots_->setObjectName("wait-on-hotspots");
    connect(choose, &QPushButton::clicked, this, &WelcomeWindow::chooseFolder);
    connect(openAtLogin_, &QCheckBox::clicked, this, &WelcomeWindow::setAutostart);
    connect(waitOnHotspots_, &QCheckBox::clicked, this,
            [this](bool on) { change([on](Config& config) { config.waitOnHotspots = on; }); });

    auto* const box = new QWidget;
    auto* const grid = new QGridLayout(box);
    grid->setContentsMargins({});
    grid->setHorizontalSpacing(spacing::medium);
    grid->setVerticalSpacing(spacing::medium);
    grid->addWidget(heading(qPhrase("To begin with"), tessivar::type::title), 0, 0, 1, 3);
    auto* const label = new QLabel(qPhrase("&Files go to"));
    label->setBuddy(folder_);
    grid->addWidget(label, 1, 0);
    grid->addWidget(folder_, 1, 1);
    grid->addWidget(choose, 1, 2);
    grid->addWidget(openAtLogin_, 2, 0, 1, 3);
    grid->addWidget(waitOnHotspots_, 3, 0, 1, 3);
    grid->setColumnStretch(1, 1);
    return box;
}

QWidget* WelcomeWindow::makeWays() {
    auto* const box = new QWidget;
    auto* const grid = new QGridLayout(box);
    grid->setContentsMargins({});
    grid->setHorizontalSpacing(spacing::medium);
    grid->setVerticalSpacing(spacing::medium);
    grid->addWidget(heading(qPhrase("How links get here"), tessivar::type::title), 0, 0, 1, 2);
    int row = 1;
    for (const Way& way : ways) {
        icons_.push_back(new QLabel);
        auto* const text = new QLabel(qPhrase(way.text));
        text->setTextFormat(Qt::PlainText);
        text->setWordWrap(true);
        grid->addWidget(icons_.back(), row, 0, Qt::AlignTop);
        grid->addWidget(text, row++, 1);
    }
    grid->setColumnStretch(1, 1);
    drawIcons();
    return box;
}

void WelcomeWindow::drawIcons() {
    for (std::size_t i = 0; i < icons_.size(); ++i) {
        icons_[i]->setPixmap(tessivar::icon(ways[i].icon).pixmap(16));
    }
}

void WelcomeWindow::changeEvent(QEvent* event) {
    if (event->type() == QEvent::PaletteChange) {
        drawIcons();
    }
    QWidget::changeEvent(event);
}

QWidget* WelcomeWindow::makeEnd() {
    problem_ = new QLabel;
    problem_->setObjectName("problem");
    problem_->setTextFormat(Qt::PlainText);
    problem_->setWordWrap(true);
    start_ = new QPushButton(qPhrase("&Start"));
    start_->setObjectName("start");
    start_->setDefault(true);
    start_->setAutoDefault(true);
    connect(start_, &QPushButton::clicked, this, &QWidget::close);
    auto* const box = new QWidget;
    auto* const row = new QHBoxLayout(box);
    row->setContentsMargins(spacing::margin, spacing::medium, spacing::margin, spacing::margin);
    row->setSpacing(spacing::medium);
    row->addWidget(problem_, 1);
    row->addWidget(start_);
    return box;
}

void WelcomeWindow::showEvent(QShowEvent* event) {
    showSettings(context_.settings.config());
    const QSignalBlocker quiet(openAtLogin_);
    openAtLogin_->setChecked(autostart_.isOn());
    start_->setFocus();
    QWidget::showEvent(event);
}

void WelcomeWindow::showSettings(const Config& config) {
    const QString folder = QString::fromStdString(folderText(context_.manager.folder(config.folder)));
    folder_->setText(folder);
    folder_->setCursorPosition(0);
    folder_->setToolTip(plainToolTip(folder));
    waitOnHotspots_->setChecked(config.waitOnHotspots);
}

/// Where even that can't be saved, it is shown again at the next start; the window goes nonetheless.
void WelcomeWindow::closeEvent(QCloseEvent* event) {
    if (!context_.settings.config().hasCompletedOnboarding) {
        change([](Config& config) { config.hasCompletedOnboarding = true; });
        Q_EMIT firstStartEnded();
    }
    QWidget::closeEvent(event);
}

void WelcomeWindow::chooseFolder() {
    const std::string from = context_.manager.folder(context_.settings.config().folder).path();
    auto* const dialog =
        new tessivar::FolderDialog(this, qPhrase("Choose Folder"), QFile::decodeName(from.c_str()));
    connect(dialog, &QFileDialog::fileSelected, this, [this](const QString& path) {
        change([&](Config& config) { config.folder = belowHome(QFile::encodeName(path).toStdString()); });
    });
    dialog->open();
}

void WelcomeWindow::setAutostart(bool on) {
    try {
        autostart_.set(on);
        showProblem({});
    } catch (const std::exception& error) {
        showProblem(tessivar::qKeptShown(error.what()));
    }
    openAtLogin_->setChecked(autostart_.isOn());
}

void WelcomeWindow::change(const std::function<void(Config&)>& edit) {
    Config config = context_.settings.config();
    edit(config);
    try {
        context_.settings.update(config);
        showProblem({});
    } catch (const std::exception& error) {
        showProblem(tessivar::qKeptShown(error.what()));
    }
    showSettings(context_.settings.config());
}

void WelcomeWindow::showProblem(const QString& problem) {
    problem_->setText(problem);
}

} // namespace fluvane
