// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/URL.h"

#include <memory>
#include <string>

namespace fluvane {

class Bus;

/// Shows files in the desktop's file manager. For the main queue; no call waits for the bus.
class FileReveal {
public:
    /// The bus must outlive it. A file manager that doesn't answer within `patience` seconds counts as none.
    explicit FileReveal(Bus& session, double patience = 10);
    ~FileReveal();
    FileReveal(const FileReveal&) = delete;
    FileReveal& operator=(const FileReveal&) = delete;

    /// Opens the file's folder with the file selected; just the folder when the file is gone or no file
    /// manager is on the bus, and nothing when the folder is gone too. The token, if any, lets the window
    /// come to the front. Only for file locations; of a folder's, the folder is what is selected.
    void show(const URL& file, const std::string& activationToken = {});

private:
    class Manager;
    std::unique_ptr<Manager> manager_;
};

} // namespace fluvane
