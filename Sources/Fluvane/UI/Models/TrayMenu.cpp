// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/TrayMenu.h"

#include "FluvaneCore/StateName.h"
#include "FluvaneCore/Words.h"
#include "FluvaneEngine/Abilities.h"

namespace fluvane {

namespace {

using State = DownloadState;

std::string flowOf(const Download& download) {
    const auto done = download.liveBytes();
    const auto size = download.record.size.value_or(0);
    return (size > 0 ? words::percent(static_cast<double>(done) / static_cast<double>(size))
                     : words::bytes(done)) +
           ", " + words::speed(download.speed());
}

} // namespace

std::string trayProgress(const Download& download) {
    const auto& state = download.record.state;
    if (state.is<State::Downloading>()) {
        return flowOf(download);
    }
    if (state.is<State::Verifying>()) {
        return "checking the file";
    }
    const bool waits = state.is<State::Waiting>() || state.is<State::Queued>();
    return waits ? "waiting" : std::string(stateName(state));
}

TrayMenu TrayMenu::of(const std::vector<const Download*>& downloads) {
    TrayMenu menu;
    for (const Download* download : downloads) {
        const auto& state = download->record.state;
        if (runs(state)) {
            menu.running.push_back(download);
        }
        menu.canPause = menu.canPause || abilities(*download).pause;
        menu.canResume =
            menu.canResume || state.is<State::Paused>() || state.isWaiting(State::Wait::limitedNetwork);
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
