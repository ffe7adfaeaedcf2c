// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Downloads/WindowMemory.h"

#include <QSettings>

#include <algorithm>
#include <array>

namespace fluvane {

namespace {

// Names in the file, which outlive any order of the enumerations.
constexpr std::array groupNames = {"all", "running", "waiting", "paused", "attention", "finished"};
constexpr std::array<const char*, DownloadsFilter::orders> orderNames = {
    "added", "name", "size", "progress", "speed", "state", "finished"};

template <class Value, std::size_t count>
Value named(const std::array<const char*, count>& names, const QString& name, Value otherwise) {
    const auto found = std::ranges::find(names, name);
    return found == names.end() ? otherwise : static_cast<Value>(found - names.begin());
}

double share(const QSettings& settings, const char* key, double otherwise) {
    bool isNumber = false;
    const double value = settings.value(key).toDouble(&isNumber);
    return isNumber && value > 0.1 && value < 0.9 ? value : otherwise;
}

} // namespace

WindowMemory WindowMemory::load(const QString& file) {
    WindowMemory memory;
    if (file.isEmpty()) {
        return memory;
    }
    const QSettings settings(file, QSettings::IniFormat);
    memory.geometry = settings.value("geometry").toByteArray();
    memory.details = settings.value("details", memory.details).toBool();
    memory.compact = settings.value("compact", memory.compact).toBool();
    memory.besideShare = share(settings, "besideShare", memory.besideShare);
    memory.belowShare = share(settings, "belowShare", memory.belowShare);
    memory.group = named(groupNames, settings.value("filter").toString(), memory.group);
    memory.order = named(orderNames, settings.value("order").toString(), memory.order);
    memory.descending = settings.value("descending", memory.descending).toBool();
    memory.limit = std::max(settings.value("lastLimit").toLongLong(), 0LL);
    return memory;
}

void WindowMemory::save(const QString& file) const {
    if (file.isEmpty()) {
        return;
    }
    QSettings settings(file, QSettings::IniFormat);
    settings.setValue("geometry", geometry);
    settings.setValue("details", details);
    settings.setValue("compact", compact);
    settings.setValue("besideShare", besideShare);
    settings.setValue("belowShare", belowShare);
    settings.setValue("filter", groupNames[static_cast<std::size_t>(group)]);
    settings.setValue("order", orderNames[static_cast<std::size_t>(order)]);
    settings.setValue("descending", descending);
    settings.setValue("lastLimit", qlonglong{limit});
}

} // namespace fluvane
