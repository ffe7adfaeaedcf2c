// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace fluvane::support {

/// What a function is given and what it must return, under a name.
template <class In, class Out>
struct NamedRow {
    const char* name;
    In given;
    Out expected;
};
template <class In, class Out>
using NamedRows = std::vector<NamedRow<In, Out>>;
/// The same, named by what is given.
template <class In, class Out>
using Rows = std::vector<std::pair<In, Out>>;

template <class In, class Out, class Function>
void expectRows(const NamedRows<In, Out>& rows, const Function& function) {
    for (const auto& [name, given, expected] : rows) {
        EXPECT_EQ(function(given), expected) << name;
    }
}
template <class In, class Out, class Function>
void expectRows(const Rows<In, Out>& rows, const Function& function) {
    for (const auto& [given, expected] : rows) {
        EXPECT_EQ(function(given), expected) << given;
    }
}

inline std::string repeated(std::string_view text, int count) {
    std::string result;
    for (int i = 0; i < count; ++i) {
        result += text;
    }
    return result;
}

} // namespace fluvane::support
