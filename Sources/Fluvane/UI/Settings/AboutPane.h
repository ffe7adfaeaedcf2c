// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Settings/Form.h"
#include "Fluvane/UI/Settings/SettingsWindow.h"

#include <QPointer>

namespace fluvane {

class TextViewer;

class AboutPane : public Form {
    Q_OBJECT

public:
    AboutPane(WindowContext& context, LiveConfig& live, const SettingsWindow::Extras& extras);

private:
    void addIdentity();
    void addUpdates();
    void addLogging();
    void addReports();
    void addLibraries();
    void showLog();
    void showDiagnostics();

    WindowContext& context_;
    LiveConfig& live_;
    SettingsWindow::Extras extras_;
    QPointer<TextViewer> log_;
    QPointer<TextViewer> diagnostics_;
};

} // namespace fluvane
