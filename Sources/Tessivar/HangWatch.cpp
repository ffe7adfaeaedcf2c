// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/HangWatch.h"

#include "Tessivar/CrashHandler.h"
#include "Tessivar/HangJudge.h"
#include "Tessivar/Report.h"
#include "Tessivar/ThreadStack.h"
#include "TessivarCore/AppIdentity.h"
#include "TessivarCore/FileSystem.h"
#include "TessivarCore/Log.h"

#include <fmt/format.h>

#include <fcntl.h>
#include <pthread.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <exception>
#include <optional>
#include <string>
#include <thread>

namespace tessivar {

namespace {

using namespace std::chrono_literals;
using Time = HangJudge::Time;
using std::chrono::milliseconds;

Time now(clockid_t clock = CLOCK_MONOTONIC) {
    timespec time{};
    clock_gettime(clock, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

/// The report of one hang, in its file.
class HangReport {
public:
    HangReport(const std::filesystem::path& file, std::int64_t began, milliseconds limit)
        : file_(::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600)) {
        if (!file_.isOpen()) {
            throw SystemError(errno);
        }
        ReportWriter writer(file_.get());
        const auto& app = AppIdentity::current;
        writeReportHead(writer, {.kind = "hang",
                                 .program = app.displayName.c_str(),
                                 .version = app.version.c_str(),
                                 .began = began,
                                 .time = std::time(nullptr)});
        writer.text("Limit: ").decimal(limit.count()).text("\n");
    }

    void addStack(ThreadStackReader& thread) {
        const std::string state(1, thread.state());
        const StackTrace* stack = thread.read();
        ReportWriter writer(file_.get());
        writer.text("State: ").text(state.c_str()).text("\nStack:\n");
        if (stack) {
            stack->write(writer, AppIdentity::current.displayName.c_str());
        }
        writer.text("End\n");
    }

    void addEnd(milliseconds lasted) {
        ReportWriter(file_.get()).text("Lasted: ").decimal(lasted.count()).text("\n");
    }

private:
    Descriptor file_;
};

} // namespace

/// What both threads see is atomic; the order of all of it is the same for both, so that each either sees
/// what the other did or is seen.
struct HangWatch::State {
    explicit State(Options given) : options(std::move(given)), judge(options.limit) {}

    [[nodiscard]] bool isMainThread() const { return running && pthread_equal(pthread_self(), mainThread); }
    void nextStep(bool working);
    void wakeIn(Time time) const;

    void watch();
    void look();
    void beginHang(std::uint64_t seen);
    void endHang();
    void rest();

    Options options;
    Descriptor timer;
    pthread_t mainThread{};
    std::thread watcher;
    std::optional<ThreadStackReader> stack;
    std::int64_t began = 0;

    // The main thread's.
    std::uint64_t steps = 0;
    int depth = 0;

    // Both threads'.
    std::atomic<bool> running = false;
    std::atomic<std::uint64_t> step = 0; ///< Odd while the main thread works.
    std::atomic<Time> since{};           ///< When the step began.
    std::atomic<bool> armed = false;     ///< The watcher will look by itself.
    std::atomic<bool> hanging = false;   ///< The main thread is to tell when it goes on.
    std::atomic<Time> wentOn{};

