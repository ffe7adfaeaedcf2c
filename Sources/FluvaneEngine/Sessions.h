// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/DownloadList.h"

#include <memory>
#include <utility>
#include <vector>

namespace fluvane {

/// Which sessions are kept for the next start of the program: those of downloads that may still need them.
class Sessions {
public:
    /// Without a store none is.
    Sessions(std::shared_ptr<SessionStore> store, const DownloadList& list)
        : store_(std::move(store)), list_(list) {}

    /// Gives the downloads of a list just loaded what was kept for them.
    void restore();
    /// After changes of the list. A finished download's session is forgotten.
    void follow();
    /// Whether the server would be asked as by nobody, where it knew who asked.
    [[nodiscard]] static bool isLost(const Download& download);

private:
    std::shared_ptr<SessionStore> store_;
    const DownloadList& list_;
    std::vector<KeptSession> kept_;
};

} // namespace fluvane
