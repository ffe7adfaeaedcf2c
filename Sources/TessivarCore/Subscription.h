// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace tessivar {

/// Lasts as long as its owner keeps it; may be dropped at any time, also by the handler it stands for.
class [[nodiscard]] Subscription {
public:
    Subscription() = default;
    explicit Subscription(std::shared_ptr<const void> handler) : handler_(std::move(handler)) {}
    Subscription(Subscription&&) noexcept = default;
    Subscription& operator=(Subscription&&) noexcept = default;

private:
    std::shared_ptr<const void> handler_;
};

/// Handlers of a stream of values, called in the order of subscription. For one thread.
template <class Value>
class Subscribers {
public:
    using Handler = std::function<void(const Value&)>;

    Subscription subscribe(Handler handler) {
        auto shared = std::make_shared<const Handler>(std::move(handler));
        handlers_.push_back(shared);
        return Subscription(std::move(shared));
    }

    /// Handlers may subscribe, unsubscribe and notify meanwhile; a new one isn't called for this value.
    void notify(const Value& value) {
        std::erase_if(handlers_, [](const auto& handler) { return handler.expired(); });
        const auto now = handlers_;
        for (const auto& weak : now) {
            if (const auto handler = weak.lock()) {
                (*handler)(value);
            }
        }
    }

private:
    std::vector<std::weak_ptr<const Handler>> handlers_;
};

} // namespace tessivar
