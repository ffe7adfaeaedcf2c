// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Windows/Style.h"

#include "Tessivar/Windows/Colors.h"
#include "Tessivar/Windows/Icons.h"
#include "Tessivar/Windows/RightToLeft.h"
#include "Tessivar/Windows/Spacing.h"
#include "TessivarPhrases/Phrases.h"

#include <QAbstractScrollArea>
#include <QComboBox>
#include <QListView>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QStyleOption>
#include <QToolButton>

#include <algorithm>

namespace tessivar {

namespace {

constexpr double shapeContrast = 3; ///< For shapes that mean something, unlike for text.
constexpr int scrollBarWidth = 10;
constexpr int shortestHandle = 32;
constexpr int motionMilliseconds = 160;

using State = QStyle::StateFlag;

bool has(const QStyleOption& option, State state) {
    return option.state & state;
}

/// On a pixel's middle, so that a line of one pixel is one.
QRectF edge(const QRect& place) {
    return QRectF(place).adjusted(0.5, 0.5, -0.5, -0.5);
}

QColor faint(const QPalette& palette, double share) {
    QColor color = palette.color(QPalette::WindowText);
    color.setAlphaF(static_cast<float>(share));
    return color;
}

QColor outline(const QPalette& palette) {
    return faint(palette, 0.22);
}

QColor accent(const QPalette& palette) {
    return palette.color(QPalette::Highlight);
}

/// A line round what has the focus, that stands out from the window and from the control.
void drawFocus(QPainter& painter, const QStyleOption& option, const QRect& place, double radius) {
    const QColor window = option.palette.color(QPalette::Window);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(readable(accent(option.palette), {window, shapeContrast}), 2));
    painter.drawRoundedRect(QRectF(place).adjusted(1, 1, -1, -1), radius - 0.5, radius - 0.5);
}

/// A button that is filled with the accent has its ring within.
void drawInnerFocus(QPainter& painter, const QStyleOption& option, const QRect& place) {
    const QColor window = option.palette.color(QPalette::Window);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(readable(window, {accent(option.palette), shapeContrast}), 1.5));
    painter.drawRoundedRect(QRectF(place).adjusted(3, 3, -3, -3), radius::control - 2, radius::control - 2);
}

/// A pointer over it and a press are seen on any ground.
void drawButton(QPainter& painter, const QStyleOption& option, bool isFlat, bool isPrimary) {
    const bool pressed = has(option, State::State_Sunken) || has(option, State::State_On);
    const bool hovered = has(option, State::State_MouseOver) && has(option, State::State_Enabled);
    const bool strong = isPrimary && has(option, State::State_Enabled);
    if (!isFlat) {
        painter.setPen(strong ? QPen(Qt::NoPen) : QPen(outline(option.palette)));
        painter.setBrush(strong ? accent(option.palette) : option.palette.color(QPalette::Button));
        painter.drawRoundedRect(edge(option.rect), radius::control, radius::control);
    }
    if (pressed || hovered) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(faint(option.palette, pressed ? 0.16 : 0.08));
        painter.drawRoundedRect(option.rect, radius::control, radius::control);
    }
}

void drawField(QPainter& painter, const QStyleOption& option) {
    const bool focused = has(option, State::State_HasFocus) && has(option, State::State_Enabled);
    const QColor ground = option.palette.color(QPalette::Window);
    painter.setBrush(option.palette.color(QPalette::Base));
    painter.setPen(has(option, State::State_Enabled) ? readable(ground, {ground, shapeContrast})
                                                     : outline(option.palette));
    painter.drawRoundedRect(edge(option.rect), radius::control, radius::control);
    if (focused) {
        drawFocus(painter, option, option.rect, radius::control);
    }
}

/// Round a text or a list, whose square content ends before the corners begin.
void drawFrame(QPainter& painter, const QStyleOption& option) {
    const bool focused = has(option, State::State_HasFocus) && has(option, State::State_Enabled);
    const QColor window = option.palette.color(QPalette::Window);
    painter.setPen(focused ? QPen(readable(accent(option.palette), {window, shapeContrast}), 2)
                           : QPen(outline(option.palette)));
    painter.setBrush(option.palette.color(QPalette::Base));
    const double inset = focused ? 1 : 0.5;
    painter.drawRoundedRect(QRectF(option.rect).adjusted(inset, inset, -inset, -inset), radius::mark,
                            radius::mark);
}

