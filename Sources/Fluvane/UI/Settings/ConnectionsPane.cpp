// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Settings/ConnectionsPane.h"

#include "Fluvane/UI/Settings/Bindings.h"
#include "Fluvane/UI/Settings/LiveConfig.h"
#include "Fluvane/UI/Settings/SpeedLimitField.h"
#include "FluvaneCore/Words.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QComboBox>
#include <QSignalBlocker>
#include <QSpinBox>

namespace fluvane {

using tessivar::qPhrase;

namespace {

/// Chooses the item of the count, which is put in its place first when the settings hold one that isn't
/// offered.
void showCount(QComboBox* box, int count) {
    const QSignalBlocker quiet(box);
    if (box->findData(count) < 0) {
        int place = 0;
        while (place < box->count() && box->itemData(place).toInt() < count) {
            ++place;
        }
        box->insertItem(place, QString::number(count), count);
    }
    box->setCurrentIndex(box->findData(count));
}

QSpinBox* spinBox(const char* name, int most) {
    auto* const box = new QSpinBox;
    box->setObjectName(name);
    box->setRange(1, most);
    return box;
}

} // namespace

ConnectionsPane::ConnectionsPane(LiveConfig& live) : live_(live) {
    addHeading(qPhrase("Connections"));
    addConnections();
    addPerServer();
    addHeading(qPhrase("Downloads"));
    addSimultaneous();
    addSpeedLimit();
    end();
}

void ConnectionsPane::addConnections() {
    auto* const box = new QComboBox;
    box->setObjectName("connections");
    for (const int count : Config::connectionChoices) {
        box->addItem(QString::number(count), count);
    }
    addRow(
        qPhrase("&Most connections for each download"), box,
        qPhrase(
            "A download starts with two and adds more while they make it faster. Some servers allow only a "
            "few."));
    live_.show(box, [box](const Config& config) { showCount(box, config.connections); });
    connect(box, &QComboBox::currentIndexChanged, this, [this, box] {
        live_.change([box](Config& config) { config.connections = box->currentData().toInt(); });
    });
}

void ConnectionsPane::addPerServer() {
    auto* const box = spinBox("connectionsPerServer", Config::mostConnectionsPerServer);
    auto* const hint = new tessivar::QuietLabel;
    addRow(qPhrase("Connections to one &server"), box, hint);
    live_.show(box, [box, hint](const Config& config) {
        const QSignalBlocker quiet(box);
        box->setMinimum(config.connections);
        hint->setText(qPhrase("Of all downloads together, %1 to %2: never fewer than one download may use.",
                              config.connections, Config::mostConnectionsPerServer));
        box->setAccessibleDescription(hint->text());
    });
    bind(box, live_, &Config::connectionsPerServer);
}

void ConnectionsPane::addSimultaneous() {
    auto* const box = spinBox("simultaneous", Config::mostSimultaneous);
    addRow(qPhrase("&Downloads at once"), box,
           qPhrase("1 to %1. The rest wait their turn.", Config::mostSimultaneous));
    bind(box, live_, &Config::simultaneous);
}

void ConnectionsPane::addSpeedLimit() {
    auto* const field = new SpeedLimitField(live_);
    auto* const hint = new tessivar::QuietLabel;
    addRow(qPhrase("Speed &limit"), field, hint);
    live_.show(hint, [hint](const Config& config) {
        const double limit = static_cast<double>(config.speedLimit.value_or(0));
        hint->setText(config.speedLimit ? qPhrase("All downloads together get up to %1.",
                                                  QString::fromStdString(words::speed(limit)))
                                        : qPhrase("Downloads take what the line gives."));
    });
}

} // namespace fluvane
