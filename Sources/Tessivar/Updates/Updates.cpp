// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Updates/Updates.h"

#include "Tessivar/Updates/FeedFetch.h"
#include "Tessivar/Updates/ReleaseFeed.h"
#include "Tessivar/Version.h"
#include "TessivarCore/AppIdentity.h"
#include "TessivarCore/AtomicFile.h"
#include "TessivarCore/Log.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <thread>
#include <utility>
#include <vector>

namespace tessivar {

namespace {

using Json = nlohmann::json;

constexpr std::size_t longestState = 4096;
constexpr std::int64_t day = 24L * 60L * 60L;
/// Seconds from the start to the first check, so that it isn't in the start's way.
constexpr std::int64_t settling = 60;

std::int64_t secondsSince1970() {
    return std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now())
        .time_since_epoch()
        .count();
}

/// What is kept between runs.
struct Memory {
    std::int64_t checked = 0; ///< When it was checked last, in seconds since 1970.
    std::int64_t serial = 0;  ///< Of the newest feed seen.
    std::string told;         ///< The version last told of.

    static Memory load(const AtomicFile& file);
    void save(const AtomicFile& file) const;
    /// Seconds until the next check of our own; a clock that was set back doesn't put it off.
    [[nodiscard]] std::int64_t untilDue() const {
        const auto now = secondsSince1970();
        return checked < 0 || checked > now ? 0 : std::max<std::int64_t>(day - (now - checked), 0);
    }
};

Memory Memory::load(const AtomicFile& file) {
    Memory memory;
    try {
        const auto json = Json::parse(file.read(longestState).value_or("{}"));
        memory.checked = json.value("checked", memory.checked);
        memory.serial = json.value("serial", memory.serial);
        memory.told = json.value("told", memory.told);
    } catch (const std::exception& error) {
        log::lifecycle.error("couldn't read when updates were checked", error);
    }
    return memory;
}

void Memory::save(const AtomicFile& file) const {
    try {
        createFolders(file.path().parent_path(), 0700);
        const Json json = {{"checked", checked}, {"serial", serial}, {"told", told}};
        file.write(json.dump(2) + "\n");
    } catch (const SystemError& error) {
        log::lifecycle.error("couldn't save when updates were checked", error);
    }
}

std::string newerText(const ReleaseFeed& feed) {
    auto text = fmt::format("{} {} is there", AppIdentity::current.displayName, feed.version);
    text += feed.summary.empty() ? "." : ": " + feed.summary;
    return feed.page.empty() ? text : text + " See " + feed.page;
}

struct Finding {
    std::string text;
    bool news = false; ///< Of a release that wasn't told of before.
};

Finding judge(const ReleaseFeed& feed, Memory& memory) {
    if (feed.serial < memory.serial) {
        throw ReleaseFeed::Refused("The release feed is older than one seen before.");
    }
    memory.serial = feed.serial;
    const auto& identity = AppIdentity::current;
    const auto ours = Version::parse(identity.version);
    if (!ours || *Version::parse(feed.version) <= *ours) {
        return {.text = fmt::format("{} {} is up to date.", identity.displayName, identity.version)};
    }
    const bool news = std::exchange(memory.told, feed.version) != feed.version;
    return {.text = newerText(feed), .news = news};
}

Finding failure(const std::string& reason) {
    log::lifecycle.error("couldn't check for updates: " + reason);
    return {.text = "Couldn't check for updates: " + reason};
}

FeedFetch::Request requestFor(const Updates::Options& options) {
    const auto& identity = AppIdentity::current;
    return {.url = options.feed,
            .userAgent = fmt::format("{}/{} (Linux)", identity.displayName, identity.version),
            .certificateFile = options.certificateFile,
            .certificateFolder = options.certificateFolder,
            .patience = options.patience,
            .longest = options.longestFeed};
}

/// A whole check, for a thread of its own.
Finding look(const Updates::Options& options, FeedFetch& fetch) {
    const AtomicFile file(options.stateFile);
    auto memory = Memory::load(file);
    memory.checked = secondsSince1970();
    memory.save(file); // also when it fails, or doesn't end well
    try {
        const auto text = fetch.run(requestFor(options));
        auto finding = judge(
            ReleaseFeed::read(text, {.key = options.key, .application = AppIdentity::current.identifier}),
            memory);
        memory.save(file);
        return finding;
    } catch (const std::exception& error) {
        return failure(error.what());
    }
}

} // namespace

struct Updates::State : std::enable_shared_from_this<State> {
    State(Options options_, MainContext context_)
        : options(std::move(options_)), context(std::move(context_)) {}

    using Completion = std::function<void(const Finding&)>;

    void check(Completion completion);
    void begin();
    void ended(const Finding& finding);
    void checkWhenDue();
    void checkAfter(std::int64_t seconds);
    /// Wraps work for the main queue that is dropped once the owner is gone. It keeps us alive while it runs.
    template <class Work>
    auto weakly(Work work) {
        return [weak = weak_from_this(), work = std::move(work)] {
            if (const auto self = weak.lock()) {
                work(*self);
            }
        };
    }

    Options options;
    MainContext context;
    std::vector<Completion> waiting;
    Handler tell;
    FeedFetch fetch;
    bool checking = false;
    bool over = false;
    std::thread thread;
};

Updates::Updates(Options options, MainContext context)
    : state_(std::make_shared<State>(std::move(options), std::move(context))) {}

Updates::~Updates() {
    state_->over = true;
    state_->fetch.stop();
    if (state_->thread.joinable()) {
        state_->thread.join();
    }
}

void Updates::check(Handler completion) {
    state_->check([completion = std::move(completion)](const Finding& finding) { completion(finding.text); });
}

void Updates::start(Handler tell) {
    if (state_->tell) {
        return;
    }
    state_->tell = std::move(tell);
    const auto due = Memory::load(AtomicFile(state_->options.stateFile)).untilDue();
    state_->checkAfter(std::max(due, settling));
}

void Updates::State::check(Completion completion) {
    waiting.push_back(std::move(completion));
    if (!std::exchange(checking, true)) {
        begin();
    }
}

void Updates::State::begin() {
    if (thread.joinable()) {
        thread.join(); // it has nothing left to do
    }
    try {
        thread = std::thread([this] {
            auto finding = look(options, fetch);
            context.post(weakly([finding = std::move(finding)](State& self) { self.ended(finding); }));
        });
    } catch (const std::system_error& error) {
        context.post(weakly([finding = failure(error.what())](State& self) { self.ended(finding); }));
    }
}

void Updates::State::ended(const Finding& finding) {
    checking = false;
    const auto completions = std::exchange(waiting, {});
    for (auto next = completions.begin(); next != completions.end() && !over; ++next) {
        (*next)(finding);
    }
}

void Updates::State::checkAfter(std::int64_t seconds) {
    context.after(static_cast<double>(seconds), weakly([](State& self) { self.checkWhenDue(); }));
}

void Updates::State::checkWhenDue() {
    const auto due = Memory::load(AtomicFile(options.stateFile)).untilDue();
    if (due > 0) {
        checkAfter(due);
        return;
    }
    checkAfter(day);
    check([this](const Finding& finding) {
        if (finding.news) {
            tell(finding.text);
        }
    });
}

} // namespace tessivar
