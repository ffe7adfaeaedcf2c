// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <string>
#include <string_view>

/// What a report says about the system and this process, in lines. Reads files of the system: not for the
/// main thread. What can't be found out is left out. No names of users, hosts or files.
namespace tessivar::systemFacts {

/// libcurl, OpenSSL, kernel, distribution, C library.
[[nodiscard]] std::string versions();
/// Desktop, kind of session, displays, language: from the environment.
[[nodiscard]] std::string desktop();
/// CPU time, memory, threads and open files of this process; CPUs and memory of the machine.
[[nodiscard]] std::string process();

/// The name of the distribution by the contents of an os-release file; empty when it has none.
[[nodiscard]] std::string distribution(std::string_view osRelease);

} // namespace tessivar::systemFacts
