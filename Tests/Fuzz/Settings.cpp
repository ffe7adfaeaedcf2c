// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The file of the settings as somebody edited it, and as an import.

#include "FluvaneEngine/Config.h"
#include "Fuzz/Fuzz.h"
#include "Support/TemporaryFolder.h"
#include "TessivarCore/SettingsStore.h"

using namespace fluvane;

const fuzz::Inputs fuzz::seeds = {
    R"({"application":"Fluvane","version":"9.1","settings":{"connections":12,"connectionsPerServer":4,
"simultaneous":3,"speedLimit":9000000000000,"folder":"~/D","duplicateNames":"hyphen","keepAwake":false,"later":[{}],
"rules":[{"id":"a","match":{"site":"x"},"connections":5000000000},7,{"id":"c","match":{"kind":"video"},"folder":"~"},
{"id":"e","match":{"extensions":["Zip"]}}]}})",
    R"({"settings":{"connections":-1e99,"speedLimit":null,"simultaneous":0,"rules":{},"notifyWhenDone":true}})",
    R"({"settings":{"connections":40,"simultaneous":50,"connectionsPerServer":100,"speedLimit":1e30}})",
    R"({"settings":{"connections":5000000000,"simultaneous":-5000000000,"speedLimit":1000}})"};

/// All settings, those of other versions too.
static std::string told(const tessivar::SettingsStore<Config>& store) {
    const auto text = store.exportText();
    return text.substr(text.find("\"settings\""));
}

void fuzz::check(std::string_view input) {
    static const support::TemporaryFolder folder;
    static tessivar::SettingsStore<Config> edited(folder / "edited.json");
    static tessivar::SettingsStore<Config> importing(folder / "imported.json");
    support::writeFile(folder / "edited.json", input);
    const auto before = edited.value();
    edited.takeUpEdits();
    const bool refused = !edited.problem().empty();
    const auto& config = edited.value();
    require(!refused || config == before, "an edit that can't be used changes nothing");
    require(config.connections >= 1 && config.connections <= 16 &&
                config.connectionsPerServer >= config.connections && config.connectionsPerServer <= 32 &&
                config.simultaneous >= 1 && config.simultaneous <= 10 &&
                config.speedLimit.value_or(16'000) >= 16'000,
            "settings are within their bounds");
    require(Config::decoded(config.encoded()) == config, "settings read back");
    try {
        importing.importFrom(folder / "edited.json");
        require(!refused && told(importing) == told(edited), "an import is what the edit is");
    } catch (const std::runtime_error&) {
        require(refused && importing.value() == before, "an import that fails changes nothing");
    }
}
