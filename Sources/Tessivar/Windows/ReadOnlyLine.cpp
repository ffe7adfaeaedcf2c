// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Windows/ReadOnlyLine.h"

#include <QAccessibleWidget>

namespace tessivar {

namespace {

class Spoken : public QAccessibleWidget, public QAccessibleTextInterface {
public:
    explicit Spoken(ReadOnlyLine& line) : QAccessibleWidget(&line, QAccessible::EditableText), line_(line) {}

    [[nodiscard]] QString text(QAccessible::Text kind) const override {
        switch (kind) {
        case QAccessible::Value:
            return line_.text();
        case QAccessible::Description: // not the tool tip, which is marked up
            return line_.accessibleDescription();
        default:
            return QAccessibleWidget::text(kind);
        }
    }

    [[nodiscard]] QAccessible::State state() const override {
        auto state = QAccessibleWidget::state();
        state.readOnly = true;
        state.selectableText = true;
        return state;
    }

    void* interface_cast(QAccessible::InterfaceType type) override {
        return type == QAccessible::TextInterface ? static_cast<QAccessibleTextInterface*>(this)
                                                  : QAccessibleWidget::interface_cast(type);
    }

    [[nodiscard]] QString text(int start, int end) const override {
        return line_.text().mid(start, end - start);
    }
    [[nodiscard]] int characterCount() const override { return static_cast<int>(line_.text().size()); }
    [[nodiscard]] int cursorPosition() const override { return line_.cursorPosition(); }
    void setCursorPosition(int position) override { line_.setCursorPosition(position); }

    [[nodiscard]] int selectionCount() const override { return line_.hasSelectedText() ? 1 : 0; }
    void selection(int index, int* start, int* end) const override {
        const bool isThere = index == 0 && line_.hasSelectedText();
        *start = isThere ? line_.selectionStart() : 0;
        *end = isThere ? line_.selectionEnd() : 0;
    }
    void setSelection(int index, int start, int end) override {
        if (index == 0) {
            line_.setSelection(start, end - start);
        }
    }
    void addSelection(int start, int end) override { setSelection(0, start, end); }
    void removeSelection(int index) override {
        if (index == 0) {
            line_.deselect();
        }
    }
    void scrollToSubstring(int start, int end) override {
        setCursorPosition(end);
        setCursorPosition(start);
    }

    /// The widget keeps to itself where its letters are.
    [[nodiscard]] QRect characterRect(int /*offset*/) const override { return rect(); }
    [[nodiscard]] int offsetAtPoint(const QPoint& point) const override {
        return line_.cursorPositionAt(line_.mapFromGlobal(point));
    }
    [[nodiscard]] QString attributes(int /*offset*/, int* start, int* end) const override {
        *start = 0;
        *end = characterCount();
        return {};
    }

private:
    ReadOnlyLine& line_;
};

QAccessibleInterface* describe(const QString& /*className*/, QObject* object) {
    auto* const line = qobject_cast<ReadOnlyLine*>(object);
    return line ? new Spoken(*line) : nullptr;
}

} // namespace

ReadOnlyLine::ReadOnlyLine(QWidget* parent) : QLineEdit(parent) {
    setReadOnly(true);
    QAccessible::installFactory(describe); // once, however often it is called
}

} // namespace tessivar
