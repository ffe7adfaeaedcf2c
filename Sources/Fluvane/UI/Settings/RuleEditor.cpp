// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Settings/RuleEditor.h"

#include "Fluvane/UI/Settings/FolderButton.h"
#include "Fluvane/UI/Settings/Form.h"
#include "FluvaneEngine/Config.h"
#include "Tessivar/Windows/Spacing.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QAccessible>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QUuid>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace fluvane {

using tessivar::qPhrase;

namespace spacing = tessivar::spacing;

namespace {

constexpr int dialogWidth = 480;

template <class Widget>
Widget* named(const char* name) {
    auto* const widget = new Widget;
    widget->setObjectName(name);
    return widget;
}

QString fromView(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QString endings(FileKind kind) {
    QStringList list;
    for (const auto extension : fileKind::extensions(kind)) {
        list.append(fromView(extension));
    }
    return list.join(' ');
}

} // namespace

RuleEditor::RuleEditor(const RuleDraft& draft, std::string id, FolderOf folderOf, QWidget* parent)
    : QDialog(parent), id_(std::move(id)), matches_(named<QComboBox>("matches")),
      kind_(named<QComboBox>("kind")), kindHint_(new tessivar::QuietLabel),
      folderHint_(new tessivar::QuietLabel), extensions_(named<QLineEdit>("extensions")),
      site_(named<QLineEdit>("site")),
      folder_(
          new FolderButton(std::move(folderOf), {.none = qPhrase("Choose"), .clear = qPhrase("No folder")})),
      limits_(named<QCheckBox>("limits")), connections_(named<QSpinBox>("connections")),
      form_(new Form(this)), problem_(new QLabel(this)) {
    setObjectName("ruleEditor");
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(id_.empty() ? qPhrase("New Rule") : qPhrase("Rule"));
    resize(dialogWidth, 0);
    build();
    fill(draft);
    connect(matches_, &QComboBox::currentIndexChanged, this, &RuleEditor::showFields);
    connect(kind_, &QComboBox::currentIndexChanged, this, &RuleEditor::showFields);
    connect(extensions_, &QLineEdit::editingFinished, this, &RuleEditor::tidyFields);
    connect(site_, &QLineEdit::editingFinished, this, &RuleEditor::tidyFields);
    connect(limits_, &QCheckBox::toggled, connections_, &QWidget::setEnabled);
}

void RuleEditor::build() {
    addFields();
    problem_->setObjectName("problem");
    problem_->setTextFormat(Qt::PlainText);
    problem_->setWordWrap(true);
    problem_->hide();
    form_->addWide(problem_);
    form_->end();
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Save | QDialogButtonBox::Cancel, this);
    buttons->setContentsMargins(spacing::margin, 0, spacing::margin, spacing::margin);
    connect(buttons, &QDialogButtonBox::accepted, this, &RuleEditor::save);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(form_, 1);
    layout->addWidget(buttons);
}

void RuleEditor::addFields() {
    matches_->addItems({qPhrase("A kind of file"), qPhrase("File name endings"), qPhrase("A site")});
    for (const FileKind kind : fileKind::all) {
        kind_->addItem(qPhrase(fileKind::name(kind)));
    }
    extensions_->setPlaceholderText(qPhrase("zip, rar"));
    site_->setPlaceholderText(qPhrase("example.com"));
    folder_->setObjectName("folder");
    limits_->setText(qPhrase("At &most"));
    limits_->setAccessibleName(qPhrase("Limit the connections"));
    connections_->setRange(1, Config::mostConnections);
    connections_->setAccessibleName(qPhrase("Most connections"));
    connections_->setEnabled(false);

    form_->addRow(qPhrase("&Rule for"), matches_);
    form_->addRow(qPhrase("&Kind"), kind_, static_cast<tessivar::QuietLabel*>(kindHint_));
    form_->addRow(qPhrase("&Endings"), extensions_, qPhrase("One or more, without dots."));
    form_->addRow(qPhrase("&Site"), site_,
                  qPhrase("A site's name or a link to it. It covers the site's subdomains, too."));
    form_->addRow(qPhrase("&Folder"), folder_, static_cast<tessivar::QuietLabel*>(folderHint_));
    form_->addRow(qPhrase("&Connections"), rowOf({limits_, connections_}),
                  qPhrase("To this site, for each download. The strictest rule counts."));
}

void RuleEditor::fill(const RuleDraft& draft) {
    matches_->setCurrentIndex(static_cast<int>(draft.matches));
    kind_->setCurrentIndex(static_cast<int>(draft.kind));
    extensions_->setText(QString::fromStdString(draft.extensions));
    site_->setText(QString::fromStdString(draft.site));
    folder_->setFolder(draft.folder);
    limits_->setChecked(draft.connections.has_value());
    connections_->setValue(draft.connections.value_or(2));
    connections_->setEnabled(limits_->isChecked());
    showFields();
}

/// Only what the chosen kind of rule asks for is there.
void RuleEditor::showFields() {
    const auto matches = static_cast<RuleDraft::Matches>(matches_->currentIndex());
    form_->setRowVisible(kind_, matches == RuleDraft::Matches::kind);
    form_->setRowVisible(extensions_, matches == RuleDraft::Matches::extensions);
    form_->setRowVisible(site_, matches == RuleDraft::Matches::site);
    form_->setRowVisible(limits_->parentWidget(), matches == RuleDraft::Matches::site);
    kindHint_->setText(endings(static_cast<FileKind>(kind_->currentIndex())));
    const QString hint = QString::fromStdString(RuleDraft::folderHint(matches));
    folderHint_->setText(hint);
    folder_->setAccessibleDescription(hint);
    problem_->hide();
    fit();
}

/// Hints are as high as their words are long in a language.
void RuleEditor::fit() {
    layout()->activate();
    resize(width(), std::max(height(), layout()->totalHeightForWidth(width())));
}

void RuleEditor::showEvent(QShowEvent* event) {
    fit();
    QDialog::showEvent(event);
}

/// A field that is left shows what the rule will hold.
void RuleEditor::tidyFields() {
    extensions_->setText(
        QString::fromStdString(RuleDraft::shownExtensions(extensions_->text().toStdString())));
    site_->setText(QString::fromStdString(RuleDraft::shownSite(site_->text().toStdString())));
}

RuleDraft RuleEditor::draft() const {
    return {.matches = static_cast<RuleDraft::Matches>(matches_->currentIndex()),
            .kind = static_cast<FileKind>(kind_->currentIndex()),
            .extensions = extensions_->text().toStdString(),
            .site = site_->text().toStdString(),
            .folder = folder_->folder(),
            .connections = limits_->isChecked() ? std::optional(connections_->value()) : std::nullopt};
}

QWidget* RuleEditor::field(RuleDraft::Field field) const {
    switch (field) {
    case RuleDraft::Field::extensions:
        return extensions_;
    case RuleDraft::Field::site:
        return site_;
    case RuleDraft::Field::folder:
        break;
    }
    return folder_;
}

void RuleEditor::save() {
    const RuleDraft wanted = draft();
    if (const auto problem = wanted.problem()) {
        say(QString::fromStdString(problem->sentence));
        field(problem->field)->setFocus();
        return;
    }
    if (id_.empty()) {
        id_ = QUuid::createUuid().toString(QUuid::WithoutBraces).toStdString();
    }
    Q_EMIT saved(wanted.rule(id_));
}

void RuleEditor::say(const QString& sentence) {
    problem_->setText(sentence);
    problem_->setAccessibleName(sentence);
    problem_->show();
    QAccessibleEvent event(problem_, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}

} // namespace fluvane