/// A picture of one colour in another one.
QIcon recolored(const QIcon& icon, const QSize& size, double scale, const QColor& color) {
    QPixmap picture = icon.pixmap(size, scale);
    QPainter painter(&picture);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(picture.rect(), color);
    return picture;
}

QPainterPath checkMark(const QRectF& box) {
    const auto at = [&box](double x, double y) {
        return QPointF(box.left() + x * box.width(), box.top() + y * box.height());
    };
    QPainterPath path(at(0.24, 0.53));
    path.lineTo(at(0.43, 0.72));
    path.lineTo(at(0.77, 0.31));
    return path;
}

/// A check box or the button of a choice: an outline, or filled once it is chosen.
void drawIndicator(QPainter& painter, const QStyleOption& option, bool isRound) {
    const bool usable = has(option, State::State_Enabled);
    const QColor ground = option.palette.color(QPalette::Window);
    const QColor line = readable(ground, {ground, usable ? shapeContrast : shapeContrast / 2});
    const bool chosen = has(option, State::State_On) || has(option, State::State_NoChange);
    const QColor fill = usable ? readable(accent(option.palette), {ground, shapeContrast}) : line;
    const QRectF box = edge(option.rect);
    const double corner = isRound ? box.width() / 2 : radius::mark;
    painter.setPen(chosen ? fill : line);
    painter.setBrush(chosen ? fill : option.palette.color(QPalette::Base));
    painter.drawRoundedRect(box, corner, corner);
    const QColor sign = readable(option.palette.color(QPalette::HighlightedText), {fill, shapeContrast});
    if (chosen && isRound) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(sign);
        painter.drawEllipse(box.center(), box.width() / 5, box.width() / 5);
    } else if (has(option, State::State_On)) {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(sign, 1.8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.drawPath(checkMark(box));
    } else if (chosen) {
        painter.setPen(QPen(sign, 1.8, Qt::SolidLine, Qt::RoundCap));
        painter.drawLine(QPointF(box.left() + box.width() * 0.27, box.center().y()),
                         QPointF(box.right() - box.width() * 0.27, box.center().y()));
    }
}

/// The same tint as a row's of the list of downloads.
void drawSelection(QPainter& painter, const QStyleOption& option) {
    const bool selected = has(option, State::State_Selected);
    if (selected || has(option, State::State_MouseOver)) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(rowTint(
            option.palette, selected ? has(option, State::State_Active) ? RowTint::selected : RowTint::resting
                                     : RowTint::hovered));
        painter.drawRoundedRect(option.rect, radius::row, radius::row);
    }
}

void drawSegment(QPainter& painter, const QStyleOption& option) {
    const bool selected = has(option, State::State_Selected);
    const bool hovered = has(option, State::State_MouseOver) && has(option, State::State_Enabled);
    if (selected || hovered) {
        const QColor window = option.palette.color(QPalette::Window);
        painter.setPen(selected ? QPen(readable(accent(option.palette), {window, shapeContrast}))
                                : QPen(Qt::NoPen));
        painter.setBrush(selected ? rowTint(option.palette, RowTint::selected) : faint(option.palette, 0.06));
        painter.drawRoundedRect(edge(option.rect), radius::control, radius::control);
    }
    if (has(option, State::State_HasFocus) && selected) {
        drawFocus(painter, option, option.rect, radius::control);
    }
}

