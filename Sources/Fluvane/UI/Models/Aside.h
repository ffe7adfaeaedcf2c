// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QObject>

#include <functional>

namespace fluvane::aside {

/// Runs work on a thread of its own and then, on the main queue, what it returns, unless the context is gone
/// by then. Nobody ever waits for it: work that hangs on a disk holds up neither a window nor the end of the
/// application, so it may use nothing but what it owns. For work that a person starts, since each takes a
/// thread. Called on the main queue, the context's thread.
using Finish = std::function<void()>;
void run(QObject* context, std::function<Finish()> work);

} // namespace fluvane::aside
