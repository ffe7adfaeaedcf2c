// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/URL.h"

#include <functional>
#include <vector>

class QMimeData;
class QObject;

/// The links in what is dropped on a window or lies on the clipboard: links, text, marked-up text, files of
/// links, in the formats that browsers and file managers offer. The main queue's.
namespace fluvane {

/// Cheap, for deciding whether a drop is welcome: looks at the offered formats only.
[[nodiscard]] bool mayHoldLinks(const QMimeData& data);

/// In order, no link twice. Reads dropped files (of up to 4 MB each) before it returns: for data that holds
/// none, or where waiting for a disk harms nobody.
[[nodiscard]] std::vector<URL> linksIn(const QMimeData& data);

/// The same without waiting for a disk: reads on another thread and calls back on a later turn of the main
/// queue, with no links, too; never once the context is gone. The data is taken before it returns.
void findLinks(const QMimeData& data, QObject* context, std::function<void(std::vector<URL>)> completion);

} // namespace fluvane