void drawChevron(QPainter& painter, const QRect& place, const QColor& color, bool isUp) {
    const QPointF middle = QRectF(place).center();
    const double height = isUp ? -1.8 : 1.8;
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(color, 1.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPolyline(QPolygonF(
        {middle + QPointF(-3.6, -height), middle + QPointF(0, height), middle + QPointF(3.6, -height)}));
}

void drawScrollBar(QPainter& painter, const QStyleOptionSlider& option, const QRect& handle) {
    const bool held = has(option, State::State_Sunken) || has(option, State::State_MouseOver);
    const bool isHorizontal = option.orientation == Qt::Horizontal;
    const int inset = held ? 2 : 3;
    const QRectF slim = isHorizontal ? QRectF(handle).adjusted(2, inset, -2, -inset)
                                     : QRectF(handle).adjusted(inset, 2, -inset, -2);
    const double corner = std::min(slim.width(), slim.height()) / 2;
    painter.setPen(Qt::NoPen);
    const QColor ground = option.palette.color(QPalette::Base);
    painter.setBrush(readable(ground, {ground, held ? 4.5 : shapeContrast}));
    painter.drawRoundedRect(slim, corner, corner);
}

/// Views whose content ends before the bar begins reach to the edge, with the bar above them. Asked for the
/// view and for its bars.
bool overlaysBars(const QWidget* widget) {
    const bool isBar = qobject_cast<const QScrollBar*>(widget) && widget->parentWidget();
    const QWidget* const view = isBar ? widget->parentWidget()->parentWidget() : widget;
    return qobject_cast<const QListView*>(view) || qobject_cast<const QScrollArea*>(view);
}

struct Painting {
    explicit Painting(QPainter& painter) : painter_(painter) {
        painter_.save();
        painter_.setRenderHint(QPainter::Antialiasing);
    }
    ~Painting() { painter_.restore(); }
    Painting(const Painting&) = delete;
    Painting& operator=(const Painting&) = delete;

private:
    QPainter& painter_;
};

/// Of icon and text together, with what Qt puts between them.
int labelWidth(const QStyleOptionButton& button) {
    constexpr int between = 4;
    const QRect text = button.fontMetrics.boundingRect(button.rect, Qt::TextShowMnemonic, button.text);
    return button.iconSize.width() + between + text.width();
}

/// From right to left Qt puts the text beside an icon at the far end: where there is room for nothing else,
/// that is where it belongs.
bool holdsMoreThanLabel(const QStyleOptionButton& button) {
    const bool hasBoth = !button.icon.isNull() && !button.text.isEmpty();
    return hasBoth && button.direction == Qt::RightToLeft && button.rect.width() > labelWidth(button);
}

/// Of a tool button with words, within its edge: one that is seen as a button has more air in it.
int toolPadding(const QStyleOptionToolButton& button) {
    return has(button, State::State_AutoRaise) ? spacing::small : spacing::medium;
}

} // namespace

Style::Style() : QProxyStyle("Fusion") {}

void Style::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                          const QWidget* widget) const {
    const Painting painting(*painter);
    switch (element) {
    case PE_IndicatorCheckBox:
        return drawIndicator(*painter, *option, false);
    case PE_IndicatorRadioButton:
        return drawIndicator(*painter, *option, true);
    case PE_PanelButtonCommand: {
        const auto* const button = qstyleoption_cast<const QStyleOptionButton*>(option);
        const auto features = button ? button->features : QStyleOptionButton::ButtonFeatures();
        return drawButton(*painter, *option, features & QStyleOptionButton::Flat,
                          features & QStyleOptionButton::DefaultButton);
    }
    case PE_PanelButtonTool:
        return drawButton(*painter, *option, has(*option, State_AutoRaise), false);
    case PE_PanelLineEdit:
        if (const auto* const frame = qstyleoption_cast<const QStyleOptionFrame*>(option);
            frame && frame->lineWidth > 0) {
            drawField(*painter, *option);
        }
        return;
    case PE_FrameLineEdit:
        return drawField(*painter, *option);
    case PE_FrameFocusRect:
        if (const auto* const push = qobject_cast<const QPushButton*>(widget); push && push->isDefault()) {
            drawInnerFocus(*painter, *option, widget->rect());
        }
        return drawFocus(*painter, *option,
                         qobject_cast<const QToolButton*>(widget) ? widget->rect() : option->rect,
                         radius::control);
    case PE_Frame:
        return drawFrame(*painter, *option);
    case PE_FrameTabBarBase:
    case PE_PanelItemViewRow:
        return;
    case PE_PanelItemViewItem:
        return drawSelection(*painter, *option);
    default:
        painter->setRenderHint(QPainter::Antialiasing, false);
        QProxyStyle::drawPrimitive(element, option, painter, widget);
    }
}

