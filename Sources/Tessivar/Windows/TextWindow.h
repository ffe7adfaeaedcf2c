#pragma once

#include <QString>

class QLabel;
class QWidget;

/// What windows that show a text have in common.
namespace tessivar {

/// A title within a window.
[[nodiscard]] QLabel* heading(const QString& text);
/// Escape closes it, as it does a dialog.
void closeOnEscape(QWidget& window);

} // namespace tessivar
