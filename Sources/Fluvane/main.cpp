// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Client/CLI.h"
#include "Fluvane/Client/StandardStreams.h"

#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>

namespace {

/// Where there is a display, or seems to be one, it is loaded with windows.
bool wantsWindows(int argc, char** argv) {
    const bool headless = std::any_of(argv + 1, argv + argc,
                                      [](const char* word) { return std::strcmp(word, "--headless") == 0; });
    const auto isSet = [](const char* name) {
        const char* value = std::getenv(name);
        return value && *value;
    };
    return !headless && (isSet("DISPLAY") || isSet("WAYLAND_DISPLAY") || isSet("QT_QPA_PLATFORM"));
}

/// In a build the module lies beside the executable, installed in the library folder beside the executable's.
void* loadApplication(const char* moduleName) {
    std::error_code unknown;
    const auto executable = std::filesystem::read_symlink("/proc/self/exe", unknown);
    const auto folder = executable.parent_path();
    const std::array places = {folder / moduleName, folder.parent_path() / "lib/fluvane" / moduleName};
    for (const auto& place : places) {
        if (std::filesystem::exists(place, unknown)) {
            return dlopen(place.c_str(), RTLD_NOW);
        }
    }
    return nullptr;
}

int runApplication(int argc, char** argv) {
    using Main = int(int, char**);
    const char* moduleName = wantsWindows(argc, argv) ? "fluvane-desktop.so" : "fluvane-application.so";
    void* application = loadApplication(moduleName);
    auto* run = application ? reinterpret_cast<Main*>(dlsym(application, "fluvaneApplication")) : nullptr;
    if (!run) {
        const char* why = dlerror();
        std::fprintf(stderr, "Fluvane can't start: its part %s %s%s.\n", moduleName,
                     why ? "couldn't be loaded: " : "is missing", why ? why : "");
        return 1;
    }
    return run(argc, argv);
}

} // namespace

int main(int argc, char** argv) {
    fluvane::standardStreams::keep();
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN); // a write past a file-size limit fails instead
    if (argc > 1 && argv[1][0] != '-') {
        return fluvane::cli::run({argv + 1, argv + argc});
    }
    return runApplication(argc, argv);
}
