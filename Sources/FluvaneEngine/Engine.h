// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Beat.h"
#include "FluvaneEngine/DiskSpace.h"
#include "FluvaneEngine/DiskWork.h"
#include "FluvaneEngine/DownloadManager.h"
#include "FluvaneEngine/Leftovers.h"
#include "FluvaneEngine/Mover.h"
#include "FluvaneEngine/Notices.h"
#include "FluvaneEngine/Removals.h"
#include "FluvaneEngine/Runner.h"
#include "FluvaneEngine/Sessions.h"

#include <functional>
#include <memory>

namespace fluvane {

/// The parts behind the manager, in the order in which they know each other.
struct DownloadManager::Engine {
    struct Ports {
        std::shared_ptr<HTTPTransport> transport;
        std::shared_ptr<FileStore> files;
        std::shared_ptr<Scheduler> scheduler;
        std::shared_ptr<DownloadStore> store;
        std::shared_ptr<PowerAssertion> power;
        std::shared_ptr<Notifier> notifier;
        std::function<double()> random;
    };

    Engine(DownloadManager& manager, Config config, Ports ports_, Environment environment_);

    Conditions conditions;
    Ports ports;
    std::shared_ptr<Notices> notices;
    Environment environment;
    ServerCounts servers;
    DownloadList list;
    Sessions sessions;
    Turns turns;
    DiskWork disk;
    DiskSpace space;
    ListSaver saver;
    Connections connections;
    GrowthControl growth;
    Leftovers leftovers;
    Starter starter;
    Retries retries;
    Finisher finisher;
    Runner runner;
    Mover mover;
    Removals removals;
    Beat beat;
};

} // namespace fluvane
