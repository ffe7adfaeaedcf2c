// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Model/World.h"

#include "FluvaneCore/Planner.h"
#include "FluvaneEngine/Abilities.h"

#include <algorithm>
#include <iterator>
#include <numeric>

#include <fmt/format.h>

namespace fluvane::model {

namespace {

constexpr std::int64_t mega = 1 << 20;
constexpr std::size_t mostDownloads = 8;

template <class T, std::size_t count>
const T& one(const T (&choices)[count], unsigned number) {
    return choices[number % count];
}

} // namespace

const std::array<World::Kind, 12> World::kinds{{{20, &World::add},
                                                {44, &World::command},
                                                {12, &World::set},
                                                {16, &World::changeNetwork},
                                                {18, &World::breakDisk},
                                                {5, &World::restart},
                                                {36, &World::answer},
                                                {30, &World::send},
                                                {14, &World::cut},
                                                {36, &World::serve},
                                                {22, &World::pass},
                                                {3, &World::changeFile}}};

World::World()
    : sources_{{0, Source::parts, 9 * mega + 7},    {1, Source::parts, 30 * mega},
               {2, Source::promise, 8 * mega + 1},  {3, Source::liar, 5 * mega},
               {4, Source::whole, 3 * mega},        {5, Source::endless, 3 * mega + 9},
               {6, Source::moving, 12 * mega + 77}, {7, Source::parts, 60'000}} {
    tessivar::Log::setSink({});
    tessivar::Log::detailed = false;
    engine.files->make = [](auto device) { return std::make_shared<ContentFile>(device); };
    engine.transport->onStart = [this](const auto& transfer) {
        exchanges.push_back(std::make_shared<Exchange>(Exchange{.transfer = transfer}));
    };
    manager().start();
    engine.turns();
}

std::string World::happen(Step step) {
    noteBefore();
    const Choice choice{.who = step >> 8 & 0xff, .how = step >> 16 & 0xff, .more = step >> 24 & 0x7f};
    auto place = step & 0xff;
    const auto* kind = kinds.begin();
    while (place >= kind->weight) {
        place -= kind++->weight;
    }
    auto words = (this->*kind->happen)(choice);
    isAtRest = step >> 31 == 0;
    if (isAtRest) {
        engine.turns();
        engine.scheduler.runFor(waitsForBeat(*this) ? 0.5 : 0);
    }
    if (engine.store->error || engine.store->hung.contains(engine.store->list)) {
        lateUntil = engine.scheduler.now() + 3.1;
    }
    forgetEnded();
    return words + (isAtRest ? "" : ", and at once");
}

// Commands

std::string World::add(Choice choice) {
    if (manager().downloads().size() >= mostDownloads) {
        return "nothing";
    }
    const auto folder = choice.how % 4 == 0 ? std::optional(URL::folder("/other/place")) : std::nullopt;
    const auto id =
        manager().add(linkTo(choice.who), folder, std::nullopt, checksum(choice.how / 4, choice.who), true);
    askedOnLimited.insert(id);
    keptRemovals.erase(id);
    whenSaved(keptAdds, id);
    return fmt::format("add {} as {}{}", linkTo(choice.who).absoluteString(), id, folder ? " in /other" : "");
}

std::string World::command(Choice choice) {
    const auto id = pick(choice.who);
    auto& all = manager();
    const auto* const download = all.download(id);
    const auto asks = [&](bool applies) {
        if (applies && all.limitedNetwork()) {
            askedOnLimited.insert(id);
        }
    };
    switch (choice.how % 16) {
    case 0:
    case 1:
        return all.pause(id), fmt::format("pause {}", id);
    case 2:
    case 3:
    case 4:
        asks(download && canResume(download->record.state));
        return all.resume(id), fmt::format("resume {}", id);
    case 5:
        all.remove(id);
        keptAdds.erase(id);
        whenSaved(keptRemovals, id);
        return fmt::format("remove {}", id);
    case 6:
    case 7:
        asks(download && canGoFirst(download->record.state));
        return all.prioritize(id, true), fmt::format("prioritize {}", id);
    case 8:
        return all.prioritize(id, false), fmt::format("no longer prioritize {}", id);
    case 9:
    case 10:
        asks(download && download->record.state.is<DownloadState::Paused>());
        return all.downloadNext(id), fmt::format("move {} to the front", id);
    case 11:
        asks(true);
        all.updateLink(id, linkTo(choice.more));
        return fmt::format("update the link of {} to {}", id, linkTo(choice.more).absoluteString());
    case 12:
        all.setChecksum(id, checksum(choice.more, choice.more / 8));
        return fmt::format("give {} another checksum", id);
    case 13:
        return all.pauseAll(), "pause all";
    case 14:
        for (const auto* const each : all.downloads()) {
            if (all.limitedNetwork() && resumesWithAll(each->record.state)) {
                askedOnLimited.insert(each->id());
            }
        }
        return all.resumeAll(), "resume all";
    default:
        ++unanswered;
        all.saveEverything([this](const auto&) { --unanswered; });
        return "save everything";
    }
}

std::string World::set(Choice choice) {
    auto config = manager().config();
    switch (choice.how % 6) {
    case 0:
        config.connections = static_cast<int>(choice.more % 9);
        break;
    case 1:
        config.connectionsPerServer = static_cast<int>(choice.more % 12);
        break;
    case 2:
        config.simultaneous = static_cast<int>(choice.more % 5);
        break;
    case 3:
        config.speedLimit = choice.more % 2 == 0 ? std::nullopt : std::optional<std::int64_t>(50'000);
        break;
    case 4:
        config.waitOnHotspots = choice.more % 2 == 0;
        break;
    default:
        config.rules = {
            {.id = "rule",
             .match = Rule::Site{"a.example"},
             .folder = choice.more % 2 == 0 ? std::nullopt : std::optional("/ruled"),
             .connections = choice.more % 3 == 0 ? std::nullopt : std::optional(choice.more % 4 + 1)}};
    }
    config.clamp();
    manager().apply(config);
    engine.config = config;
    return fmt::format("settings: {} connections, {} for a server, {} at once, {}, {}", config.connections,
                       config.connectionsPerServer, config.simultaneous,
                       config.waitOnHotspots ? "hotspots wait" : "hotspots are used",
                       config.rules.empty()          ? "no rule"
                       : config.rules[0].connections ? "a rule of connections"
                                                     : "a rule");
}

std::string World::changeNetwork(Choice choice) {
    static constexpr std::optional<LimitedNetwork> limits[] = {std::nullopt, LimitedNetwork::hotspot,
                                                               LimitedNetwork::lowDataMode, std::nullopt};
    const auto how = choice.how % 8;
    if (how < 4) {
        if (!limits[how]) {
            askedOnLimited.clear();
        }
        manager().setLimitedNetwork(limits[how]);
        return limits[how] ? fmt::format("network: {}", rawValue(*limits[how])) : "network: unlimited";
    }
    if (how == 7) {
        return manager().reconnect(), "connect anew";
    }
    manager().setOnline(how > 4);
    return how > 4 ? "online" : "offline";
}

// Faults

std::string World::breakDisk(Choice choice) {
    auto& files = *engine.files;
    auto& store = *engine.store;
    const auto toggle = [&](std::optional<std::string>& fault, const std::string& name) {
        fault = fault ? std::nullopt : std::optional(name);
        return fmt::format("{} {}", name, fault ? "fails" : "is fine again");
    };
    const auto hang = [](auto& hung, auto what) {
        return hung.erase(what) > 0 ? false : hung.insert(what).second;
    };
    switch (choice.how % 12) {
    case 0:
        syncFailed_ = true;
        return toggle(files.failSync, "syncing");
    case 1:
        return toggle(files.failFull, "writing to the full disk");
    case 2:
        return toggle(files.failCreate, "creating");
    case 3:
        return toggle(files.failOpen, "opening");
    case 4:
        return toggle(files.failFinish, "moving");
    case 5:
        return toggle(files.failChecksum, "reading");
    case 6:
        return toggle(store.error, "saving the list");
    case 7:
    case 8: {
        const auto device = choice.more % 3; // 0 is the list's
        return fmt::format("disk {} {}", device, hang(store.hung, device) ? "hangs" : "answers");
    }
    case 9:
    case 10: {
        const auto id = pick(choice.who);
        const bool hangs = !files.hung.contains(id);
        hangs ? void(files.hung.insert(id)) : files.answer(id);
        return fmt::format("the disk {} for {}", hangs ? "hangs" : "answers", id);
    }
    default:
        files.freeSpace =
            one<std::optional<std::int64_t>>({std::nullopt, 0, 4 * mega, 1000 * mega}, choice.more);
        files.completionDelay = choice.more % 3;
        files.sparse = files.paths().empty() ? choice.more % 4 != 3 : files.sparse;
        return fmt::format("free: {}, checks and moves take {} s", files.freeSpace.value_or(-1),
                           files.completionDelay);
    }
}

std::string World::restart(Choice choice) {
    const auto how = choice.how % 3;
    const bool isOnline = manager().online();
    const auto limit = manager().limitedNetwork();
    if (!listComesFirst && engine.scheduler.now() < lateUntil) {
        engine.store->error.reset();
        engine.store->hung.erase(engine.store->list);
        engine.scheduler.runFor(3.1);
    }
    const bool isSaved = how == 0 && stop();
    engine.manager.reset();
    if (isSaved) {
        engine.turns(); // what isn't done yet is done before the process ends
    }
    engine.transport->transfers.clear();
    engine.scheduler.forget();
    engine.store->forget();
    engine.files->forget();
    for (const auto& path : how == 2 ? engine.files->paths() : std::vector<std::string>()) {
        engine.files->bytes(path)->lose();
    }
    askedOnLimited.clear();
    keptRemovals.clear(); // numbers may be given anew
    queuedBefore.clear();
    unanswered = 0;
    syncFailed_ = engine.files->failSync.has_value();
    engine.restart();
    manager().setLimitedNetwork(limit);
    manager().setOnline(isOnline);
    noteBefore();
    return one({"stop and start", "kill and start", "lose power and start"}, how);
}

bool World::stop() {
    std::map<DownloadID, std::int64_t> bytes;
    for (const auto* const download : manager().downloads()) {
        const bool keeps = download->file && download->record.resumable;
        bytes[download->id()] = keeps ? download->liveBytes() : 0;
    }
    const bool isDone = manager().stop();
    lostAtStop = lostAtStop || unanswered > 0;
    if (!isDone || engine.store->error || syncFailed_) {
        return false;
    }
    for (const auto& record : engine.store->saved) {
        lostAtStop = lostAtStop || record.doneBytes() < bytes[record.id];
        bytes.erase(record.id);
    }
    lostAtStop = lostAtStop || !bytes.empty();
    return true;
}

std::string World::changeFile(Choice choice) {
    auto& source = sources_[choice.who % sources_.size()];
    if (choice.how % 2 == 0) {
        mirror_ = 3 - mirror_;
        return fmt::format("links that lead elsewhere lead to mirror {}", mirror_);
    }
    source.version = std::min(source.version + 1, Source::versions - 1);
    return fmt::format("file {} changes on the server", source.number);
}

// Servers

std::string World::answer(Choice choice) {
    std::vector<Exchange*> waiting;
    for (const auto& exchange : exchanges) {
        if (!exchange->isAnswered) {
            waiting.push_back(exchange.get());
        }
    }
    if (waiting.empty()) {
        return "nothing";
    }
    auto& exchange = *waiting[choice.who % waiting.size()];
    const auto label = exchange.transfer->request.label;
    const auto& source = sourceOf(exchange.transfer->request.url);
    const auto how = choice.how % 32;
    static constexpr int refusals[] = {503, 503, 429, 500, 403, 404, 410, 416, 401, 408};
    if (how < std::size(refusals)) {
        const bool tellsWhen = choice.more % 2 == 1;
        respond(exchange, refusals[how],
                tellsWhen ? support::headers("Retry-After: 5") : TransferResponse::Headers(), 0, 0);
        return fmt::format("{} is answered {}", label, refusals[how]);
    }
    if (how == 10) {
        const auto from = exchange.transfer->request.from.value_or(0) + planner::alignment;
        respond(exchange, 206, {{"Content-Range", fmt::format("bytes {}-{}/{}", from, from, 2 * from)}}, 0,
                1);
        return fmt::format("{} is answered with the wrong part", label);
    }
    if (how == 11) {
        respond(exchange, 200,
                {{"Content-Length", std::to_string(sizeOf(source.content()))},
                 {"ETag", fmt::format("\"{}\"", source.content())}},
                0, sizeOf(source.content()));
        return fmt::format("{} is answered with the whole file", label);
    }
    answerRightly(exchange);
    return fmt::format("{} is answered", label);
}

void World::answerRightly(Exchange& exchange) {
    const auto& request = exchange.transfer->request;
    const auto& source = sourceOf(request.url);
    const auto size = sizeOf(source.content());
    auto tag = fmt::format("\"{}\"", source.content());
    if (source.kind == Source::moving) {
        if (request.url.site() == "a.example") {
            exchange.transfer->redirectedTo =
                support::link(fmt::format("http://m{}.example/{}/file.bin", mirror_, source.number));
        }
        tag = fmt::format("\"{}-{}\"", source.content(),
                          exchange.transfer->redirectedTo.value_or(request.url).site().value());
    }
    const bool hasParts = source.kind == Source::parts || source.kind == Source::moving ||
                          (source.kind == Source::promise && !exchange.transfer->isProbe());
    const auto from = request.from.value_or(0);
    if (from >= size) {
        respond(exchange, 416, {{"Content-Range", fmt::format("bytes */{}", size)}}, 0, 0);
    } else if (hasParts && request.from && (!request.ifRange || request.ifRange == tag)) {
        const auto last = std::min(request.to.value_or(size - 1), size - 1);
        respond(exchange, 206,
                {{"ETag", tag}, {"Content-Range", fmt::format("bytes {}-{}/{}", from, last, size)}}, from,
                last + 1);
    } else {
        TransferResponse::Headers headers{{"ETag", tag}};
        if (source.kind != Source::endless) {
            headers.emplace_back("Content-Length", std::to_string(size));
        }
        if (source.kind == Source::promise || source.kind == Source::liar) {
            headers.emplace_back("Accept-Ranges", "bytes");
        }
        respond(exchange, 200, std::move(headers), 0, size);
    }
}

void World::respond(Exchange& exchange, int status, TransferResponse::Headers headers, std::int64_t from,
                    std::int64_t end) {
    auto& transfer = *exchange.transfer;
    exchange.isAnswered = true;
    exchange.tellsLength =
        std::ranges::any_of(headers, [](const auto& header) { return header.first.starts_with("Content-"); });
    exchange.content = sourceOf(transfer.request.url).content();
    exchange.next = from;
    exchange.end = end;
    const bool isRead = transfer.request.label.ends_with("comparison");
    transfer.body = [&exchange, isRead](std::int64_t count) {
        const auto bytes = sent(exchange.content, exchange.next, count, isRead);
        exchange.next += count;
        return bytes;
    };
    const auto keep = exchanges; // answering may begin others
    transfer.respond(status, std::move(headers));
}

std::string World::send(Choice choice) {
    if (exchanges.empty()) {
        return "nothing";
    }
    const auto keep = exchanges[choice.who % exchanges.size()];
    static constexpr std::int64_t counts[] = {0, 1, 777, 20'000, 65'536, 300'000, mega, 3 * mega};
    const auto count = one(counts, choice.how);
    send(*keep, count);
    return fmt::format("{} gets {} bytes", keep->transfer->request.label, count);
}

void World::send(Exchange& exchange, std::int64_t count) const {
    auto& transfer = *exchange.transfer;
    if (!exchange.isAnswered || !transfer.isAccepted() || transfer.isOver()) {
        return;
    }
    transfer.send(std::min(count, exchange.end - exchange.next));
    if (exchange.next == exchange.end) {
        transfer.finish();
    }
    transfer.writesOnCancel = count % 2 == 0 ? 0 : std::min(planner::alignment, exchange.end - exchange.next);
}

std::string World::cut(Choice choice) {
    if (exchanges.empty()) {
        return "nothing";
    }
    const auto keep = exchanges[choice.who % exchanges.size()];
    const auto how = choice.how % 4;
    if (how == 0 && keep->tellsLength) {
        keep->transfer->finish();
    } else {
        keep->transfer->fail("The connection was cut.", how == 1);
    }
    return fmt::format("{} is cut", keep->transfer->request.label);
}

std::string World::serve(Choice choice) {
    static constexpr std::int64_t counts[] = {1000, 100'000, 400'001, mega, 4 * mega};
    const auto count = one(counts, choice.how);
    const auto beats = one({1, 1, 2, 8}, choice.more);
    for (int beat = 0; beat < beats; ++beat) {
        serveAll(count);
        engine.scheduler.runFor(0.5);
    }
    return fmt::format("{} times 0.5 s with {} bytes on each connection", beats, count);
}

void World::serveAll(std::int64_t bytes) {
    const auto all = exchanges;
    for (const auto& exchange : all) {
        if (!exchange->isAnswered && !exchange->transfer->isOver()) {
            answerRightly(*exchange);
        }
        send(*exchange, bytes);
    }
    engine.turns();
    forgetEnded();
}

std::string World::pass(Choice choice) {
    static constexpr double times[] = {0.1, 0.5, 1, 2.1, 2.1, 6, 12, 65};
    const auto seconds = one(times, choice.how);
    engine.scheduler.runFor(seconds);
    return fmt::format("{} s pass", seconds);
}

// Recovery

void World::recover() {
    auto& files = *engine.files;
    files.failSync.reset();
    files.failFull.reset();
    files.failCreate.reset();
    files.failOpen.reset();
    files.failFinish.reset();
    files.failChecksum.reset();
    files.freeSpace.reset();
    for (const auto id : std::set(files.hung)) {
        files.answer(id);
    }
    engine.store->error.reset();
    engine.store->hung.clear();
    askedOnLimited.clear();
    manager().setLimitedNetwork(std::nullopt);
    manager().setOnline(true);
    noteBefore();
    constexpr int mostRounds = 1500;
    const auto goesOn = [](const auto* download) {
        const auto& state = download->record.state;
        return state.isActive() || state.template is<DownloadState::Queued>() ||
               state.isWaiting(DownloadState::Wait::space);
    };
    for (int round = 0; round < mostRounds && std::ranges::any_of(manager().downloads(), goesOn); ++round) {
        serveAll(8 * mega);
        engine.scheduler.runFor(exchanges.empty() ? 2 : 0.5);
    }
    engine.scheduler.runFor(10); // for the list
    forgetEnded();
}

void World::resumeAll() {
    for (const auto* const download : manager().downloads()) {
        manager().resume(download->id());
    }
}

// What there is

void World::noteBefore() {
    queuedBefore.clear();
    activeBefore.clear();
    for (const auto* const download : manager().downloads()) {
        if (download->record.state.is<DownloadState::Queued>()) {
            queuedBefore.insert(download->id());
        } else if (download->record.state.isActive()) {
            activeBefore.insert(download->id());
        }
    }
}

void World::forgetEnded() {
    std::erase_if(exchanges, [](const auto& exchange) { return exchange->transfer->isOver(); });
    engine.transport->transfers.clear();
}

void World::whenSaved(std::set<DownloadID>& kept, DownloadID id) {
    ++unanswered;
    manager().whenSaved([this, &kept, id](const auto& error) {
        --unanswered;
        const bool isThere = manager().download(id);
        if (!error && isThere == (&kept == &keptAdds)) { // and not removed meanwhile
            kept.insert(id);
        }
    });
}

DownloadID World::pick(unsigned who) const {
    const auto all = manager().downloads();
    return all.empty() ? DownloadID{0} : all[who % all.size()]->id();
}

URL World::linkTo(unsigned who) const {
    const auto& source = sources_[who % sources_.size()];
    return support::link(fmt::format("http://{}.example/{}/file.bin",
                                     source.number == 4 || source.number == 1 ? "b" : "a", source.number));
}

Source& World::sourceOf(const URL& link) {
    return sources_[static_cast<std::size_t>(link.path()[1] - '0')];
}

std::int64_t World::sizeOf(Content content) const {
    const auto& source = sources_[static_cast<std::size_t>(content / Source::versions)];
    return source.size - content % Source::versions / 2 * 1000; // another version may be as long
}

std::optional<Checksum> World::checksum(unsigned how, unsigned source) const {
    const auto right = sources_[source % sources_.size()].content();
    return how % 4 < 2
               ? std::nullopt
               : std::optional(Checksum(Checksum::Algorithm::sha256, digestOf(how % 4 == 2 ? right : -5)));
}

std::shared_ptr<const ContentFile> World::file(const std::optional<URL>& location) const {
    return location ? std::static_pointer_cast<const ContentFile>(engine.files->bytes(location->path()))
                    : nullptr;
}

std::string World::picture() const {
    std::string text;
    for (const auto* const download : manager().downloads()) {
        const auto& record = download->record;
        text +=
            fmt::format("  {} {}: {} ({}){}{}, {} of {} bytes in {} pieces, {} connections{}\n",
                        download->id(), record.url.absoluteString(), engine.state(download->id()),
                        engine.failure(download->id()), record.partial ? ", " + record.partial->path() : "",
                        download->isPrioritized() ? ", prioritized" : "", download->liveBytes(),
                        record.size.value_or(-1), record.pieces.size(), download->transfers.size(),
                        download->retry.isPending() ? ", retries: " + download->retry.reason : "");
    }
    return text;
}

} // namespace fluvane::model
