// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/LinuxScheduler.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <QTimerEvent>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <deque>
#include <iterator>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

namespace fluvane {

namespace {

using Clock = std::chrono::steady_clock;

/// The loop counts milliseconds in 32 bits; a longer wait is made of several.
constexpr double longestWait = 7.0 * 24 * 3600;

double secondsNow() {
    return std::chrono::duration<double>(Clock::now().time_since_epoch()).count();
}

} // namespace

/// The work of one `after`, held by whoever may cancel it and by the loop until it runs.
class LinuxScheduler::Task : public Cancellable {
public:
    Task(std::weak_ptr<Loop> loop, double deadline, std::function<void()> work)
        : loop_(std::move(loop)), deadline_(deadline), work_(std::move(work)) {}

    void cancel() override;
    void run() {
        if (const auto work = std::exchange(work_, nullptr)) {
            work();
        }
    }

    [[nodiscard]] double deadline() const { return deadline_; }
    void setTimer(int timer) { timer_ = timer; }

private:
    std::weak_ptr<Loop> loop_;
    double deadline_;
    std::function<void()> work_;
    int timer_ = 0; ///< Of the loop; 0: none.
};

class LinuxScheduler::Loop : public QObject {
public:
    Loop();
    void post(std::function<void()> work);
    void wait(const std::shared_ptr<Task>& task);
    void stopWaiting(int timer);

    bool event(QEvent* event) override;

protected:
    void timerEvent(QTimerEvent* event) override;

private:
    static QEvent::Type turnEvent();
    void runTurn() noexcept;

    std::mutex mutex_; ///< For the two below.
    std::vector<std::function<void()>> posted_;
    bool turnComing_ = false;

    std::deque<std::function<void()>> ready_;
    std::unordered_map<int, std::shared_ptr<Task>> timers_;
};

LinuxScheduler::Loop::Loop() {
    // A loop within a loop (a dialog that work opened) goes on with the work left over.
    QObject::connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::aboutToBlock, this,
                     [this] {
                         if (!ready_.empty()) {
                             QCoreApplication::postEvent(this, new QEvent(turnEvent()));
                         }
                     });
}

QEvent::Type LinuxScheduler::Loop::turnEvent() {
    static const auto type = static_cast<QEvent::Type>(QEvent::registerEventType());
    return type;
}

void LinuxScheduler::Loop::post(std::function<void()> work) {
    const std::lock_guard lock(mutex_);
    posted_.push_back(std::move(work));
    if (!std::exchange(turnComing_, true)) {
        QCoreApplication::postEvent(this, new QEvent(turnEvent()));
    }
}

void LinuxScheduler::Loop::wait(const std::shared_ptr<Task>& task) {
    const double left = std::min(std::max(task->deadline() - secondsNow(), 0.0), longestWait);
    const auto timer = startTimer(static_cast<int>(std::ceil(left * 1000)), Qt::PreciseTimer);
    task->setTimer(timer);
    timers_.emplace(timer, task);
}

void LinuxScheduler::Loop::stopWaiting(int timer) {
    killTimer(timer);
    timers_.erase(timer);
}

bool LinuxScheduler::Loop::event(QEvent* event) {
    if (event->type() == turnEvent()) {
        runTurn();
        return true;
    }
    return QObject::event(event);
}

/// One turn: what was posted before it, and not what that posts.
void LinuxScheduler::Loop::runTurn() noexcept {
    {
        const std::lock_guard lock(mutex_);
        std::ranges::move(posted_, std::back_inserter(ready_));
        posted_.clear();
        turnComing_ = false;
    }
    for (auto count = ready_.size(); count > 0 && !ready_.empty(); --count) {
        const auto work = std::move(ready_.front());
        ready_.pop_front();
        work();
    }
}

void LinuxScheduler::Loop::timerEvent(QTimerEvent* event) {
    const auto found = timers_.find(event->timerId());
    if (found == timers_.end()) {
        return;
    }
    const auto task = found->second;
    stopWaiting(event->timerId());
    task->setTimer(0);
    if (task->deadline() > secondsNow()) {
        wait(task);
        return;
    }
    [&]() noexcept { task->run(); }();
}

void LinuxScheduler::Task::cancel() {
    const auto released = std::exchange(work_, nullptr);
    const auto loop = loop_.lock();
    if (loop && timer_ != 0) {
        loop->stopWaiting(std::exchange(timer_, 0));
    }
}

LinuxScheduler::LinuxScheduler() : loop_(std::make_shared<Loop>()) {}

LinuxScheduler::~LinuxScheduler() = default;

double LinuxScheduler::now() const {
    return secondsNow();
}

std::shared_ptr<Cancellable> LinuxScheduler::after(double seconds, std::function<void()> work) {
    auto task = std::make_shared<Task>(loop_, secondsNow() + seconds, std::move(work));
    if (seconds > 0) {
        loop_->wait(task);
    } else {
        loop_->post([task] { task->run(); });
    }
    return task;
}

void LinuxScheduler::post(std::function<void()> work) {
    loop_->post(std::move(work));
}

} // namespace fluvane
