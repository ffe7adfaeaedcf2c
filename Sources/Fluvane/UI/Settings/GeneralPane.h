// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Ports/Autostart.h"
#include "Fluvane/UI/Models/WindowContext.h"
#include "Fluvane/UI/Settings/Form.h"

class QCheckBox;

namespace fluvane {

class LiveConfig;
class MessageLine;

class GeneralPane : public Form {
    Q_OBJECT

public:
    GeneralPane(WindowContext& context, LiveConfig& live, Autostart& autostart, MessageLine& message);

protected:
    /// Other programs switch opening at login on and off, too.
    void showEvent(QShowEvent* event) override;

private:
    void addSwitches();
    void addBrowserChoices();
    void addFileButtons();
    void setAutostart(bool on);
    void showAutostart();
    void askWhereToExport();
    void askWhatToImport();
    void exportTo(const QString& path);
    void importFrom(const QString& path);

    WindowContext& context_;
    LiveConfig& live_;
    Autostart& autostart_;
    MessageLine& message_;
    QCheckBox* atLogin_;
};

} // namespace fluvane
