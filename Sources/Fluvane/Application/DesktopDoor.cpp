// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Application/DesktopDoor.h"

#include "Fluvane/Linux/Services/Calls.h"
#include "TessivarCore/Log.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QString>
#include <QVariant>

#include <algorithm>
#include <array>
#include <utility>

namespace fluvane {

namespace {

constexpr const char* interfaceName = "org.freedesktop.Application";
constexpr const char* introspection = R"(  <interface name="org.freedesktop.Application">
    <method name="Activate">
      <arg type="a{sv}" name="platform_data" direction="in"/>
    </method>
    <method name="Open">
      <arg type="as" name="uris" direction="in"/>
      <arg type="a{sv}" name="platform_data" direction="in"/>
    </method>
    <method name="ActivateAction">
      <arg type="s" name="action_name" direction="in"/>
      <arg type="av" name="parameter" direction="in"/>
      <arg type="a{sv}" name="platform_data" direction="in"/>
    </method>
  </interface>
)";
/// Of the bus: an instance that holds the name keeps it.
constexpr uint doNotQueue = 4;
constexpr uint primaryOwner = 1;
constexpr uint alreadyOwner = 4;

/// "org.example.App" → "/org/example/App".
QString objectPath(const std::string& identifier) {
    auto path = QString::fromStdString("/" + identifier);
    return path.replace('.', '/').replace('-', '_');
}

/// Of a call's last argument, its platform data.
std::string tokenIn(const QVariant& data) {
    if (!data.canConvert<QDBusArgument>()) {
        return {};
    }
    const auto argument = data.value<QDBusArgument>();
    QVariantMap map;
    argument >> map;
    for (const char* key : {"activation-token", "desktop-startup-id"}) {
        if (const auto token = map.value(key).toString(); !token.isEmpty()) {
            return token.toStdString();
        }
    }
    return {};
}

std::vector<std::string> textsIn(const QVariant& list) {
    std::vector<std::string> texts;
    for (const auto& text : list.toStringList()) {
        texts.push_back(text.toStdString());
    }
    return texts;
}

} // namespace

class DesktopDoor::Object final : public QDBusVirtualObject {
public:
    explicit Object(Visitor visitor) : visitor_(std::move(visitor)) {}

    [[nodiscard]] QString introspect(const QString& /*path*/) const override { return introspection; }

    bool handleMessage(const QDBusMessage& call, const QDBusConnection& connection) override {
        const auto* const method = std::ranges::find(methods, call.member(), &Method::name);
        if (method == methods.end() || (!call.interface().isEmpty() && call.interface() != interfaceName)) {
            return false; // Qt tells that there is no such thing
        }
        if (call.signature() != method->signature) {
            connection.send(call.createErrorReply(QDBusError::InvalidArgs, "The arguments don't fit."));
            return true;
        }
        // First, since whoever called waits, and what follows may take its time.
        connection.send(call.createReply());
        (this->*method->carryOut)(call.arguments());
        return true;
    }

private:
    struct Method {
        QLatin1String name;
        QLatin1String signature;
        void (Object::*carryOut)(const QList<QVariant>&);
    };
    static const std::array<Method, 3> methods;

    void activate(const QList<QVariant>& arguments) { visitor_.activate(tokenIn(arguments[0])); }
    void open(const QList<QVariant>& arguments) {
        visitor_.open(textsIn(arguments[0]), tokenIn(arguments[1]));
    }
    void act(const QList<QVariant>& arguments) {
        visitor_.act(arguments[0].toString().toStdString(), tokenIn(arguments[2]));
    }

    Visitor visitor_;
};

const std::array<DesktopDoor::Object::Method, 3> DesktopDoor::Object::methods = {{
    {QLatin1String("Activate"), QLatin1String("a{sv}"), &Object::activate},
    {QLatin1String("Open"), QLatin1String("asa{sv}"), &Object::open},
    {QLatin1String("ActivateAction"), QLatin1String("sava{sv}"), &Object::act},
}};

namespace {

void askForName(const QDBusConnection& connection, const std::string& name, QObject& context) {
    ask(connection, busItself(), "RequestName", {QString::fromStdString(name), doNotQueue}, context,
        [](const QDBusMessage& answer) {
            const auto outcome = answer.arguments().value(0).toUInt();
            if (answer.type() != QDBusMessage::ReplyMessage) {
                tessivar::log::lifecycle.error("couldn't take the name on the session bus: " +
                                               tessivar::log::hidden(problemOf(answer)));
            } else if (outcome != primaryOwner && outcome != alreadyOwner) {
                tessivar::log::lifecycle.error("another program has our name on the session bus");
            }
        });
}

} // namespace

DesktopDoor::DesktopDoor(Bus& session, const std::string& identifier, Visitor visitor)
    : object_(std::make_shared<Object>(std::move(visitor))) {
    session.whenConnected([object = std::weak_ptr(object_), identifier](const QDBusConnection& connection) {
        const auto found = object.lock();
        if (!found) {
            return;
        }
        auto bus = connection;
        if (bus.registerVirtualObject(objectPath(identifier), found.get())) {
            askForName(bus, identifier, *found);
        } else {
            tessivar::log::lifecycle.error("couldn't show the application on the session bus");
        }
    });
}

DesktopDoor::~DesktopDoor() = default;

} // namespace fluvane
