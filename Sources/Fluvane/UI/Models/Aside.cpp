// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/Aside.h"

#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace fluvane::aside {

namespace {

/// Where a result arrives, as long as anybody wants it.
struct Mailbox {
    std::mutex mutex;
    QObject* receiver = nullptr;

    void deliver(Finish finish) {
        const std::lock_guard lock(mutex);
        if (receiver) {
            QMetaObject::invokeMethod(
                receiver,
                [at = receiver, finish = std::move(finish)] {
                    at->deleteLater();
                    finish();
                },
                Qt::QueuedConnection);
        }
    }
    void close() {
        const std::lock_guard lock(mutex);
        receiver = nullptr;
    }
};

/// Ends with its context; what is on its way to it then is dropped by the event loop.
class Receiver : public QObject {
public:
    Receiver(QObject* context, std::shared_ptr<Mailbox> mailbox)
        : QObject(context), mailbox_(std::move(mailbox)) {
        mailbox_->receiver = this;
    }
    ~Receiver() override { mailbox_->close(); }
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;

private:
    std::shared_ptr<Mailbox> mailbox_;
};

} // namespace

void run(QObject* context, std::function<Finish()> work) {
    auto mailbox = std::make_shared<Mailbox>();
    new Receiver(context, mailbox); // the context's own
    try {
        std::thread([mailbox, work] { mailbox->deliver(work()); }).detach();
    } catch (const std::system_error&) { // no more threads: late is better than never
        mailbox->deliver(work());
    }
}

} // namespace fluvane::aside
