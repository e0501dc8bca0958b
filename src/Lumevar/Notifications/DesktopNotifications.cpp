#include "Lumevar/Notifications/DesktopNotifications.h"

#include "Support/Error.h"
#include "Support/Log.h"

#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusPendingReply>
#include <QUrl>
#include <QVariantMap>
#include <QCoroDBusPendingCall>

namespace {
// The desktop decides how long a notification stays.
constexpr int serverTimeout = -1;
} // namespace

DesktopNotifications::DesktopNotifications(QDBusConnection bus) : m_bus(std::move(bus)) {}

QCoro::Task<void> DesktopNotifications::post(Notification notification)
{
    QVariantMap hints;
    hints.insert(QStringLiteral("desktop-entry"), desktopEntry);
    if (notification.imagePath)
        hints.insert(QStringLiteral("image-path"), QUrl::fromLocalFile(*notification.imagePath).toString());
    QDBusMessage call = QDBusMessage::createMethodCall(serviceName, objectPath, interfaceName, QStringLiteral("Notify"));
    call << applicationName << m_lastID << desktopEntry << notification.title << notification.body << QStringList()
         << hints << serverTimeout;
    const QDBusPendingCall pending = m_bus.asyncCall(call);
    ++m_inFlight;
    co_await pending;
    --m_inFlight;
    const QDBusPendingReply<uint> reply = pending;
    if (reply.isError()) {
        const QDBusError::ErrorType type = reply.error().type();
        if (type == QDBusError::ServiceUnknown || type == QDBusError::Disconnected) {
            if (!m_reportedMissingService) {
                m_reportedMissingService = true;
                LUMEVAR_INFO(Log::app(), "No notification service on the session bus: %@", reply.error().message());
            }
            co_return;
        }
        throw Error(QStringLiteral("org.freedesktop.Notifications"), int(type), reply.error().message(),
                    reply.error().name() + QStringLiteral(": ") + reply.error().message());
    }
    m_lastID = reply.value();
}
