// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Scrubber.h"

#include "TessivarCore/AppIdentity.h"
#include "TessivarCore/FileSystem.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <set>

namespace tessivar {

namespace {

using Words = std::set<std::string, std::less<>>;

constexpr const char* cut = "…";
constexpr const char* joint = ": ";

/// What our own messages are made of, besides the verbs.
constexpr const char* commonWords =
    "a about after again all already an and another any aside at back be because been before began beside "
    "bus "
    "but by can can't certificate certificates changed checksum clock closed command command-line connection "
    "connections couldn't crash crashed desktop didn't disk doesn't download downloads early edited end "
    "ended "
    "error exist exists feed file files finished folder for found free from full gone hang has hasn't have "
    "held hotspot ignored in into is isn't it it's its journal kept kind last later least left length line "
    "lines link links list lock log long longer machine made main manager memory message missing more moved "
    "name network new next no none not notes nothing notification notifications now of off offline old older "
    "on one online only or other out over own part parts path piece pieces place power previous process "
    "queue "
    "quit range ranges reason record refused release releases report reports request requests run running "
    "saved scheme secure seen server service session settings shown signal signed sleep so socket socket's "
    "space "
    "standard start state status still stopped store system than that the them there they this those thread "
    "time timed to too took trusted twice unfinished unknown unreadable until unusable update updates used "
    "user version waiting was wasn't wasn't watch were when which who why will window windows with without "
    "won't wouldn't written wrong yet you your";
/// What is done to something; its name comes after, so that none of these is part of a name when it is the
/// first in a message.
constexpr const char* verbWords =
    "answer answered ask asked check checked close connect create delete do fail failed fetch find get give "
    "handle hold inhibit keep listen load make move open pass post quarantine read reach register release "
    "remove rename replace reveal save send set show stop sync take tell use wait wake write";
/// Written just so.
constexpr const char* properWords = "HTTP JSON TLS D-Bus Ed25519 PEM";
/// What a number may follow.
constexpr const char* numberedWords = "download status signal error piece version";

constexpr int lastErrorNumber = 133;
constexpr std::size_t longestNumber = 6;

Words split(std::string_view list) {
    Words words;
    while (!list.empty()) {
        const auto end = std::min(list.find(' '), list.size());
        words.emplace(list.substr(0, end));
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    return words;
}

char lowered(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

std::string lowered(std::string_view word) {
    std::string result(word);
    std::ranges::transform(result, result.begin(), [](char c) { return lowered(c); });
    return result;
}

bool isNumber(std::string_view word) {
    return !word.empty() && word.size() <= longestNumber &&
           std::ranges::all_of(word, [](char c) { return c >= '0' && c <= '9'; });
}

std::string_view withoutPunctuation(std::string_view word) {
    if (word.starts_with('(')) {
        word.remove_prefix(1);
    }
    const auto last = word.find_last_not_of(".,;:)");
    return word.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

/// The texts that the system has for its errors, as they stand at a message's end.
const Words& systemTexts() {
    static const Words texts = [] {
        Words all;
        for (int code = 1; code <= lastErrorNumber; ++code) {
            all.insert(errorText(code));
        }
        return all;
    }();
    return texts;
}

/// The system's text at the message's end, the joint before it included; empty when there is none.
std::string_view systemTail(std::string_view message) {
    const auto at = message.rfind(joint);
    if (at == std::string_view::npos) {
        return {};
    }
    auto text = message.substr(at + std::string_view(joint).size());
    if (text.ends_with('.')) {
        text.remove_suffix(1);
    }
    return systemTexts().contains(text) ? message.substr(at) : std::string_view();
}

} // namespace

Scrubber::Scrubber(std::vector<std::string> privateWords) : privateWords_(std::move(privateWords)) {
    std::ranges::transform(privateWords_, privateWords_.begin(),
                           [](const auto& word) { return lowered(word); });
}

bool Scrubber::isOurs(std::string_view word, std::string_view before) const {
    static const Words common = split(commonWords);
    static const Words verbs = split(verbWords);
    static const Words proper = split(properWords);
    static const Words numbered = split(numberedWords);
    const auto core = withoutPunctuation(word);
    if (isNumber(core)) {
        return numbered.contains(lowered(before));
    }
    // Titles are written in capitals; we begin sentences with them.
    const bool begins = before.empty() || before.ends_with('.') || before.ends_with(':');
    const auto plain = begins ? lowered(core) : std::string(core);
    if (std::ranges::find(privateWords_, lowered(core)) != privateWords_.end()) {
        return false;
    }
    return common.contains(plain) || verbs.contains(plain) || proper.contains(core) ||
           (!core.empty() && core == AppIdentity::current.displayName);
}

std::string Scrubber::scrubbed(std::string_view message) const {
    static const Words verbs = split(verbWords);
    const auto tail = systemTail(message);
    const auto body = message.substr(0, message.size() - tail.size());
    std::string_view before;
    std::size_t upToVerb = 0; // the end of the first verb
    for (std::size_t at = 0; at < body.size();) {
        const auto end = std::min(body.find(' ', at), body.size());
        const auto word = body.substr(at, end - at);
        if (!isOurs(word, before)) {
            const auto kept = std::string(body.substr(0, upToVerb));
            return kept + (kept.empty() ? "" : " ") + cut + std::string(tail);
        }
        if (upToVerb == 0 && verbs.contains(lowered(word))) {
            upToVerb = end;
        }
        before = word;
        at = end + 1;
    }
    return std::string(message);
}

std::vector<std::string> namesOfUserAndHost() {
    std::vector<std::string> names;
    for (const char* const variable : {"USER", "LOGNAME", "HOSTNAME"}) {
        if (const char* const value = std::getenv(variable)) {
            names.emplace_back(value);
        }
    }
    std::array<char, 256> host{};
    if (::gethostname(host.data(), host.size() - 1) == 0) {
        names.emplace_back(host.data());
        names.push_back(names.back().substr(0, names.back().find('.')));
    }
    std::erase(names, "");
    return names;
}

} // namespace tessivar
