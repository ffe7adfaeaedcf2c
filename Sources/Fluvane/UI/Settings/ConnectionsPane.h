// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Settings/Form.h"
#include "FluvaneEngine/Config.h"

namespace fluvane {

class LiveConfig;

class ConnectionsPane : public Form {
    Q_OBJECT

public:
    explicit ConnectionsPane(LiveConfig& live);

private:
    void addConnections();
    void addPerServer();
    void addSimultaneous();
    void addSpeedLimit();

    LiveConfig& live_;
};

} // namespace fluvane
