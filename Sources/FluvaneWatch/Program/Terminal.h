// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneWatch/Layout.h"

#include <chrono>
#include <string>
#include <vector>

namespace fluvane::watch {

/// Whether standard output can be drawn on in place.
[[nodiscard]] bool isDrawable();
/// Whether what is written there is read as UTF-8.
[[nodiscard]] bool endsInUTF8();

/// Keeps a picture in place on standard output: each picture replaces the last. The cursor is hidden
/// meanwhile and comes back with the object's end or a signal that ends the program. At most one object at a
/// time.
class Terminal {
public:
    Terminal();
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /// As wide and high as the terminal is now, with the colours the user wants.
    [[nodiscard]] Style style() const;
    void draw(const std::vector<Line>& lines, const Style& style);

private:
    [[nodiscard]] std::size_t rowsTaken(std::size_t width) const;

    std::vector<Line> last_;
    bool unicode_;
    bool colour_;
};

/// Waits until the time is over or the terminal has changed.
void waitForNextPicture(std::chrono::milliseconds time);

} // namespace fluvane::watch
