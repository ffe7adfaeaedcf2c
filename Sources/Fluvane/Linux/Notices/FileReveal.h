#pragma once

#include "FluvaneCore/URL.h"

#include <memory>
#include <string>

namespace fluvane {

class Bus;

/// Shows files in the desktop's file manager. For the main queue; no call waits for the bus.
class FileReveal {
public:
    /// Seconds that a file manager has to answer before the folder is opened by other means.
    static constexpr double patience = 10;

    /// The bus must outlive it.
    explicit FileReveal(Bus& session);
    ~FileReveal();
    FileReveal(const FileReveal&) = delete;
    FileReveal& operator=(const FileReveal&) = delete;

    /// Opens the file's folder with the file selected; just the folder when the file is gone or no file
    /// manager is on the bus, and nothing when the folder is gone too. The token, if any, lets the file
    /// manager's window come to the front.
    void show(const URL& file, const std::string& activationToken = {});

private:
    class Manager;
    std::unique_ptr<Manager> manager_;
};

} // namespace fluvane
