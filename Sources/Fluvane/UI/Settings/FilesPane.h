// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Settings/Form.h"

namespace fluvane {

class LiveConfig;

class FilesPane : public Form {
    Q_OBJECT

public:
    explicit FilesPane(LiveConfig& live);

private:
    void addFolder();
    void addNaming();

    LiveConfig& live_;
};

} // namespace fluvane
