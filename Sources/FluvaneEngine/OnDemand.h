// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <memory>

namespace fluvane {

/// A value that takes memory only once something is changed in it; before that it reads as a new one. Of
/// thousands of downloads few ever run at once.
template <class T>
class OnDemand {
public:
    [[nodiscard]] const T& operator*() const { return value_ ? *value_ : asNew(); }
    [[nodiscard]] const T* operator->() const { return &**this; }
    /// For changing it.
    [[nodiscard]] T& own() {
        if (!value_) {
            value_ = std::make_unique<T>();
        }
        return *value_;
    }
    /// The same, null while nothing was changed.
    [[nodiscard]] T* ifOwn() { return value_.get(); }
    /// As a new one.
    void reset() { value_.reset(); }

private:
    static const T& asNew() {
        static const T value;
        return value;
    }
    std::unique_ptr<T> value_;
};

} // namespace fluvane
