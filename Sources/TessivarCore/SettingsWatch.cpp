// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "TessivarCore/SettingsWatch.h"

#include "TessivarCore/Log.h"

#include <sys/epoll.h>
#include <sys/inotify.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace tessivar {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int mostLinks = 40;    // as the kernel's own limit
constexpr int mostAttempts = 10; // while folders come and go under our hands
constexpr std::uint32_t folderGone = IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT | IN_Q_OVERFLOW;
constexpr std::uint32_t noticed = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_CREATE | IN_DELETE |
                                  IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

/// The file and, where it is a link, those that it leads to.
std::vector<std::filesystem::path> hops(std::filesystem::path file) {
    std::vector<std::filesystem::path> all = {file};
    std::error_code none;
    while (static_cast<int>(all.size()) <= mostLinks) {
        const auto next = std::filesystem::read_symlink(file, none);
        if (none) {
            break;
        }
        file = (file.parent_path() / next).lexically_normal();
        all.push_back(file);
    }
    return all;
}

bool isFolder(const std::filesystem::path& path) {
    std::error_code none;
    return std::filesystem::is_directory(path, none);
}

std::filesystem::path fullPath(const std::filesystem::path& path) {
    std::error_code none;
    return std::filesystem::absolute(path, none).lexically_normal();
}

} // namespace

struct SettingsWatch::State {
    State(std::filesystem::path file_, std::function<void()> changed_, Pauses pauses_);

    void open();
    void join(int descriptor) const;
    void watchAll();
    bool watch(const std::filesystem::path& path);
    bool takeEvents();
    [[nodiscard]] bool concernsUs(const inotify_event& event) const;
    void armTimer();
    bool takeExpiry();
    void tell(int code);

    std::filesystem::path file;
    std::function<void()> changed;
    Pauses pauses;
    Descriptor events; ///< Of inotify.
    Descriptor timer;
    Descriptor both;                            ///< Readable when one of them is.
    std::map<int, std::set<std::string>> names; ///< That count in a watched folder.
    std::optional<Clock::time_point> firstChange;
    std::string problem;
};

SettingsWatch::State::State(std::filesystem::path file_, std::function<void()> changed_, Pauses pauses_)
    : file(fullPath(file_)), changed(std::move(changed_)), pauses(pauses_) {
    try {
        open();
        watchAll();
    } catch (const SystemError& error) {
        both = Descriptor();
        tell(error.code());
    }
}

void SettingsWatch::State::open() {
    const auto checked = [](int descriptor) {
        if (descriptor < 0) {
            throw SystemError(errno);
        }
        return Descriptor(descriptor);
    };
    events = checked(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    timer = checked(::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC));
    both = checked(::epoll_create1(EPOLL_CLOEXEC));
    join(events.get());
    join(timer.get());
}

void SettingsWatch::State::join(int descriptor) const {
    epoll_event interest{};
    interest.events = EPOLLIN;
    interest.data.fd = descriptor;
    if (::epoll_ctl(both.get(), EPOLL_CTL_ADD, descriptor, &interest) != 0) {
        throw SystemError(errno);
    }
}

/// Begins afresh: which folders count changes with the links and folders on the way.
void SettingsWatch::State::watchAll() {
    for (const auto& [watched, inside] : std::exchange(names, {})) {
        ::inotify_rm_watch(events.get(), watched);
    }
    problem.clear();
    for (const auto& path : hops(file)) {
        for (int attempt = 0; attempt < mostAttempts && !watch(path); ++attempt) {
        }
    }
}

/// Watches the path's folder or, while that is missing, for the coming of what is missing. False when that
/// came meanwhile.
bool SettingsWatch::State::watch(const std::filesystem::path& path) {
    auto awaited = path;
    int watched = -1;
    while (watched < 0) {
        const auto folder = awaited.parent_path();
        watched = ::inotify_add_watch(events.get(), folder.c_str(), noticed);
        if (watched < 0 && ((errno != ENOENT && errno != ENOTDIR) || folder == awaited)) {
            tell(errno);
            return true;
        }
        if (watched >= 0) {
            names[watched].insert(awaited.filename().string());
            return awaited == path || !isFolder(awaited);
        }
        awaited = folder;
    }
    return true;
}

bool SettingsWatch::State::concernsUs(const inotify_event& event) const {
    if ((event.mask & IN_Q_OVERFLOW) != 0) {
        return true;
    }
    const auto folder = names.find(event.wd);
    if (folder == names.end()) {
        return false;
    }
    return (event.mask & folderGone) != 0 || (event.len > 0 && folder->second.contains(event.name));
}

/// Whether there was one that counts.
bool SettingsWatch::State::takeEvents() {
    alignas(inotify_event) std::array<char, 16 * 1024> buffer{};
    bool any = false;
    ssize_t length = 0;
    while ((length = ::read(events.get(), buffer.data(), buffer.size())) > 0) {
        for (const char* at = buffer.data(); at < buffer.data() + length;) {
            const auto& event = *reinterpret_cast<const inotify_event*>(at);
            any = concernsUs(event) || any;
            at += sizeof(inotify_event) + event.len;
        }
    }
    return any;
}

void SettingsWatch::State::armTimer() {
    const auto now = Clock::now();
    firstChange = firstChange.value_or(now);
    const auto due = std::min(now + pauses.calm, *firstChange + pauses.most);
    const auto delay = std::max<std::chrono::nanoseconds>(due - now, std::chrono::nanoseconds(1));
    const auto seconds = std::chrono::floor<std::chrono::seconds>(delay);
    itimerspec setting{};
    setting.it_value.tv_sec = seconds.count();
    setting.it_value.tv_nsec = (delay - seconds).count();
    ::timerfd_settime(timer.get(), 0, &setting, nullptr);
}

bool SettingsWatch::State::takeExpiry() {
    std::uint64_t times = 0;
    if (::read(timer.get(), &times, sizeof times) != sizeof times) {
        return false;
    }
    firstChange.reset();
    return true;
}

void SettingsWatch::State::tell(int code) {
    problem = "Changes that others make to the settings file aren't noticed: " + errorText(code);
    log::lifecycle.error("couldn't watch the settings file: " + errorText(code));
}

SettingsWatch::SettingsWatch(std::filesystem::path file, std::function<void()> changed, Pauses pauses)
    : state_(std::make_unique<State>(std::move(file), std::move(changed), pauses)) {}

SettingsWatch::SettingsWatch(std::filesystem::path file, std::function<void()> changed)
    : SettingsWatch(std::move(file), std::move(changed), Pauses()) {}

SettingsWatch::~SettingsWatch() = default;

int SettingsWatch::descriptor() const {
    return state_->both.get();
}

void SettingsWatch::ready() {
    if (!state_->both.isOpen()) {
        return;
    }
    if (state_->takeEvents()) {
        state_->watchAll();
        state_->armTimer(); // after: what happens before the file is read again then counts
    }
    if (state_->takeExpiry()) {
        const auto changed = state_->changed; // which may end us
        changed();
    }
}

const std::string& SettingsWatch::problem() const {
    return state_->problem;
}

} // namespace tessivar
