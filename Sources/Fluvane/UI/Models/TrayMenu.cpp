// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/TrayMenu.h"

#include "FluvaneCore/Words.h"
#include "FluvaneEngine/Abilities.h"
#include "TessivarPhrases/Phrases.h"

namespace fluvane {

using tessivar::phraseIn;

namespace {

std::string flowOf(const Download& download) {
    const auto done = download.liveBytes();
    const auto size = download.record.size.value_or(0);
    return (size > 0 ? words::percent(static_cast<double>(done) / static_cast<double>(size))
                     : words::bytes(done)) +
           phraseIn("between items of a list", ", ") + words::speed(download.speed());
}

} // namespace

std::string trayProgress(const Download& download) {
    const StateKind state = download.record.state.kind();
    return state == StateKind::downloading ? flowOf(download) : words::stateAfterName(state);
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
