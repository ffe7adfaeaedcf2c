// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Windows/Appearance.h"

#include "Tessivar/Windows/Colors.h"
#include "Tessivar/Windows/Style.h"

#include <QApplication>
#include <QColor>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>
#include <QSettings>
#include <QStandardPaths>
#include <QStyle>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <utility>

namespace tessivar {

namespace {

using Role = QPalette::ColorRole;

constexpr auto bus = "org.freedesktop.DBus";
constexpr auto service = "org.freedesktop.portal.Desktop";
constexpr auto object = "/org/freedesktop/portal/desktop";
constexpr auto interface = "org.freedesktop.portal.Settings";
constexpr auto appearance = "org.freedesktop.appearance";
constexpr auto gnome = "org.gnome.desktop.interface";
constexpr unsigned preferDark = 1;
constexpr unsigned noPreference = 0;

/// What is asked for: its namespace and its name.
constexpr std::array<std::pair<const char*, const char*>, 4> settings = {{
    {appearance, "color-scheme"},
    {appearance, "accent-color"},
    {appearance, "reduced-motion"},
    {gnome, "enable-animations"},
}};

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
    const bool isPlain = qobject_cast<const Style*>(style) ||
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

/// Absent where the desktop has none: channels from 0 to 1, or something else.
std::optional<QColor> accentOf(const QVariant& value) {
    if (!value.canConvert<QDBusArgument>()) {
        return std::nullopt;
    }
    const auto argument = value.value<QDBusArgument>();
    if (argument.currentSignature() != "(ddd)") {
        return std::nullopt;
    }
    std::array<double, 3> channels{};
    argument.beginStructure();
    for (double& channel : channels) {
        argument >> channel;
    }
    argument.endStructure();
    const bool isColor = std::ranges::all_of(channels, [](double one) { return one >= 0 && one <= 1; });
    const auto at = [&channels](std::size_t i) { return static_cast<float>(channels[i]); };
    return isColor ? std::optional(QColor::fromRgbF(at(0), at(1), at(2))) : std::nullopt;
}

/// Portals of KDE don't tell it. The user's own file goes before the system's.
bool stillInKDE() {
    if (!qgetenv("XDG_CURRENT_DESKTOP").split(':').contains("KDE")) {
        return false;
    }
    for (const QString& file :
         QStandardPaths::locateAll(QStandardPaths::GenericConfigLocation, "kdeglobals")) {
        bool isNumber = false;
        const QVariant factor = QSettings(file, QSettings::IniFormat).value("KDE/AnimationDurationFactor");
        if (const double number = factor.toDouble(&isNumber); isNumber) {
            return number <= 0;
        }
    }
    return false;
}

} // namespace

Appearance::Appearance() : isOurs_(nobodyElseCares()), isStillInKDE_(stillInKDE()) {
    if (isOurs_) {
        QApplication::setPalette(light());
    }
    applyMotion();
}

void Appearance::follow(const QDBusConnection& connection) {
    // From anybody: to name the service would wait for the bus to tell its owner, and it's only a look.
    QDBusConnection to(connection);
    to.connect({}, object, interface, "SettingChanged", this, SLOT(settingChanged(QDBusMessage)));
    to.connect({}, {}, bus, "NameOwnerChanged", {service}, {}, this, SLOT(ownerChanged(QDBusMessage)));
    ask(connection);
}

void Appearance::ownerChanged(const QDBusMessage& signal) {
    if (!signal.arguments().value(2).toString().isEmpty()) {
        ask(connection());
    }
}

void Appearance::ask(const QDBusConnection& connection) {
    for (const auto& [space, name] : settings) {
        auto question = QDBusMessage::createMethodCall(service, object, interface, "Read");
        question.setArguments({QString(space), QString(name)});
        auto* const answer = new QDBusPendingCallWatcher(connection.asyncCall(question), this);
        connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer, setting = QString(name)] {
            answer->deleteLater();
            if (!answer->isError()) {
                apply(setting, answer->reply().arguments().value(0));
            }
        });
    }
}

void Appearance::settingChanged(const QDBusMessage& signal) {
    const auto told = signal.arguments();
    const auto isIt = [&told](const auto& setting) {
        return told.value(0).toString() == setting.first && told.value(1).toString() == setting.second;
    };
    if (std::ranges::any_of(settings, isIt)) {
        apply(told.value(1).toString(), told.value(2));
    }
}

void Appearance::apply(const QString& setting, const QVariant& given) {
    const QVariant value = unwrapped(given);
    bool isNumber = false;
    if (setting == "accent-color") {
        accent_ = accentOf(value);
    } else if (const auto number = value.toUInt(&isNumber); !isNumber && value.typeId() != QMetaType::Bool) {
        return;
    } else if (setting == "color-scheme") {
        isDark_ = number == preferDark;
    } else {
        (setting == "reduced-motion" ? wantsLessMotion_ : hasNoAnimations_) =
            setting == "reduced-motion" ? number != noPreference : !value.toBool();
        return applyMotion();
    }
    if (isOurs_) {
        QApplication::setPalette(accented(isDark_ ? dark() : light()));
    }
}

void Appearance::applyMotion() {
    if (auto* const style = qobject_cast<Style*>(QApplication::style())) {
        style->setMotionReduced(wantsLessMotion_ || hasNoAnimations_ || isStillInKDE_);
    }
}

/// White or black on it, whichever can be read.
QPalette Appearance::accented(QPalette palette) const {
    if (accent_) {
        for (const auto group : {QPalette::Active, QPalette::Inactive}) {
            palette.setColor(group, Role::Highlight, *accent_);
            const bool takesWhite = contrast(Qt::white, *accent_) >= 4.5;
            palette.setColor(group, Role::HighlightedText, takesWhite ? Qt::white : Qt::black);
        }
    }
    return palette;
}

QPalette Appearance::light() {
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

QPalette Appearance::dark() {
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