    // The watcher's.
    HangJudge judge;
    Time due{};
    bool inHang = false;
    Time hangBegan{};
    std::optional<HangReport> report;
    int reports = 0;
};

void HangWatch::State::wakeIn(Time time) const {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    itimerspec setting{};
    setting.it_value.tv_sec = seconds.count();
    setting.it_value.tv_nsec = (time - seconds).count();
    timerfd_settime(timer.get(), 0, &setting, nullptr);
}

/// On the main thread.
void HangWatch::State::nextStep(bool working) {
    const Time time = now();
    since = time;
    step = ++steps * 2 + (working ? 1 : 0);
    if (hanging && hanging.exchange(false)) {
        wentOn = time;
        wakeIn(1ns);
    }
    if (working && !armed && !armed.exchange(true)) {
        wakeIn(judge.interval());
    }
}

void HangWatch::State::watch() {
    pthread_setname_np(pthread_self(), "hang watch");
    std::uint64_t times = 0;
    while (running) {
        if (::read(timer.get(), &times, sizeof times) > 0) {
            look();
        }
    }
    if (inHang && !hanging) {
        endHang();
    }
}

void HangWatch::State::look() {
    if (inHang) {
        if (hanging) {
            return; // it tells when it goes on
        }
        endHang();
    }
    const std::uint64_t seen = step;
    const Time time = now();
    const char state = seen % 2 == 1 ? stack->state() : 'S';
    const auto verdict = judge.at({.step = seen,
                                   .now = time,
                                   .due = due == Time() ? time : due,
                                   .asleep = now(CLOCK_BOOTTIME) - time,
                                   .stopped = state == 'T' || state == 't'});
    if (verdict == HangJudge::Verdict::hangs) {
        beginHang(seen);
    } else if (verdict == HangJudge::Verdict::working) {
        due = now() + judge.interval();
        wakeIn(judge.interval());
    } else {
        rest();
    }
}

/// No look until the main thread asks for one, unless it has begun to work in this very moment.
void HangWatch::State::rest() {
    due = {};
    armed = false;
    if (step % 2 == 1 && !armed.exchange(true)) {
        wakeIn(judge.interval());
    }
}

void HangWatch::State::beginHang(std::uint64_t seen) {
    hangBegan = since;
    hanging = true;
    inHang = true;
    if (step != seen && hanging.exchange(false)) { // it went on in this very moment
        inHang = false;
        rest();
        return;
    }
    log::lifecycle.error(fmt::format("the main queue hasn't answered for {} ms", options.limit.count()));
    try {
        const auto kind = fmt::format("hang{}", ++reports);
        report.emplace(options.folder / reportName(kind, RunID::current()), began, options.limit);
        report->addStack(*stack);
        removeOldReports(options.folder);
    } catch (const std::exception& error) {
        log::lifecycle.error("the hang couldn't be recorded", error);
    }
    if (options.hung) {
        options.hung();
    }
}

void HangWatch::State::endHang() {
    inHang = false;
    due = {};
    const auto lasted = std::chrono::duration_cast<milliseconds>(wentOn.load() - hangBegan);
    if (report) {
        report->addEnd(lasted);
        report.reset();
    }
    log::lifecycle.error(fmt::format("the main queue answers again after {} ms", lasted.count()));
    if (options.recovered) {
        options.recovered(lasted);
    }
}

HangWatch::HangWatch(Options options) : state_(std::make_unique<State>(std::move(options))) {}

HangWatch::~HangWatch() {
    stop();
}

void HangWatch::start() noexcept {
    State& state = *state_;
    const sigset_t blocked = CrashHandler::signalsOfOthers(); // by the watcher, which inherits the mask
    sigset_t before;
    pthread_sigmask(SIG_SETMASK, &blocked, &before);
    try {
        createFolders(state.options.folder, 0700);
        state.timer = Descriptor(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC));
        if (!state.timer.isOpen()) {
            throw SystemError(errno);
        }
        state.mainThread = pthread_self();
        state.began = std::time(nullptr);
        state.stack.emplace();
        state.armed = false;
        state.hanging = false;
        state.due = {};
        state.running = true;
        state.watcher = std::thread([&state] { state.watch(); });
        busy();
    } catch (const std::exception& error) {
        state.running = false;
        log::lifecycle.error("hangs aren't watched for", error);
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void HangWatch::stop() noexcept {
    State& state = *state_;
    if (state.watcher.joinable()) {
        idle();
        state.running = false;
        state.wakeIn(1ns);
        state.watcher.join();
        state.stack.reset();
    }
}

void HangWatch::busy() noexcept {
    if (state_->isMainThread()) {
        state_->nextStep(true);
    }
}

void HangWatch::idle() noexcept {
    if (state_->isMainThread()) {
        state_->nextStep(false);
    }
}

void HangWatch::enter() noexcept {
    if (state_->isMainThread()) {
        ++state_->depth;
        state_->nextStep(true);
    }
}

void HangWatch::leave() noexcept {
    if (state_->isMainThread()) {
        state_->nextStep(--state_->depth > 0);
    }
}

} // namespace tessivar
