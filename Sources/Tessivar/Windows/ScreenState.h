// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <nlohmann/json_fwd.hpp>

#include <QWidget>

#include <string>
#include <vector>

class QImage;
class QMenu;

namespace tessivar {

/// What a person sees, in the words that a screen reader says. Main thread.
namespace screenState {

/// The rows of one list that are told; a longer list says how many it has.
inline constexpr int mostRows = 500;

/// An action's property with its text as it reads, where its own is written for somebody else.
inline constexpr const char* spoken = "spoken";

/// Every window on screen: its name and title, its texts, controls, rows and the actions that can be used.
[[nodiscard]] nlohmann::json windows();
/// The items of a menu, those of its submenus within them.
[[nodiscard]] nlohmann::json menu(const QMenu& menu);

} // namespace screenState

/// Where pictures are written: `<folder>/<prefix><name>.png`.
struct Pictures {
    std::string folder;
    std::string prefix;
};
/// Draws every window as it stands, under the window's name. Returns the paths. Fails with
/// std::runtime_error, a sentence for the user. Works on any platform, also without a screen.
[[nodiscard]] std::vector<std::string> drawWindows(const Pictures& into);
/// Saves one picture the same way.
[[nodiscard]] std::string savePicture(const QImage& picture, const Pictures& into, const std::string& name);

} // namespace tessivar
