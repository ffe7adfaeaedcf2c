// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Linux/Services/Calls.h"

#include <QAbstractNativeEventFilter>
#include <QObject>
#include <QTimer>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

namespace fluvane {

/// Whether anything shows tray items, and what kind of tray it is. Main thread; nothing here waits.
///
/// Qt fixes the kind for the whole process with the first question about it, so nobody may make a
/// QSystemTrayIcon, or ask whether there is a tray, before this one knows. An old embedding tray is therefore
/// taken only after some patience, and then for good.
class TrayHost : public QObject, private QAbstractNativeEventFilter {
    Q_OBJECT

public:
    enum class Kind { none, statusNotifier, embedding };
    static constexpr std::chrono::seconds patience{10};

    /// The bus must outlive it. `hasEmbeddingTray` is asked when the patience ends.
    explicit TrayHost(Bus& session, std::function<bool()> hasEmbeddingTray = embeddingTrayIsThere,
                      std::chrono::milliseconds wait = patience);
    ~TrayHost() override;

    [[nodiscard]] Kind kind() const { return kind_; }
    Q_SIGNAL void changed();

    /// On an X display: whether its tray selection has an owner.
    [[nodiscard]] static bool embeddingTrayIsThere();

private:
    void watcherChanged(const QString& owner);
    void askForHost();
    void hostIs(bool there);
    void lookForEmbeddingTray();
    /// A tray that takes the selection says so to every program.
    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;
    void set(Kind kind);
    [[nodiscard]] std::function<void(const QDBusMessage&)> ifFromWatcher();

    Bus& bus_;
    std::function<bool()> hasEmbeddingTray_;
    Kind kind_ = Kind::none;
    QTimer patience_;
    std::uint32_t announcement_ = 0; ///< The kind of message that a new tray sends; 0 while not listened to.
    std::unique_ptr<QObject> question_; ///< Answers to earlier ones end with it.
    bool hasBeenNotifier_ = false;      ///< Which fixed the kind of tray for this process.
    ServiceOwner watcher_;
    BusSignal registered_;
    BusSignal unregistered_;
};

} // namespace fluvane
