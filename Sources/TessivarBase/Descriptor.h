// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <unistd.h>

#include <utility>

namespace tessivar {

/// An open file or socket, closed with its owner.
class Descriptor {
public:
    Descriptor() = default;
    /// Takes the number over; a negative one is none.
    explicit Descriptor(int number) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Descriptor() { reset(); }

    [[nodiscard]] int get() const { return number_; }
    [[nodiscard]] bool isOpen() const { return number_ >= 0; }
    int release() { return std::exchange(number_, -1); }
    void reset() {
        if (isOpen()) {
            ::close(release());
        }
    }

private:
    int number_ = -1;
};

} // namespace tessivar
