#pragma once

#include "Fluvane/Linux/Services/Calls.h"

#include <QObject>
#include <QTimer>

#include <chrono>
#include <functional>

namespace fluvane {

/// Whether anything shows tray items, and what kind of tray it is. Main thread; nothing here waits.
///
/// Qt fixes the kind for the whole process with the first question about it, so nobody may make a
/// QSystemTrayIcon, or ask whether there is a tray, before this one knows. An old embedding tray is therefore
/// taken only after some patience, and then for good.
class TrayHost : public QObject {
    Q_OBJECT

public:
    enum class Kind { none, statusNotifier, embedding };
    static constexpr std::chrono::seconds patience{10};

    /// The bus must outlive it. `hasEmbeddingTray` is asked when the patience ends.
    explicit TrayHost(Bus& session, std::function<bool()> hasEmbeddingTray = embeddingTrayIsThere,
                      std::chrono::milliseconds wait = patience);

    [[nodiscard]] Kind kind() const { return kind_; }
    Q_SIGNAL void changed();

    /// On an X display: whether its tray selection has an owner.
    [[nodiscard]] static bool embeddingTrayIsThere();

private:
    void watcherChanged(const QString& owner);
    void askForHost();
    void hostIs(bool there);
    void lookForEmbeddingTray();
    void set(Kind kind);
    [[nodiscard]] std::function<void(const QDBusMessage&)> ifFromWatcher(bool there);

    Bus& bus_;
    std::function<bool()> hasEmbeddingTray_;
    Kind kind_ = Kind::none;
    QTimer patience_;
    QObject* question_ = nullptr; ///< Answers to questions of an earlier watcher end with it.
    ServiceOwner watcher_;
    BusSignal registered_;
    BusSignal unregistered_;
};

} // namespace fluvane
