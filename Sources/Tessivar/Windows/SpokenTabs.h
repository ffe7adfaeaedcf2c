// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QAccessibleWidget>

#include <vector>

class QTabBar;

namespace tessivar {

/// A bar of tabs for screen readers: under its own name, with the current tab as the selected one, which has
/// the focus only while the bar has it.
class SpokenTabs : public QAccessibleWidget {
public:
    explicit SpokenTabs(QTabBar& bar);
    SpokenTabs(const SpokenTabs&) = delete;
    SpokenTabs& operator=(const SpokenTabs&) = delete;

    [[nodiscard]] int childCount() const override;
    [[nodiscard]] QAccessibleInterface* child(int index) const override;
    [[nodiscard]] int indexOfChild(const QAccessibleInterface* child) const override;
    [[nodiscard]] QAccessibleInterface* childAt(int x, int y) const override;
    [[nodiscard]] QAccessibleInterface* focusChild() const override;

protected:
    ~SpokenTabs() override;

private:
    QTabBar& bar_;
    mutable std::vector<QAccessible::Id> tabs_;
};

} // namespace tessivar
