// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QDBusContext>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

class QDBusConnection;
class QDBusMessage;
class QWidget;

namespace tessivar {

/// The desktop's own window for choosing folders, over its portal. It is asked for its version without
/// waiting; until it has answered, and where there is none, `isThere` is false. Main thread.
class FilePortal : public QObject, protected QDBusContext {
    Q_OBJECT

public:
    explicit FilePortal(QObject* parent);
    ~FilePortal() override;

    /// For each connection that is made; what was known by the one before is forgotten.
    void follow(const QDBusConnection& connection);
    [[nodiscard]] bool isThere() const { return isThere_; }

    struct Question {
        QString title;
        QString accept; ///< What the button says; empty: the desktop's own words.
        QString folder; ///< Where it begins.
    };
    /// The chosen folder; nothing when the user gave up. With `failed` there was no window.
    struct Answer {
        std::optional<QString> folder{};
        bool failed = false;
    };
    using Answered = std::function<void(const Answer&)>;
    /// In front of the window. One at a time: to the one before nothing is the answer.
    void askForFolder(const QWidget& window, const Question& question, Answered answered);
    /// The question is gone, without an answer.
    void withdraw();

private:
    Q_SLOT void ownerChanged(const QDBusMessage& signal);
    Q_SLOT void responded(const QDBusMessage& signal);
    void probe(const QDBusConnection& connection);
    void finish(const Answer& answer);

    struct Request;
    std::optional<QString> connection_; ///< Its name.
    bool isThere_ = false;
    std::unique_ptr<Request> request_;
};

} // namespace tessivar
