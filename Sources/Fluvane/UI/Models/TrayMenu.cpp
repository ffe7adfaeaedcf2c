// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/TrayMenu.h"

#include "FluvaneCore/StateName.h"
#include "FluvaneCore/Words.h"
#include "FluvaneEngine/Abilities.h"

namespace fluvane {

namespace {

std::string flowOf(const Download& download) {
    const auto done = download.liveBytes();
    const auto size = download.record.size.value_or(0);
    return (size > 0 ? words::percent(static_cast<double>(done) / static_cast<double>(size))
                     : words::bytes(done)) +
           ", " + words::speed(download.speed());
}

} // namespace

std::string trayProgress(const Download& download) {
    const StateKind state = download.record.state.kind();
    switch (state) {
    case StateKind::downloading:
        return flowOf(download);
    case StateKind::verifying:
        return "checking the file";
    case StateKind::queued:
    case StateKind::offline:
    case StateKind::retrying:
    case StateKind::linkExpired:
    case StateKind::limitedNetwork:
    case StateKind::space:
        return "waiting";
    case StateKind::starting:
    case StateKind::paused:
    case StateKind::finishing:
    case StateKind::finished:
    case StateKind::failed:
        return std::string(stateName(state));
    }
    return {};
}

TrayMenu TrayMenu::of(const std::vector<const Download*>& downloads) {
    TrayMenu menu;
    for (const Download* download : downloads) {
        const auto& state = download->record.state;
        if (runs(state)) {
            menu.running.push_back(download);
        }
        menu.canPause = menu.canPause || fluvane::canPause(state);
        menu.canResume = menu.canResume || resumesWithAll(state);
    }
    return menu;
}

QString menuLabel(const QString& text, MenuDrawer drawer) {
    QString label = text;
    if (drawer == MenuDrawer::qt) {
        return label.replace('&', "&&");
    }
    // On the bus underscores mark mnemonics, and Qt makes one of the first "&" and no other. Panels that find
    // a mnemonic take doubled underscores for more of them.
    const auto first = label.indexOf('&');
    label.replace('_', first < 0 ? "__" : " ");
    return first < 0 ? label : label.insert(first, '&');
}

} // namespace fluvane
