// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Model/World.h"

#include <iterator>

#include <fmt/format.h>

namespace fluvane::model {

namespace {

using Choice = World::Choice;
using Manager = DownloadManager;

/// What may happen, of 256 how often, and how; returns whom it happened to.
struct Kind {
    unsigned weight;
    const char* words;
    std::string (*happen)(World& world, Choice choice);
};
constexpr std::int64_t counts[] = {0, 1, 777, 20'000, 65'536, 300'000, 1'048'576, 3'145'728};
constexpr double times[] = {0.1, 0.5, 1, 2.1, 2.1, 6, 12, 65};
constexpr Kind kinds[] = {
    {20, "add", [](World& world, Choice choice) { return world.add(choice); }},
    {6, "pause", [](World& world, Choice choice) { return world.tell(choice, &Manager::pause); }},
    {8, "resume", [](World& world, Choice choice) { return world.tell(choice, &Manager::resume); }},
    {3, "remove", [](World& world, Choice choice) { return world.remove(choice); }},
    {5, "move to the front",
     [](World& world, Choice choice) { return world.tell(choice, &Manager::downloadNext); }},
    {7, "change the priority of",
     [](World& world, Choice choice) {
         const auto id = world.pick(choice.who);
         world.manager().prioritize(id, choice.how % 3 > 0);
         return fmt::format("{} to {}", id, choice.how % 3 > 0);
     }},
    {3, "update the link of",
     [](World& world, Choice choice) {
         const auto id = world.pick(choice.who);
         world.manager().updateLink(id, world.servers.link(choice.how));
         return fmt::format("{} to {}", id, world.servers.link(choice.how).absoluteString());
     }},
    {3, "change the checksum of",
     [](World& world, Choice choice) {
         world.manager().setChecksum(world.pick(choice.who), world.checksum(choice));
         return fmt::format("{}", world.pick(choice.who));
     }},
    {3, "pause all", [](World& world, Choice) { return world.manager().pauseAll(), std::string(); }},
    {4, "resume all",
     [](World& world, Choice) {
         for (const auto* const download : world.manager().downloads()) {
             world.askedOnLimited.insert(download->id());
         }
         return world.manager().resumeAll(), std::string();
     }},
    {2, "ask for a save",
     [](World& world, Choice choice) {
         ++world.unanswered;
         const auto told = [&world](const auto&) { --world.unanswered; };
         choice.how % 2 == 0 ? world.manager().whenSaved(told) : world.manager().saveEverything(told);
         return std::string(choice.how % 2 == 0 ? "of the list" : "of everything");
     }},
    {12, "settings:", [](World& world, Choice choice) { return world.setting(choice); }},
    {16, "network:", [](World& world, Choice choice) { return world.network(choice); }},
    {18, "disk:", [](World& world, Choice choice) { return world.disk(choice); }},
    {5, "restart after", [](World& world, Choice choice) { return world.restart(choice); }},
    {36, "answer",
     [](World& world, Choice choice) {
         return world.servers.answer(choice.who, choice.how % 32, choice.more % 2 == 1);
     }},
    {30, "send",
     [](World& world, Choice choice) { return world.servers.send(choice.who, counts[choice.how % 8]); }},
    {14, "cut", [](World& world, Choice choice) { return world.servers.cut(choice.who, choice.how); }},
    {36, "serve", [](World& world, Choice choice) { return world.serve(choice); }},
    {17, "let pass", [](World& world, Choice choice) { return world.pass(times[choice.how % 8]); }},
    {8, "change",
     [](World& world, Choice choice) { return world.servers.change(choice.who, choice.how % 2 == 0); }},
};

} // namespace

std::string World::happen(Step step) {
    noteBefore();
    auto place = step & 0xff;
    const auto* kind = std::begin(kinds);
    for (; place >= kind->weight; ++kind) {
        place -= kind->weight;
    }
    const auto whom = kind->happen(*this, {step >> 8 & 0xff, step >> 16 & 0xff, step >> 24 & 0x7f});
    isAtRest = step >> 31 == 0;
    if (isAtRest) {
        engine.turns();
        engine.scheduler.runFor(waitsForBeat(*this) ? 0.5 : 0);
    }
    if (engine.store->error || engine.store->hung.contains(engine.store->list)) {
        lateUntil = engine.scheduler.now() + slowestSave;
    }
    servers.forgetEnded();
    engine.transport->transfers.clear();
    return fmt::format("{} {}{}", kind->words, whom, isAtRest ? "" : ", and at once");
}

} // namespace fluvane::model
