// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/URL.h"

#include <functional>
#include <vector>

class QObject;

namespace fluvane {

/// Calls back once, unless the context is gone, with those of the folders that are there, in the order given.
/// Each disk is asked aside; one that doesn't answer within a moment counts as not there. The main queue's.
void findPresentFolders(QObject* context, std::vector<URL> folders,
                        std::function<void(std::vector<URL>)> completion);

} // namespace fluvane
