// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Linux/SerialQueue.h"
#include "FluvaneEngine/Platform.h"

#include <filesystem>
#include <string>
#include <vector>

namespace fluvane {

/// Sessions in one file, in memory as its file system has to be: `$XDG_RUNTIME_DIR` is, and ends with the
/// machine. Readable by its owner alone, in a folder that is the owner's alone; where that can't be had,
/// nothing is kept. No file while there is nothing to keep. What is pending is done before the destructor
/// returns.
class RuntimeSessionStore final : public SessionStore {
public:
    /// `applicationIdentifier` labels the queue.
    RuntimeSessionStore(std::filesystem::path file, const std::string& applicationIdentifier);

    [[nodiscard]] std::vector<KeptSession> load() override;
    void keep(std::vector<KeptSession> sessions) override;

private:
    const std::filesystem::path file_;
    SerialQueue queue_; ///< Last, so that it ends first.
};

} // namespace fluvane