void Style::drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                        const QWidget* widget) const {
    const Painting painting(*painter);
    if (element == CE_TabBarTabShape) {
        return drawSegment(*painter, *option);
    }
    painter->setRenderHint(QPainter::Antialiasing, false);
    if (const auto* const tab = qstyleoption_cast<const QStyleOptionTab*>(option);
        tab && element == CE_TabBarTabLabel) {
        QStyleOptionTab plain = *tab;
        plain.state.setFlag(State_HasFocus, false); // it is round the whole tab
        return QProxyStyle::drawControl(element, &plain, painter, widget);
    }
    if (const auto* const button = qstyleoption_cast<const QStyleOptionButton*>(option);
        button && element == CE_PushButtonLabel && holdsMoreThanLabel(*button)) {
        QStyleOptionButton label = *button;
        label.rect.setWidth(labelWidth(*button));
        label.rect.moveCenter(button->rect.center());
        return drawControl(element, &label, painter, widget);
    }
    if (const auto* const button = qstyleoption_cast<const QStyleOptionButton*>(option);
        button && element == CE_PushButtonLabel && (button->features & QStyleOptionButton::DefaultButton) &&
        has(*button, State_Enabled)) {
        QStyleOptionButton primary = *button;
        const QColor on = primary.palette.color(QPalette::HighlightedText);
        primary.palette.setColor(QPalette::ButtonText, on);
        if (!primary.icon.isNull()) {
            primary.icon =
                recolored(primary.icon, primary.iconSize, painter->device()->devicePixelRatioF(), on);
        }
        return QProxyStyle::drawControl(element, &primary, painter, widget);
    }
    if (const auto* const item = qstyleoption_cast<const QStyleOptionViewItem*>(option);
        item && element == CE_ItemViewItem) {
        QStyleOptionViewItem plain = *item; // a tint lets text keep its colour
        plain.palette.setColor(QPalette::HighlightedText, plain.palette.color(QPalette::Text));
        plain.state.setFlag(State_HasFocus, false);
        QProxyStyle::drawControl(element, &plain, painter, widget);
        if (has(*item, State_HasFocus) && has(*item, State_KeyboardFocusChange)) {
            painter->setRenderHint(QPainter::Antialiasing);
            drawFocus(*painter, *item, item->rect, radius::row);
        }
        return;
    }
    if (const auto* const entry = qstyleoption_cast<const QStyleOptionMenuItem*>(option);
        entry && element == CE_MenuItem && entry->menuItemType != QStyleOptionMenuItem::Separator) {
        QStyleOptionMenuItem plain = *entry;
        QStyleOption ground = *option;
        ground.rect = option->rect.adjusted(spacing::small, 0, -spacing::small, 0);
        ground.state.setFlag(State_Active);
        ground.state.setFlag(State_MouseOver, false);
        ground.state.setFlag(State_Selected, has(*option, State_Selected) && has(*option, State_Enabled));
        painter->setRenderHint(QPainter::Antialiasing);
        drawSelection(*painter, ground);
        painter->setRenderHint(QPainter::Antialiasing, false);
        plain.state.setFlag(State_Selected, false);
        plain.text = withKeysInOrder(plain.text);
        return QProxyStyle::drawControl(element, &plain, painter, widget);
    }
    if (const auto* const button = qstyleoption_cast<const QStyleOptionToolButton*>(option);
        button && element == CE_ToolButtonLabel && button->toolButtonStyle == Qt::ToolButtonTextBesideIcon) {
        QStyleOptionToolButton plain = *button;
        plain.text = withoutHiddenKey(plain.text);
        const int inset = toolPadding(*button);
        plain.rect.adjust(inset, 0, -inset, 0);
        return QProxyStyle::drawControl(element, &plain, painter, widget);
    }
    if (element == CE_HeaderSection || element == CE_HeaderEmptyArea) {
        const QRect line(option->rect.left(), option->rect.bottom(), option->rect.width(), 1);
        return painter->fillRect(line, outline(option->palette));
    }
    if (element == CE_Splitter) {
        return painter->fillRect(option->rect, faint(option->palette, 0.12));
    }
    QProxyStyle::drawControl(element, option, painter, widget);
}

void Style::drawComplexControl(ComplexControl control, const QStyleOptionComplex* option, QPainter* painter,
                               const QWidget* widget) const {
    if (const auto* const slider = qstyleoption_cast<const QStyleOptionSlider*>(option);
        slider && control == CC_ScrollBar) {
        const Painting painting(*painter);
        return drawScrollBar(*painter, *slider, subControlRect(control, option, SC_ScrollBarSlider, widget));
    }
    const QColor text = option->palette.color(QPalette::ButtonText);
    if (const auto* const box = qstyleoption_cast<const QStyleOptionComboBox*>(option);
        box && control == CC_ComboBox) {
        const Painting painting(*painter);
        if (box->editable) {
            drawField(*painter, *option);
        } else {
            drawButton(*painter, *option, !box->frame, false);
            if (has(*option, State_HasFocus)) {
                drawFocus(*painter, *option, option->rect, radius::control);
            }
        }
        return drawChevron(*painter, subControlRect(control, option, SC_ComboBoxArrow, widget), text, false);
    }
    if (const auto* const box = qstyleoption_cast<const QStyleOptionSpinBox*>(option);
        box && control == CC_SpinBox) {
        const Painting painting(*painter);
        drawField(*painter, *option);
        const auto dimmed = option->palette.color(QPalette::Disabled, QPalette::ButtonText);
        const auto step = [&](SubControl part, auto flag, bool isUp) {
            drawChevron(*painter, subControlRect(control, option, part, widget),
                        box->stepEnabled & flag ? text : dimmed, isUp);
        };
        step(SC_SpinBoxUp, QAbstractSpinBox::StepUpEnabled, true);
        return step(SC_SpinBoxDown, QAbstractSpinBox::StepDownEnabled, false);
    }
    QProxyStyle::drawComplexControl(control, option, painter, widget);
}

