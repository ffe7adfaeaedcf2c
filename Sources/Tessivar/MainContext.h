// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <functional>

namespace tessivar {

/// The application's main queue, as the application hands it in. Neither function calls `work` from inside
/// the call. Must outlive whatever it is given to.
struct MainContext {
    std::function<void(std::function<void()> work)> post;                  ///< From any thread, in order.
    std::function<void(double seconds, std::function<void()> work)> after; ///< From the main queue.
};

} // namespace tessivar
