#pragma once
// Posts the desktop's notifications through the freedesktop notification service on the session
// bus (org.freedesktop.Notifications.Notify). Each post replaces the one posted before, so at most
// one of the application's notifications is on screen. Without a notification service (a bare
// session, a container) a post does nothing and says so once in the log; any other failure of the
// call is thrown to the caller.

#include <QCoroTask>
#include <QDBusConnection>
#include <QString>
#include <optional>

class DesktopNotifications {
public:
    static inline const QString serviceName = QStringLiteral("org.freedesktop.Notifications");
    static inline const QString objectPath = QStringLiteral("/org/freedesktop/Notifications");
    static inline const QString interfaceName = QStringLiteral("org.freedesktop.Notifications");
    // The application's name as the service shows it, and its desktop entry and icon name.
    static inline const QString applicationName = QStringLiteral("Lumevar");
    static inline const QString desktopEntry = QStringLiteral("lumevar");

    struct Notification {
        QString title;
        QString body;
        // A picture file shown with the notification (sent as a file URI).
        std::optional<QString> imagePath;
    };

    explicit DesktopNotifications(QDBusConnection bus = QDBusConnection::sessionBus());

    QCoro::Task<void> post(Notification notification);
    // The id the service gave the last notification (0 before the first).
    uint lastID() const { return m_lastID; }
    // Posts sent and not answered yet.
    int postsInFlight() const { return m_inFlight; }

private:
    QDBusConnection m_bus;
    uint m_lastID = 0;
    int m_inFlight = 0;
    bool m_reportedMissingService = false;
};
