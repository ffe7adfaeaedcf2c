// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Windows/ScreenState.h"

#include <nlohmann/json.hpp>

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAbstractSpinBox>
#include <QAccessible>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMetaEnum>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QSlider>
#include <QTabBar>
#include <QTextDocumentFragment>
#include <QTextEdit>
#include <QToolButton>

#include <algorithm>
#include <set>
#include <stdexcept>

namespace tessivar {

namespace {

using Json = nlohmann::json;

std::string withoutMnemonic(QString text) {
    text.replace("&&", QString(QChar(0)));
    text.remove('&');
    text.replace(QChar(0), '&');
    return text.toStdString();
}

Json describe(const QAction& action) {
    const QString text = action.property(screenState::spoken).toString();
    Json json = {{"text", text.isEmpty() ? withoutMnemonic(action.text()) : text.toStdString()}};
    if (!action.shortcut().isEmpty()) {
        json["shortcut"] = action.shortcut().toString(QKeySequence::PortableText).toStdString();
    }
    if (action.isCheckable()) {
        json["checked"] = action.isChecked();
    }
    return json;
}

std::string roleName(QAccessible::Role role) {
    const char* name = QMetaEnum::fromType<QAccessible::Role>().valueToKey(role);
    return name ? name : "Unknown";
}

/// Named and valued as a screen reader has it.
Json describeControl(QWidget& widget) {
    Json json = {{"enabled", widget.isEnabled()}};
    if (!widget.objectName().isEmpty()) {
        json["object"] = widget.objectName().toStdString();
    }
    QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(&widget);
    if (!interface) {
        return json;
    }
    json["role"] = roleName(interface->role());
    json["name"] = interface->text(QAccessible::Name).toStdString();
    if (const QString value = interface->text(QAccessible::Value); !value.isEmpty()) {
        json["value"] = value.toStdString();
    }
    const auto state = interface->state();
    if (state.checkable) {
        json["checked"] = bool(state.checked);
    }
    if (state.focused) {
        json["focused"] = true;
    }
    return json;
}

/// As a screen reader reads the row: cell by cell, each by the text it is given for that or else the one that
/// shows.
std::string rowText(const QAbstractItemModel& model, int row, const QModelIndex& root) {
    std::string text;
    for (int column = 0; column < model.columnCount(root); ++column) {
        const QModelIndex index = model.index(row, column, root);
        const QString spoken = index.data(Qt::AccessibleTextRole).toString();
        const QString cell = spoken.isEmpty() ? index.data().toString() : spoken;
        text += (text.empty() || cell.isEmpty() ? "" : ", ") + cell.toStdString();
    }
    return text;
}

Json describeList(const QAbstractItemView& view) {
    Json json = {{"name", view.accessibleName().toStdString()}, {"rows", Json::array()}};
    const auto* model = view.model();
    const int count = model ? model->rowCount(view.rootIndex()) : 0;
    json["count"] = count;
    if (view.hasFocus()) {
        json["focused"] = true;
    }
    for (int row = 0; row < std::min(count, screenState::mostRows); ++row) {
        const QModelIndex index = model->index(row, 0, view.rootIndex());
        Json line = {{"text", rowText(*model, row, view.rootIndex())}};
        if (view.selectionModel()->isSelected(index)) {
            line["selected"] = true;
        }
        if (const QVariant checked = index.data(Qt::CheckStateRole); checked.isValid()) {
            line["checked"] = checked.toInt() == Qt::Checked;
        }
        json["rows"].push_back(std::move(line));
    }
    return json;
}

Json describeTabs(const QTabBar& bar) {
    Json json = {{"name", bar.accessibleName().toStdString()}, {"tabs", Json::array()}};
    for (int tab = 0; tab < bar.count(); ++tab) {
        Json one = {{"text", withoutMnemonic(bar.tabText(tab))}};
        if (tab == bar.currentIndex()) {
            one["selected"] = true;
        }
        json["tabs"].push_back(std::move(one));
    }
    return json;
}

bool isControl(const QWidget& widget) {
    return qobject_cast<const QAbstractButton*>(&widget) || qobject_cast<const QLineEdit*>(&widget) ||
           qobject_cast<const QPlainTextEdit*>(&widget) || qobject_cast<const QTextEdit*>(&widget) ||
           qobject_cast<const QComboBox*>(&widget) || qobject_cast<const QAbstractSpinBox*>(&widget) ||
           qobject_cast<const QAbstractSlider*>(&widget) || qobject_cast<const QProgressBar*>(&widget);
}

/// The parts that Qt makes a control of (a combo box's list, a spin box's field, scroll bars) are told by it.
bool isPart(const QWidget& widget) {
    if (widget.objectName().startsWith("qt_") && !qobject_cast<const QLabel*>(&widget)) {
        return true;
    }
    const auto* parent = widget.parentWidget();
    return qobject_cast<const QComboBox*>(parent) || qobject_cast<const QAbstractSpinBox*>(parent) ||
           qobject_cast<const QLineEdit*>(parent) || widget.inherits("QScrollBar");
}

/// Only a label of something else has a mnemonic; a place where a word may break is not seen.
std::string plain(const QLabel& label) {
    constexpr QChar mayBreak(0x200B);
    const QString text = QString(label.text()).remove(mayBreak);
    const bool rich = label.textFormat() == Qt::RichText ||
                      (label.textFormat() == Qt::AutoText && Qt::mightBeRichText(text));
    if (rich) {
        return QTextDocumentFragment::fromHtml(text).toPlainText().toStdString();
    }
    return label.buddy() ? withoutMnemonic(text) : text.toStdString();
}

/// A widget that draws itself says in its accessible texts what it shows.
std::string drawnText(const QWidget& widget) {
    const auto name = widget.accessibleName();
    const auto description = widget.accessibleDescription();
    return (name.isEmpty() || description.isEmpty() ? name + description : name + ": " + description)
        .toStdString();
}

void addActions(const QWidget& widget, Json& actions, std::set<const QAction*>& seen) {
    for (const QAction* action : widget.actions()) {
        const bool usable = action->isEnabled() && action->isVisible() && !action->isSeparator();
        if (usable && !action->text().isEmpty() && seen.insert(action).second) {
            actions.push_back(describe(*action));
        }
    }
}

Json describeWindow(QWidget& window) {
    Json json = {{"name", window.objectName().toStdString()},
                 {"title", window.windowTitle().toStdString()},
                 {"active", window.isActiveWindow()},
                 {"texts", Json::array()},
                 {"controls", Json::array()},
                 {"lists", Json::array()},
                 {"actions", Json::array()}};
    std::set<const QAction*> seen;
    addActions(window, json["actions"], seen);
    for (QWidget* widget : window.findChildren<QWidget*>()) {
        if (!widget->isVisible() || widget->window() != &window || isPart(*widget)) {
            continue;
        }
        addActions(*widget, json["actions"], seen);
        if (const auto* list = qobject_cast<QAbstractItemView*>(widget)) {
            json["lists"].push_back(describeList(*list));
        } else if (const auto* tabs = qobject_cast<QTabBar*>(widget)) {
            json["controls"].push_back(describeTabs(*tabs));
        } else if (const auto* label = qobject_cast<QLabel*>(widget)) {
            if (!label->text().isEmpty()) {
                json["texts"].push_back(plain(*label));
            }
        } else if (isControl(*widget)) {
            json["controls"].push_back(describeControl(*widget));
        } else if (const auto text = drawnText(*widget); !text.empty()) {
            json["texts"].push_back(text);
        }
    }
    return json;
}

QWidgetList windowsOnScreen() {
    QWidgetList windows = QApplication::topLevelWidgets();
    windows.removeIf([](const QWidget* widget) {
        return !widget->isVisible() || widget->windowType() == Qt::Popup ||
               widget->windowType() == Qt::ToolTip || widget->windowType() == Qt::Desktop;
    });
    std::ranges::sort(windows, {}, [](const QWidget* window) { return window->objectName(); });
    return windows;
}

} // namespace

Json screenState::windows() {
    Json all = Json::array();
    for (QWidget* window : windowsOnScreen()) {
        all.push_back(describeWindow(*window));
    }
    return all;
}

Json screenState::menu(const QMenu& menu) {
    Json items = Json::array();
    for (const QAction* action : menu.actions()) {
        if (!action->isVisible() || action->isSeparator()) {
            continue;
        }
        Json item = describe(*action);
        item["enabled"] = action->isEnabled();
        if (const auto* inner = action->menu<QMenu*>()) {
            item["items"] = screenState::menu(*inner);
        }
        items.push_back(std::move(item));
    }
    return items;
}

std::string savePicture(const QImage& picture, const Pictures& into, const std::string& name) {
    const QString folder = QString::fromStdString(into.folder);
    const QString path = QDir(folder).filePath(QString::fromStdString(into.prefix + name) + ".png");
    if (!QDir().mkpath(folder) || !picture.save(path, "PNG")) {
        throw std::runtime_error("The picture " + path.toStdString() + " can't be written.");
    }
    return path.toStdString();
}

std::vector<std::string> drawWindows(const Pictures& into) {
    std::vector<std::string> paths;
    std::multiset<QString> names;
    for (QWidget* window : windowsOnScreen()) {
        const QString name = window->objectName().isEmpty() ? "window" : window->objectName();
        names.insert(name);
        const auto count = names.count(name);
        const QString numbered = count > 1 ? name + "-" + QString::number(count) : name;
        paths.push_back(savePicture(window->grab().toImage(), into, numbered.toStdString()));
    }
    return paths;
}

} // namespace tessivar
