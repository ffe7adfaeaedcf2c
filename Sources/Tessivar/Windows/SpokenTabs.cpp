// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Windows/SpokenTabs.h"

#include <QPointer>
#include <QTabBar>

namespace tessivar {

namespace {

class Tab : public QAccessibleInterface, public QAccessibleActionInterface {
public:
    Tab(QTabBar& bar, int index) : bar_(&bar), index_(index) {}

    [[nodiscard]] int index() const { return index_; }

    [[nodiscard]] bool isValid() const override { return bar_ && index_ < bar_->count(); }
    [[nodiscard]] QObject* object() const override { return nullptr; }
    [[nodiscard]] QAccessibleInterface* parent() const override {
        return QAccessible::queryAccessibleInterface(bar_);
    }
    [[nodiscard]] QAccessibleInterface* child(int /*index*/) const override { return nullptr; }
    [[nodiscard]] QAccessibleInterface* childAt(int /*x*/, int /*y*/) const override { return nullptr; }
    [[nodiscard]] int childCount() const override { return 0; }
    [[nodiscard]] int indexOfChild(const QAccessibleInterface* /*child*/) const override { return -1; }
    [[nodiscard]] QAccessible::Role role() const override { return QAccessible::PageTab; }

    [[nodiscard]] QString text(QAccessible::Text kind) const override {
        return isValid() && kind == QAccessible::Name ? bar_->tabText(index_).remove('&') : QString();
    }
    void setText(QAccessible::Text /*kind*/, const QString& /*text*/) override {}

    [[nodiscard]] QRect rect() const override {
        return isValid() ? bar_->tabRect(index_).translated(bar_->mapToGlobal(QPoint(0, 0))) : QRect();
    }

    [[nodiscard]] QAccessible::State state() const override {
        QAccessible::State state;
        if (!isValid()) {
            state.invalid = true;
            return state;
        }
        state.invisible = !bar_->isVisible();
        state.disabled = !bar_->isTabEnabled(index_);
        state.focusable = true;
        state.selectable = true;
        state.selected = index_ == bar_->currentIndex();
        state.focused = state.selected && bar_->hasFocus();
        return state;
    }

    void* interface_cast(QAccessible::InterfaceType type) override {
        return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface*>(this)
                                                    : nullptr;
    }
    [[nodiscard]] QStringList actionNames() const override { return {pressAction()}; }
    void doAction(const QString& name) override {
        if (isValid() && name == pressAction()) {
            bar_->setCurrentIndex(index_);
        }
    }
    [[nodiscard]] QStringList keyBindingsForAction(const QString& /*name*/) const override { return {}; }

private:
    QPointer<QTabBar> bar_;
    int index_;
};

} // namespace

SpokenTabs::SpokenTabs(QTabBar& bar) : QAccessibleWidget(&bar, QAccessible::PageTabList), bar_(bar) {}

SpokenTabs::~SpokenTabs() {
    for (const auto id : tabs_) {
        QAccessible::deleteAccessibleInterface(id);
    }
}

int SpokenTabs::childCount() const {
    return bar_.count();
}

QAccessibleInterface* SpokenTabs::child(int index) const {
    if (index < 0 || index >= childCount()) {
        return nullptr;
    }
    while (static_cast<int>(tabs_.size()) <= index) {
        tabs_.push_back(
            QAccessible::registerAccessibleInterface(new Tab(bar_, static_cast<int>(tabs_.size()))));
    }
    return QAccessible::accessibleInterface(tabs_[static_cast<std::size_t>(index)]);
}

int SpokenTabs::indexOfChild(const QAccessibleInterface* child) const {
    const auto* const tab = dynamic_cast<const Tab*>(child);
    return tab ? tab->index() : -1;
}

QAccessibleInterface* SpokenTabs::childAt(int x, int y) const {
    return child(bar_.tabAt(bar_.mapFromGlobal(QPoint(x, y))));
}

QAccessibleInterface* SpokenTabs::focusChild() const {
    return bar_.hasFocus() ? child(bar_.currentIndex()) : nullptr;
}

} // namespace tessivar
