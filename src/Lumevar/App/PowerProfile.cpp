#include "Lumevar/App/PowerProfile.h"

#include "Support/Log.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusVariant>
#include <QCoroDBusPendingCall>

namespace PowerProfile {

QCoro::Task<bool> isPowerSaverActive(QDBusConnection bus)
{
    if (!bus.isConnected())
        co_return false;
    QDBusMessage call = QDBusMessage::createMethodCall(QString::fromLatin1(serviceName), QString::fromLatin1(objectPath),
                                                       QStringLiteral("org.freedesktop.DBus.Properties"),
                                                       QStringLiteral("Get"));
    call << QString::fromLatin1(interfaceName) << QStringLiteral("ActiveProfile");
    // A missing daemon answers with ServiceUnknown at once; a hung one is given two seconds.
    const QDBusMessage reply = co_await bus.asyncCall(call, 2000);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        LUMEVAR_DEBUG(Log::app(), "No power profile available: %@", reply.errorMessage());
        co_return false;
    }
    const QVariant value = reply.arguments().constFirst().value<QDBusVariant>().variant();
    co_return value.toString() == QLatin1String(powerSaverProfile);
}

QCoro::Task<bool> isPowerSaverActive()
{
    co_return co_await isPowerSaverActive(QDBusConnection::systemBus());
}

} // namespace PowerProfile
