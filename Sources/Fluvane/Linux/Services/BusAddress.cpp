// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Services/BusAddress.h"

#include <QByteArray>

#include <cstdlib>

namespace fluvane {

namespace {

constexpr const char* systemSocket = "unix:path=/run/dbus/system_bus_socket";
constexpr std::string_view pathPrefix = "unix:path=";

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

std::string percentEncoded(const std::string& path) {
    return QByteArray::fromStdString(path).toPercentEncoding("/").toStdString();
}

std::string sessionAddress() {
    if (const auto address = variable("DBUS_SESSION_BUS_ADDRESS"); !address.empty()) {
        return address.starts_with("autolaunch:") ? "" : address;
    }
    const auto folder = variable("XDG_RUNTIME_DIR");
    return folder.empty() ? "" : std::string(pathPrefix) + percentEncoded(folder + "/bus");
}

std::string systemAddress() {
    const auto address = variable("DBUS_SYSTEM_BUS_ADDRESS");
    return address.empty() ? systemSocket : address;
}

} // namespace

std::string busAddress(Bus::Kind kind) {
    return kind == Bus::Kind::session ? sessionAddress() : systemAddress();
}

std::optional<std::string> socketFile(std::string_view address) {
    if (!address.starts_with(pathPrefix) || address.find(';') != std::string_view::npos) {
        return std::nullopt;
    }
    const auto path = address.substr(pathPrefix.size(), address.find(',') - pathPrefix.size());
    return QByteArray::fromPercentEncoding(QByteArray(path.data(), static_cast<qsizetype>(path.size())))
        .toStdString();
}

} // namespace fluvane
