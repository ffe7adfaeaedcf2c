#pragma once

#include "Fluvane/Linux/Services/Calls.h"

namespace fluvane {

/// Like `ask`, for services that the bus starts when they are called, and only for so many seconds: whoever
/// doesn't answer in time has failed.
void askStarting(const QDBusConnection& connection, const ServiceObject& object, const QString& method,
                 const QVariantList& arguments, double seconds, QObject& context,
                 std::function<void(const QDBusMessage& answer)> answered);

} // namespace fluvane
