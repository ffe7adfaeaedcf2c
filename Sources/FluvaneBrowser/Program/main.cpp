// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Client/CLI.h"
#include "Fluvane/Client/DataFolders.h"
#include "Fluvane/Client/StandardStreams.h"
#include "FluvaneBrowser/Host.h"
#include "FluvaneBrowser/Manifests.h"
#include "FluvaneBrowser/Messages.h"
#include "TessivarPhrases/Language.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

using namespace fluvane;
using namespace fluvane::browser;

namespace {

constexpr std::string_view usage =
    "Usage: fluvane-browser --install | --uninstall\n"
    "\n"
    "Browsers start it to reach Fluvane: it carries the downloads that the extension offers,\n"
    "and the answers. The package tells Firefox and Chromium about it for all users.\n"
    "\n"
    "  --install    Tell the browsers of this user where it is\n"
    "  --uninstall  Undo that\n"
    "  --version    Print the version\n"
    "  --help       Print this\n";

std::filesystem::path executable() {
    std::error_code unknown;
    return std::filesystem::read_symlink("/proc/self/exe", unknown);
}

UserFolders userFolders() {
    const std::filesystem::path home = dataFolders::home();
    const char* config = std::getenv("XDG_CONFIG_HOME");
    return {.home = home, .config = config && config[0] == '/' ? config : home / ".config"};
}

int tell(const Written& written, std::string_view done) {
    std::string lines;
    for (const auto& file : written.files) {
        lines.append(done).append(file.native()).append("\n");
    }
    std::string problems;
    for (const auto& problem : written.problems) {
        problems += problem + "\n";
    }
    standardStreams::write(STDERR_FILENO, problems);
    return standardStreams::write(STDOUT_FILENO, lines) || !problems.empty() ? 1 : 0;
}

/// The pipes between the browser and a host.
class Port {
public:
    /// Until the browser closes it.
    void serve() {
        while (isOpen_) {
            pollfd input{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0};
            const int wait = host_.isWaiting() ? static_cast<int>(Host::betweenLooks.count()) : -1;
            const int ready = poll(&input, 1, wait);
            if (ready > 0) {
                read();
            } else if (ready == 0) {
                host_.look();
            }
        }
        host_.close();
    }

private:
    void read() {
        std::array<char, 65536> chunk; // NOLINT: filled by read
        const ssize_t count = ::read(STDIN_FILENO, chunk.data(), chunk.size());
        if (count <= 0) {
            isOpen_ = count < 0 && errno == EINTR;
            return;
        }
        reader_.feed({chunk.data(), static_cast<std::size_t>(count)});
        while (const auto message = reader_.next()) {
            host_.receive(*message);
        }
        isOpen_ = isOpen_ && !reader_.isLost();
        if (Host::Clock::now() - looked_ >= Host::betweenLooks) { // however much is said meanwhile
            looked_ = Host::Clock::now();
            host_.look();
        }
    }

    bool isOpen_ = true;
    MessageReader reader_;
    Host::Clock::time_point looked_;
    Host host_{
        {.send = [](const auto& arguments,
                    auto patience) { return cli::send(arguments, dataFolders::controlSocket(), patience); },
         .launch = [] { return cli::launchApp(executable().parent_path() / "fluvane"); },
         .say =
             [this](std::string_view message) {
                 const bool isTaken = !standardStreams::write(STDOUT_FILENO, framed(message));
                 isOpen_ = isOpen_ && isTaken;
             },
         .now = Host::Clock::now}};
};

int serve() {
    tessivar::setLanguage(tessivar::readLanguage(::getenv, tessivar::catalogueFolders(), "fluvane"));
    Port().serve();
    return 0;
}

int print(std::string_view text) {
    return standardStreams::write(STDOUT_FILENO, text) ? 1 : 0;
}

} // namespace

int main(int count, char** values) {
    standardStreams::keep();
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN); // a write past a file-size limit fails instead
    const std::vector<std::string> arguments(values + std::min(count, 1), values + count);
    if (isForTheExtension(arguments)) {
        return serve();
    }
    const std::string only = arguments.size() == 1 ? arguments[0] : "";
    if (only == "--help" || only == "-h") {
        return print(usage);
    }
    if (only == "--version") {
        return print("fluvane-browser " FLUVANE_VERSION "\n");
    }
    if (only == "--install") {
        return tell(install(userFolders(), executable()), "Wrote ");
    }
    if (only == "--uninstall") {
        return tell(uninstall(userFolders()), "Removed ");
    }
    standardStreams::write(STDERR_FILENO, usage);
    return 2;
}
