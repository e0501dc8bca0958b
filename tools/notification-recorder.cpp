// A stand-in desktop notification service for trying Lumevar by hand on a bare session bus
// (dbus-run-session): it owns org.freedesktop.Notifications and prints every Notify call it gets,
// one line each, answering with increasing ids.
//
//   dbus-run-session -- sh -c 'notification-recorder & lumevar --audio-output null'

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusError>
#include <QTextStream>
#include <QUrl>
#include <QVariantMap>

class NotificationRecorder : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")
public Q_SLOTS:
    uint Notify(const QString &app, uint replaces, const QString &icon, const QString &summary, const QString &body,
                const QStringList &, const QVariantMap &hints, int timeout)
    {
        QTextStream out(stdout);
        out << "Notify #" << ++m_lastID << " app=" << app << " replaces=" << replaces << " icon=" << icon << " summary=" << summary
            << " body=" << body << " desktop-entry=" << hints.value(QStringLiteral("desktop-entry")).toString()
            << " image-path=" << hints.value(QStringLiteral("image-path")).toString() << " timeout=" << timeout << Qt::endl;
        return m_lastID;
    }
    QStringList GetCapabilities() { return {QStringLiteral("body")}; }
    QString GetServerInformation(QString &vendor, QString &version, QString &specVersion)
    {
        vendor = QStringLiteral("Lumevar tests");
        version = QStringLiteral("1");
        specVersion = QStringLiteral("1.2");
        return QStringLiteral("notification-recorder");
    }

private:
    uint m_lastID = 0;
};

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    NotificationRecorder recorder;
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.registerObject(QStringLiteral("/org/freedesktop/Notifications"), &recorder, QDBusConnection::ExportAllSlots)
        || !bus.registerService(QStringLiteral("org.freedesktop.Notifications"))) {
        QTextStream(stderr) << "Could not own org.freedesktop.Notifications: " << bus.lastError().message() << Qt::endl;
        return 1;
    }
    return application.exec();
}

#include "notification-recorder.moc"
