// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Model/Servers.h"

#include "FluvaneCore/Planner.h"

namespace fluvane::model {

namespace {

constexpr Source all[] = {{0, Source::parts, 9'437'191},   {1, Source::parts, 31'457'280},
                          {2, Source::promise, 8'388'609}, {3, Source::liar, 5'242'880},
                          {4, Source::whole, 3'145'728},   {5, Source::endless, 3'145'737},
                          {6, Source::moving, 12'582'989}, {7, Source::parts, 60'000}};

std::string range(std::int64_t from, std::int64_t end, std::int64_t size) {
    return fmt::format("bytes {}-{}/{}", from, end - 1, size);
}

} // namespace

void Exchange::send(std::int64_t bytes) {
    if (!isAnswered || !transfer->isAccepted() || transfer->isOver()) {
        return;
    }
    const auto count = std::min(bytes, end - next);
    const bool isOnItsWay = transfer->position() + count < transfer->end().value_or(end);
    try {
        bytes == 777 && isOnItsWay ? transfer->sendQuietly(count) : transfer->send(count);
    } catch (const FileError& error) {
        transfer->fail(error.what());
    }
    if (next == end) {
        transfer->finish();
    }
    transfer->writesOnCancel = bytes % 2 == 0 ? 0 : std::min(planner::alignment, end - next);
}

Servers::Servers(support::FakeTransport& transport) : sources_(std::begin(all), std::end(all)) {
    transport.onStart = [this](const auto& transfer) {
        exchanges.push_back(std::make_shared<Exchange>(Exchange{.transfer = transfer}));
    };
}

URL Servers::link(unsigned number) const {
    const int file = source(number).number;
    return support::link(fmt::format("http://{}.example/{}/file.bin", file % 3 == 1 ? "b" : "a", file));
}

const Source& Servers::sourceOf(const Exchange& exchange) const {
    return source(static_cast<unsigned>(exchange.transfer->request.url.path()[1] - '0'));
}

std::int64_t Servers::sizeOf(Content content) {
    const auto& source = all[content / Source::versions];
    return source.longest - content % Source::versions / 2 * 1000; // another version may be as long
}

void Servers::forgetEnded() {
    std::erase_if(exchanges, [](const auto& exchange) { return exchange->transfer->isOver(); });
}

void Servers::serve(std::int64_t bytes) {
    for (const auto& exchange : std::vector(exchanges)) { // answers begin others
        if (!exchange->isAnswered && !exchange->transfer->isOver()) {
            answerRightly(*exchange);
        }
        exchange->send(bytes);
    }
}

std::shared_ptr<Exchange> Servers::pick(unsigned number) const {
    return exchanges.empty() ? nullptr : exchanges[number % exchanges.size()];
}

void Servers::answer(unsigned number, unsigned how, bool tellsWhen) {
    using Headers = TransferResponse::Headers;
    static constexpr int refusals[] = {503, 503, 429, 500, 403, 404, 410, 416, 401, 408};
    const auto exchange = pick(number);
    if (!exchange || exchange->isAnswered) {
        return;
    }
    const auto content = sourceOf(*exchange).content();
    const auto size = sizeOf(content);
    const auto tag = fmt::format("\"{}\"", content);
    const auto wrong = exchange->transfer->request.from.value_or(0) + planner::alignment;
    if (how < std::size(refusals)) {
        respond(*exchange, refusals[how], tellsWhen ? Headers{{"Retry-After", "5"}} : Headers{});
    } else if (how == std::size(refusals) && wrong < size) {
        respond(*exchange, 206, {{"Content-Range", range(wrong, size, size)}, {"ETag", tag}}, wrong, size);
    } else if (how == std::size(refusals) + 1) {
        respond(*exchange, 200, {{"Content-Length", std::to_string(size)}, {"ETag", tag}}, 0, size);
    } else {
        answerRightly(*exchange);
    }
}

void Servers::answerRightly(Exchange& exchange) {
    const auto& source = sourceOf(exchange);
    const auto& request = exchange.transfer->request;
    const auto size = sizeOf(source.content());
    auto tag = fmt::format("\"{}\"", source.content());
    if (source.kind == Source::moving) {
        const auto mirror = fmt::format("http://m{}.example/{}/file.bin", mirror_, source.number);
        exchange.transfer->redirectedTo =
            request.url.site() == "a.example" ? support::link(mirror) : request.url;
        tag = fmt::format("\"{}-{}\"", source.content(), *exchange.transfer->redirectedTo->site());
    }
    const bool hasParts = source.kind == Source::parts || source.kind == Source::moving ||
                          (source.kind == Source::promise && !exchange.transfer->isProbe());
    const auto from = request.from.value_or(0);
    TransferResponse::Headers headers{{"ETag", tag}};
    if (from >= size) {
        respond(exchange, 416, {{"Content-Range", fmt::format("bytes */{}", size)}});
    } else if (hasParts && request.from && (!request.ifRange || request.ifRange == tag)) {
        const auto end = std::min(request.to.value_or(size) + 1, size);
        headers.emplace_back("Content-Range", range(from, end, size));
        respond(exchange, 206, headers, from, end);
    } else {
        if (source.kind != Source::endless) {
            headers.emplace_back("Content-Length", std::to_string(size));
        }
        if (source.kind == Source::promise || source.kind == Source::liar) {
            headers.emplace_back("Accept-Ranges", "bytes");
        }
        respond(exchange, 200, headers, 0, size);
    }
}

void Servers::respond(Exchange& exchange, int status, const TransferResponse::Headers& headers,
                      std::int64_t from, std::int64_t end) {
    auto& transfer = *exchange.transfer;
    exchange.isAnswered = true;
    exchange.content = sourceOf(exchange).content();
    exchange.next = from;
    exchange.end = end;
    const bool isRead = transfer.request.label.ends_with("comparison");
    transfer.body = [&exchange, isRead](std::int64_t count) {
        const auto bytes = sent(exchange.content, exchange.next, count, isRead);
        exchange.next += count;
        return bytes;
    };
    transfer.respond(status, headers);
}

void Servers::send(unsigned number, std::int64_t bytes) {
    if (const auto exchange = pick(number)) {
        exchange->send(bytes);
    }
}

void Servers::cut(unsigned number, unsigned how) {
    const auto exchange = pick(number);
    if (exchange && exchange->isAnswered && how % 4 == 0 && sourceOf(*exchange).kind != Source::endless) {
        exchange->transfer->finish();
    } else if (exchange) {
        exchange->transfer->fail("The connection was cut.", how % 4 == 1);
    }
}

void Servers::change(unsigned number, bool mirrors) {
    auto& version = sources_[number % sources_.size()].version;
    mirror_ = mirrors ? 3 - mirror_ : mirror_;
    version = mirrors ? version : std::min(version + 1, Source::versions - 1);
}

} // namespace fluvane::model
