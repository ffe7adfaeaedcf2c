#include "Fluvane/UI/Models/ToolTip.h"

namespace fluvane {

QString plainToolTip(const QString& text) {
    return text.isEmpty() ? text : "<span>" + text.toHtmlEscaped() + "</span>";
}

} // namespace fluvane
