// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Application/Frontend.h"
#include "Tessivar/Qt/WatchedApplication.h"

namespace fluvane {

namespace {

class Headless : public Frontend {
public:
    std::unique_ptr<QCoreApplication> makeApplication(int& count, char** arguments,
                                                      tessivar::HangWatch& watch) override {
        return std::make_unique<tessivar::WatchedApplication<QCoreApplication>>(count, arguments, watch);
    }
    std::unique_ptr<ApplicationWindows> makeWindows(const ApplicationServices& /*parts*/) override {
        return nullptr;
    }
};

} // namespace

} // namespace fluvane

/// What the executable calls once it has loaded the application. An exception that gets here is a crash, and
/// is reported as one.
extern "C" __attribute__((visibility("default"))) int fluvaneApplication(int argc, char** argv) noexcept {
    fluvane::Headless frontend;
    return fluvane::runApplication(argc, argv, frontend);
}