void Style::drawItemText(QPainter* painter, const QRect& place, int flags, const QPalette& palette,
                         bool isEnabled, const QString& text, QPalette::ColorRole role) const {
    if (role == QPalette::NoRole || !isWrappedToTheLeft(flags, text)) {
        return QProxyStyle::drawItemText(painter, place, flags, palette, isEnabled, text, role);
    }
    const QPen before = painter->pen();
    painter->setPen(QPen(palette.brush(role), before.widthF()));
    drawWrapped(*painter, place, flags, text);
    painter->setPen(before);
}

QSize Style::sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& content,
                              const QWidget* widget) const {
    QSize size = QProxyStyle::sizeFromContents(type, option, content, widget);
    const int least = side::control;
    switch (type) {
    case CT_PushButton:
        return {std::max(size.width(), content.width() + 2 * spacing::large), std::max(size.height(), least)};
    case CT_ToolButton:
        if (const auto* const button = qstyleoption_cast<const QStyleOptionToolButton*>(option);
            button && button->toolButtonStyle == Qt::ToolButtonTextBesideIcon && !button->icon.isNull()) {
            const QSize text = button->fontMetrics.size(Qt::TextShowMnemonic, withoutHiddenKey(button->text));
            size.setWidth(side::control + spacing::hair + text.width() +
                          2 * (toolPadding(*button) - spacing::small));
        }
        return size.expandedTo({least, least});
    case CT_ComboBox:
    case CT_LineEdit:
    case CT_SpinBox:
        return {size.width() + spacing::small, std::max(size.height(), least)};
    case CT_TabBarTab:
        return {content.width() + spacing::medium, std::max(content.height(), least - spacing::hair)};
    case CT_MenuItem:
        return {size.width() + spacing::medium, size.height() + spacing::hair};
    default:
        return size;
    }
}

QRect Style::subControlRect(ComplexControl control, const QStyleOptionComplex* option, SubControl part,
                            const QWidget* widget) const {
    const auto* const bar = qstyleoption_cast<const QStyleOptionSlider*>(option);
    if (!bar || control != CC_ScrollBar) {
        return QProxyStyle::subControlRect(control, option, part, widget);
    }
    // All of it is the groove: no buttons at the ends.
    const bool isHorizontal = bar->orientation == Qt::Horizontal;
    const int length = isHorizontal ? bar->rect.width() : bar->rect.height();
    const std::int64_t range = std::int64_t{bar->maximum} - bar->minimum;
    const auto share = static_cast<int>(std::int64_t{length} * bar->pageStep /
                                        std::max<std::int64_t>(range + bar->pageStep, 1));
    const int handle = range > 0 ? std::clamp(share, std::min(shortestHandle, length), length) : length;
    const int start = sliderPositionFromValue(bar->minimum, bar->maximum, bar->sliderPosition,
                                              length - handle, bar->upsideDown);
    const auto along = [&](int from, int size) {
        const QRect place =
            isHorizontal ? QRect(from, 0, size, bar->rect.height()) : QRect(0, from, bar->rect.width(), size);
        return visualRect(bar->direction, bar->rect, place.translated(bar->rect.topLeft()));
    };
    switch (part) {
    case SC_ScrollBarSlider:
        return along(start, handle);
    case SC_ScrollBarGroove:
        return along(0, length);
    case SC_ScrollBarSubPage:
        return along(0, start);
    case SC_ScrollBarAddPage:
        return along(start + handle, length - start - handle);
    default:
        return {};
    }
}

