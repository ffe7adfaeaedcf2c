// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Engine.h"

#include <utility>

namespace fluvane {

DownloadManager::Engine::Engine(DownloadManager& manager, Config config, Ports ports_,
                                Environment environment_)
    : conditions{.config = std::move(config), .tuning = {}, .limitedNetwork = {}}, ports(std::move(ports_)),
      notices(std::make_shared<Notices>(ports.notifier, ports.scheduler, conditions, list)),
      environment(std::move(environment_)), servers(environment.servers, environment.today),
      sessions(environment.sessions, list), turns({.listChanged = [this] { saver.changed(); },
                                                   .settle = [&manager] { manager.settle(); },
                                                   .shown =
                                                       [&manager] {
                                                           if (manager.onChange) {
                                                               manager.onChange();
                                                           }
                                                       }}),
      disk(ports.files, list, turns), space(disk, ports.scheduler, list, turns),
      saver(ports.store, ports.scheduler, list, turns),
      connections(ports.transport, ports.scheduler, list, conditions, servers, turns,
                  [this](DownloadID id, Token token, const TransferEvent& event) {
                      runner.received(id, token, event);
                  }),
      growth(list, conditions, connections), leftovers(disk, list, saver, turns),
      starter(disk, saver, list, conditions, servers, environment),
      retries(ports.scheduler, ports.random, conditions, turns,
              [this](DownloadID id) { runner.retried(id); }),
      finisher(disk, notices, conditions, saver, turns, environment.today,
               [this](Download& download, const std::string& sentence) { runner.fail(download, sentence); }),
      runner(list, conditions, turns,
             {.saver = saver,
              .connections = connections,
              .growth = growth,
              .starter = starter,
              .retries = retries,
              .finisher = finisher,
              .space = space,
              .disk = disk},
             notices, ports.scheduler, environment.today),
      mover(disk, saver, list, conditions, runner, finisher, turns, ports.scheduler),
      removals(runner, finisher, mover, leftovers, list, turns, ports.scheduler),
      beat(ports.scheduler, ports.power, list, conditions, turns,
           [&manager](std::int64_t beats) { manager.beaten(beats); }) {}

} // namespace fluvane
