// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/URL.h"

#include <QObject>

#include <cstdint>
#include <optional>

namespace fluvane {

/// The free space where a folder is, or will be. The disk is asked aside, as it may hang; the main queue's.
class FolderSpace : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    /// From now on it is about this folder. One question at a time: what a hanging disk doesn't answer leaves
    /// the number unknown.
    void follow(const std::optional<URL>& folder);
    /// In bytes, for whoever isn't root; absent while it isn't known.
    [[nodiscard]] std::optional<std::int64_t> free() const { return free_; }

    Q_SIGNAL void changed();

private:
    void ask();

    std::optional<URL> folder_;
    std::optional<std::int64_t> free_;
    bool asking_ = false;
};

} // namespace fluvane