QRect Style::subElementRect(SubElement element, const QStyleOption* option, const QWidget* widget) const {
    const QRect place = QProxyStyle::subElementRect(element, option, widget);
    switch (element) {
    case SE_PushButtonFocusRect:
        return option->rect;
    case SE_LineEditContents: {
        const auto* const frame = qstyleoption_cast<const QStyleOptionFrame*>(option);
        return frame && frame->lineWidth > 0 ? place.adjusted(spacing::hair, 0, -spacing::hair, 0) : place;
    }
    default:
        return place;
    }
}

int Style::pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const {
    switch (metric) {
    case PM_ScrollBarExtent:
        return scrollBarWidth;
    case PM_ScrollBarSliderMin:
        return shortestHandle;
    case PM_ScrollView_ScrollBarOverlap:
        return overlaysBars(widget) ? scrollBarWidth : 0;
    case PM_DefaultFrameWidth:
        return qobject_cast<const QAbstractScrollArea*>(widget)
                   ? spacing::hair
                   : QProxyStyle::pixelMetric(metric, option, widget);
    case PM_FocusFrameHMargin: // also before what an item shows
        return spacing::small + spacing::hair;
    case PM_IndicatorWidth:
    case PM_IndicatorHeight:
    case PM_ExclusiveIndicatorWidth:
    case PM_ExclusiveIndicatorHeight:
        return side::icon;
    case PM_CheckBoxLabelSpacing:
    case PM_RadioButtonLabelSpacing:
        return spacing::medium;
    case PM_ButtonShiftHorizontal:
    case PM_ButtonShiftVertical:
    case PM_TabBarTabShiftVertical:
    case PM_TabBarTabShiftHorizontal:
    case PM_TabBarTabOverlap:
    case PM_TabBarBaseOverlap:
    case PM_TabBarBaseHeight:
        return 0;
    case PM_TabBarTabHSpace:
        return 2 * spacing::medium;
    case PM_LayoutHorizontalSpacing:
    case PM_LayoutVerticalSpacing:
        return spacing::medium;
    case PM_LayoutLeftMargin:
    case PM_LayoutTopMargin:
    case PM_LayoutRightMargin:
    case PM_LayoutBottomMargin:
        return spacing::margin;
    case PM_MenuVMargin:
        return spacing::small;
    default:
        return QProxyStyle::pixelMetric(metric, option, widget);
    }
}

int Style::styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                     QStyleHintReturn* data) const {
    switch (hint) {
    case SH_DialogButtonBox_ButtonsHaveIcons:
    case SH_ScrollBar_LeftClickAbsolutePosition:
        return 0;
    case SH_UnderlineShortcut: // a line under a letter tears an Arabic word apart: wider than it was measured
        return isRightToLeft() ? 0 : QProxyStyle::styleHint(hint, option, widget, data);
    case SH_Widget_Animation_Duration:
        return isMotionReduced_ ? 0 : motionMilliseconds;
    case SH_ScrollBar_Transient: // what makes room for none
        return overlaysBars(widget);
    default:
        return QProxyStyle::styleHint(hint, option, widget, data);
    }
}

QIcon Style::standardIcon(StandardPixmap which, const QStyleOption* option, const QWidget* widget) const {
    switch (which) {
    case SP_MessageBoxQuestion:
    case SP_MessageBoxInformation:
        return icon("info");
    case SP_MessageBoxWarning:
    case SP_MessageBoxCritical:
        return icon("warning");
    case SP_FileDialogToParent:
        return icon("up");
    case SP_FileDialogNewFolder:
        return icon("plus");
    case SP_FileDialogListView:
        return icon("compact");
    case SP_FileDialogDetailedView:
        return icon("menu");
    case SP_ArrowBack:
        return icon(isRightToLeft() ? "right" : "left");
    case SP_ArrowForward:
        return icon(isRightToLeft() ? "left" : "right");
    default:
        return QProxyStyle::standardIcon(which, option, widget);
    }
}

/// Slim bars grow under the pointer, tabs and boxes answer to it.
void Style::polish(QWidget* widget) {
    QProxyStyle::polish(widget);
    if (qobject_cast<QScrollBar*>(widget) || qobject_cast<QComboBox*>(widget)) {
        widget->setAttribute(Qt::WA_Hover);
    }
    if (qobject_cast<QScrollBar*>(widget)) {
        widget->setAttribute(Qt::WA_OpaquePaintEvent, false); // what is below is seen
    }
}

int motionTime(const QWidget& widget) {
    return widget.style()->styleHint(QStyle::SH_Widget_Animation_Duration, nullptr, &widget);
}

} // namespace tessivar
