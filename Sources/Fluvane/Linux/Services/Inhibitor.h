// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Linux/Services/Calls.h"

#include <QDBusUnixFileDescriptor>

#include <cstdint>
#include <functional>
#include <variant>

namespace fluvane {

/// One service that can keep the machine awake. Asks it when told to, and lets go when told to, also of what
/// is granted only after that.
class Inhibitor : public QObject {
public:
    /// How it is done there.
    struct Way {
        ServiceObject object;
        QVariantList arguments; ///< Of "Inhibit".
        /// The method that takes a cookie back; empty when what is granted is a descriptor to be closed.
        QString release;
    };

    /// The bus must outlive it. `changed`: it may have become usable, or useless.
    Inhibitor(Bus& bus, Way way, std::function<void()> changed);
    ~Inhibitor() override;

    void take();
    void release();

    [[nodiscard]] bool isHeld() const { return granted_.index() != 0; }
    /// There, and not known to refuse or to keep us waiting.
    [[nodiscard]] bool isPromising() const;
    /// An answer may still come.
    [[nodiscard]] bool isAsking() const { return asking_; }
    /// Nothing was heard for too long: others need not wait for it.
    void giveUpWaiting() { slow_ = true; }
    /// What was refused may be asked for again.
    void forgetRefusal() { refused_ = false; }

private:
    using Granted = std::variant<std::monostate, std::uint32_t, QDBusUnixFileDescriptor>;

    void ownerChanged();
    void askForIt();
    void answered(const QDBusMessage& answer);
    [[nodiscard]] Granted granted(const QDBusMessage& answer) const;
    void refused(const QDBusMessage& answer);
    void letGo();

    Bus& bus_;
    Way way_;
    std::function<void()> changed_;
    bool wanted_ = false;
    bool asking_ = false;
    bool slow_ = false;
    bool refused_ = false;
    bool retried_ = false; ///< Since it came, while it may still have been setting itself up.
    bool told_ = false;    ///< Of a refusal, in the log.
    int asked_ = 0;        ///< Tells the current question from those to an earlier owner.
    Granted granted_;
    ServiceOwner owner_; // last: it calls
};

} // namespace fluvane
