// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/ListFeed.h"

#include <algorithm>

namespace fluvane {

ListFeed::ListFeed() {
    timer_.setSingleShot(true);
    connect(&timer_, &QTimer::timeout, this, &ListFeed::tell);
}

void ListFeed::listChanged() {
    if (timer_.isActive()) {
        return;
    }
    const qint64 passed = sinceLast_.isValid() ? sinceLast_.elapsed() : interval;
    timer_.start(static_cast<int>(std::max<qint64>(0, interval - passed)));
}

void ListFeed::tell() {
    sinceLast_.start();
    Q_EMIT changed();
}

} // namespace fluvane
