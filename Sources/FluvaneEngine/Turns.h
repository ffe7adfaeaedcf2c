// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Download.h"

#include <functional>
#include <memory>
#include <thread>
#include <utility>

namespace fluvane {

/// Turns of the engine: every command and every event opens one, and what follows from a change is done once,
/// at its end. A turn within a turn belongs to the outer one.
class Turns {
public:
    /// What is done at the end of a turn.
    struct Ends {
        std::function<void()>
            listChanged;              ///< At once with each change, so that whoever waits waits for this one.
        std::function<void()> settle; ///< Admits and fills; may change more, and is then called again.
        std::function<void()> shown;  ///< The observer's.
    };

    class [[nodiscard]] Turn {
    public:
        /// Settles; lets out what a port throws there.
        ~Turn() noexcept(false);
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

    private:
        friend class Turns;
        explicit Turn(Turns& turns) : turns_(turns) {}
        Turns& turns_;
    };

    explicit Turns(Ends ends) : ends_(std::move(ends)) {}

    /// On the engine's context; anything else is a fatal error.
    Turn open();
    /// The list changed: it is saved, downloads are admitted, the observer is called. Within a turn only.
    void changed();
    /// Changes the download's state.
    void set(Download& download, DownloadState state);
    /// Settings or the network changed, the list didn't by that: the same without saving.
    void conditionsChanged();
    /// Only what running downloads show changed.
    void progressed();
    /// Fatal where the engine's context isn't.
    void assertContext() const;
    /// From now on nothing that was wrapped runs.
    void end() { alive_.reset(); }
    /// Expired from then on. From any thread.
    [[nodiscard]] std::weak_ptr<bool> alive() const { return alive_; }

    /// Work for later, in a turn of its own; it doesn't outlive the engine. Nothing settles until it returns.
    template <class Work>
    [[nodiscard]] auto later(Work work) {
        return
            [this, alive = std::weak_ptr<bool>(alive_), work = std::move(work)](auto&&... arguments) mutable {
                if (!alive.expired()) {
                    const auto turn = open();
                    work(std::forward<decltype(arguments)>(arguments)...);
                }
            };
    }

private:
    void close();

    Ends ends_;
    int depth_ = 0;
    bool changed_ = false;
    bool shown_ = false;
    std::thread::id context_ = std::this_thread::get_id();
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace fluvane
