#include "Tessivar/Windows/TextWindow.h"

#include <QKeySequence>
#include <QLabel>
#include <QShortcut>
#include <QWidget>

namespace tessivar {

QLabel* heading(const QString& text) {
    static constexpr double larger = 1.4;
    auto* const label = new QLabel(text);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * larger);
    font.setBold(true);
    label->setFont(font);
    return label;
}

void closeOnEscape(QWidget& window) {
    auto* const escape = new QShortcut(QKeySequence::Cancel, &window);
    QObject::connect(escape, &QShortcut::activated, &window, &QWidget::close);
}

} // namespace tessivar
