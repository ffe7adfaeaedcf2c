// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QProcess>

#include <filesystem>
#include <memory>
#include <string>

namespace tessivar::support {

/// Crasher in a process of its own, its standard output in a pipe; ended with its owner.
inline std::unique_ptr<QProcess> crasher(const std::filesystem::path& folder, const std::string& way,
                                         const std::string& words = "") {
    // Sanitizers leave a program's own handlers alone only when asked to.
    const QString options = "handle_segv=0:handle_sigbus=0:handle_abort=0:handle_sigill=0:handle_sigfpe=0:"
                            "handle_sigtrap=0:use_sigaltstack=0:detect_leaks=0";
    const QString home = folder.c_str();
    const QString secret = words.c_str();
    auto child = std::make_unique<QProcess>();
    child->setEnvironment(
        {"ASAN_OPTIONS=" + options, "TSAN_OPTIONS=" + options, "SECRET=" + secret, "HOME=" + home});
    child->setStandardErrorFile(QProcess::nullDevice());
    child->start(CRASHER, {home, way.c_str(), secret});
    return child;
}

/// The signal that it ended by; 0 when it ended by itself.
inline int ending(QProcess& child) {
    child.waitForFinished(-1);
    return child.exitStatus() == QProcess::CrashExit ? child.exitCode() : 0;
}
inline int endOf(const std::filesystem::path& folder, const std::string& way, const std::string& words = "") {
    return ending(*crasher(folder, way, words));
}

} // namespace tessivar::support
