// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Windows/ColorScheme.h"

#include "Tessivar/Windows/OutlinedStyle.h"

#include <QApplication>
#include <QColor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>
#include <QStyle>

#include <initializer_list>
#include <utility>

namespace tessivar {

namespace {

using Role = QPalette::ColorRole;

constexpr auto service = "org.freedesktop.portal.Desktop";
constexpr auto object = "/org/freedesktop/portal/desktop";
constexpr auto interface = "org.freedesktop.portal.Settings";
constexpr auto appearance = "org.freedesktop.appearance";
constexpr auto colorScheme = "color-scheme";
constexpr unsigned preferDark = 1;

QPalette paletteOf(std::initializer_list<std::pair<Role, QRgb>> colors, QRgb dimmed) {
    QPalette palette;
    for (const auto& [role, color] : colors) {
        palette.setColor(role, QColor(color));
    }
    for (const Role role : {Role::WindowText, Role::Text, Role::ButtonText, Role::PlaceholderText}) {
        palette.setColor(QPalette::Disabled, role, QColor(dimmed));
    }
    palette.setColor(QPalette::Disabled, Role::Highlight, palette.color(Role::Mid));
    return palette;
}

/// Whether the application's colours are the plain style's own: no platform theme has changed them.
bool nobodyElseCares() {
    const QStyle* const style = QApplication::style();
    const bool isPlain = qobject_cast<const OutlinedStyle*>(style) ||
                         (style && style->name().compare("fusion", Qt::CaseInsensitive) == 0);
    if (!isPlain) {
        return false;
    }
    const QPalette now = QApplication::palette();
    const QPalette plain = style->standardPalette();
    return now.color(Role::Window) == plain.color(Role::Window) &&
           now.color(Role::WindowText) == plain.color(Role::WindowText) &&
           now.color(Role::Base) == plain.color(Role::Base);
}

/// Portals wrap values once or twice, by their version.
QVariant unwrapped(QVariant value) {
    while (value.canConvert<QDBusVariant>()) {
        value = value.value<QDBusVariant>().variant();
    }
    return value;
}

} // namespace

ColorScheme::ColorScheme() : isOurs_(nobodyElseCares()) {
    if (isOurs_) {
        QApplication::setPalette(light());
    }
}

void ColorScheme::follow(const QDBusConnection& connection) {
    if (!isOurs_) {
        return;
    }
    // From anybody: to name the service would wait for the bus to tell its owner, and it's only a colour.
    QDBusConnection(connection)
        .connect({}, object, interface, "SettingChanged", this, SLOT(settingChanged(QDBusMessage)));
    auto question = QDBusMessage::createMethodCall(service, object, interface, "Read");
    question.setArguments({QString(appearance), QString(colorScheme)});
    auto* const answer = new QDBusPendingCallWatcher(connection.asyncCall(question), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer] {
        answer->deleteLater();
        if (!answer->isError()) {
            apply(answer->reply().arguments().value(0));
        }
    });
}

void ColorScheme::settingChanged(const QDBusMessage& signal) {
    const auto told = signal.arguments();
    if (told.value(0).toString() == appearance && told.value(1).toString() == colorScheme) {
        apply(told.value(2));
    }
}

void ColorScheme::apply(const QVariant& value) {
    bool isNumber = false;
    const auto scheme = unwrapped(value).toUInt(&isNumber);
    if (isNumber) {
        QApplication::setPalette(scheme == preferDark ? dark() : light());
    }
}

QPalette ColorScheme::light() {
    return paletteOf({{Role::Window, 0xf4f5f6},      {Role::WindowText, 0x1f2326},
                      {Role::Base, 0xffffff},        {Role::AlternateBase, 0xf7f8f9},
                      {Role::Text, 0x1f2326},        {Role::PlaceholderText, 0x656c73},
                      {Role::Button, 0xeef0f2},      {Role::ButtonText, 0x1f2326},
                      {Role::BrightText, 0xffffff},  {Role::Light, 0xffffff},
                      {Role::Midlight, 0xe3e6e9},    {Role::Mid, 0xb4bac0},
                      {Role::Dark, 0x989fa6},        {Role::Shadow, 0x6b7278},
                      {Role::Highlight, 0x1f6fb2},   {Role::HighlightedText, 0xffffff},
                      {Role::Link, 0x135fa3},        {Role::LinkVisited, 0x6b4a9c},
                      {Role::ToolTipBase, 0xffffff}, {Role::ToolTipText, 0x1f2326}},
                     0x9aa0a6);
}

QPalette ColorScheme::dark() {
    return paletteOf({{Role::Window, 0x2a2d30},      {Role::WindowText, 0xeceef0},
                      {Role::Base, 0x1e2022},        {Role::AlternateBase, 0x25282b},
                      {Role::Text, 0xeceef0},        {Role::PlaceholderText, 0x9fa6ad},
                      {Role::Button, 0x363a3e},      {Role::ButtonText, 0xeceef0},
                      {Role::BrightText, 0xffffff},  {Role::Light, 0x4a4f54},
                      {Role::Midlight, 0x40454a},    {Role::Mid, 0x53595f},
                      {Role::Dark, 0x191b1d},        {Role::Shadow, 0x101112},
                      {Role::Highlight, 0x2a6fae},   {Role::HighlightedText, 0xffffff},
                      {Role::Link, 0x79bbf2},        {Role::LinkVisited, 0xc0a5ea},
                      {Role::ToolTipBase, 0x363a3e}, {Role::ToolTipText, 0xeceef0}},
                     0x7a8187);
}

} // namespace tessivar
