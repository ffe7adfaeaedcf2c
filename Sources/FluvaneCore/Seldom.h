// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <memory>
#include <optional>
#include <utility>

namespace fluvane {

/// An optional value that few have, and that takes only a pointer's room where it is absent. It never changes
/// but is replaced: copies share it, on any thread.
template <class T>
class Seldom {
public:
    Seldom() = default;
    Seldom(std::nullopt_t) {}
    Seldom(T value) : value_(std::make_shared<const T>(std::move(value))) {}
    Seldom(std::optional<T> value) : value_(value ? std::make_shared<const T>(*std::move(value)) : nullptr) {}

    [[nodiscard]] bool has_value() const { return value_ != nullptr; }
    [[nodiscard]] explicit operator bool() const { return has_value(); }
    [[nodiscard]] const T& operator*() const { return *value_; }
    [[nodiscard]] const T* operator->() const { return value_.get(); }
    [[nodiscard]] T value_or(T other) const { return value_ ? *value_ : std::move(other); }
    [[nodiscard]] operator std::optional<T>() const { return value_ ? std::optional(*value_) : std::nullopt; }
    void reset() { value_.reset(); }

    friend bool operator==(const Seldom& a, const Seldom& b) {
        return a.value_ == b.value_ || (a.value_ && b.value_ && *a.value_ == *b.value_);
    }
    friend bool operator==(const Seldom& a, std::nullopt_t) { return !a; }
    /// An absent one, too.
    friend bool operator==(const Seldom& a, const std::optional<T>& b) {
        return a.has_value() == b.has_value() && (!b || *a == *b);
    }
    friend bool operator==(const Seldom& a, const T& b) { return a && *a == b; }

private:
    std::shared_ptr<const T> value_;
};

} // namespace fluvane
