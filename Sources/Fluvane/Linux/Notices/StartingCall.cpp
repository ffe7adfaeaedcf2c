#include "Fluvane/Linux/Notices/StartingCall.h"

#include <QDBusConnection>
#include <QDBusPendingCallWatcher>

#include <utility>

namespace fluvane {

void askStarting(const QDBusConnection& connection, const ServiceObject& object, const QString& method,
                 const QVariantList& arguments, double seconds, QObject& context,
                 std::function<void(const QDBusMessage& answer)> answered) {
    auto call = QDBusMessage::createMethodCall(object.service, object.path, object.interface, method);
    call.setArguments(arguments);
    const auto milliseconds = static_cast<int>(seconds * 1000);
    auto* const watcher = new QDBusPendingCallWatcher(connection.asyncCall(call, milliseconds), &context);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, &context,
                     [watcher, answered = std::move(answered)] {
                         watcher->deleteLater();
                         answered(watcher->reply());
                     });
}

} // namespace fluvane
