#include "Lumevar/App/SingleInstance.h"

#include "Support/Log.h"

#include <QCryptographicHash>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusMessage>
#include <QDir>
#include <QElapsedTimer>
#include <QLockFile>
#include <QThread>

namespace {

constexpr const char *objectPath = "/com/dunmoor/Lumevar";
constexpr const char *interfaceName = "com.dunmoor.Lumevar.Instance";
// Two copies started at once: the one that lost the lock waits this long for the winner to
// appear on the bus.
constexpr int handOverPatienceMs = 3000;
constexpr int handOverRetryMs = 100;

// What the first process shows on the bus: one call that a later launch makes.
class InstanceEndpoint : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.dunmoor.Lumevar.Instance")
public:
    explicit InstanceEndpoint(SingleInstance *owner) : QObject(owner), m_owner(owner) {}

public Q_SLOTS:
    Q_SCRIPTABLE void Activate(const QStringList &arguments) { Q_EMIT m_owner->activated(arguments); }

private:
    SingleInstance *m_owner;
};

} // namespace

SingleInstance::SingleInstance(QString profileFolder, QObject *parent) : QObject(parent), m_folder(std::move(profileFolder)) {}

SingleInstance::~SingleInstance()
{
    if (m_endpoint) {
        QDBusConnection bus = QDBusConnection::sessionBus();
        bus.unregisterObject(QLatin1String(objectPath));
        bus.unregisterService(serviceName(m_folder));
    }
}

QString SingleInstance::serviceName(const QString &profileFolder)
{
    const QByteArray digest =
        QCryptographicHash::hash(QDir::cleanPath(profileFolder).toUtf8(), QCryptographicHash::Sha256).toHex().left(16);
    // A bus name's elements may not start with a digit.
    return QStringLiteral("com.dunmoor.Lumevar.Profile_") + QString::fromLatin1(digest);
}

SingleInstance::Claim SingleInstance::claim(const QStringList &arguments)
{
    QDir().mkpath(m_folder);
    m_lock = std::make_unique<QLockFile>(m_folder + QStringLiteral("/lumevar.lock"));
    // A lock is stale only when its process is gone, however long a live one has held it.
    m_lock->setStaleLockTime(0);
    if (!m_lock->tryLock(0)) {
        if (m_lock->error() != QLockFile::LockFailedError) {
            // A folder that cannot be written: the store will live in memory for this run, so
            // there is nothing to share and nothing to guard.
            LUMEVAR_NOTICE(Log::app(), "Cannot lock the profile folder %@; not checking for another Lumevar", m_folder);
            m_lock.reset();
            return Claim::first;
        }
        m_lock.reset();
        if (handOver(arguments)) {
            LUMEVAR_INFO(Log::app(), "Lumevar is already running on this profile; handed over to it");
            return Claim::handedOver;
        }
        LUMEVAR_ERROR(Log::app(), "Lumevar is already running on this profile (%@) and could not be reached; quitting",
                      m_folder);
        return Claim::alreadyRunning;
    }

    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        LUMEVAR_NOTICE(Log::app(), "No session bus; a second launch on this profile cannot raise this window");
        return Claim::first;
    }
    auto *endpoint = new InstanceEndpoint(this);
    if (!bus.registerObject(QLatin1String(objectPath), endpoint, QDBusConnection::ExportScriptableSlots) ||
        !bus.registerService(serviceName(m_folder))) {
        LUMEVAR_NOTICE(Log::app(), "Failed to answer on the session bus: %@", bus.lastError().message());
        bus.unregisterObject(QLatin1String(objectPath));
        delete endpoint;
        return Claim::first;
    }
    m_endpoint = endpoint;
    return Claim::first;
}

bool SingleInstance::handOver(const QStringList &arguments) const
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return false;
    QDBusMessage call =
        QDBusMessage::createMethodCall(serviceName(m_folder), QLatin1String(objectPath), QLatin1String(interfaceName),
                                       QStringLiteral("Activate"));
    call << arguments;
    QElapsedTimer waited;
    waited.start();
    for (;;) {
        const QDBusMessage reply = bus.call(call, QDBus::Block, handOverPatienceMs);
        if (reply.type() == QDBusMessage::ReplyMessage)
            return true;
        // The winner of a simultaneous start may not be on the bus yet.
        const bool notThereYet = reply.errorName() == QLatin1String("org.freedesktop.DBus.Error.ServiceUnknown");
        if (!notThereYet || waited.elapsed() >= handOverPatienceMs)
            return false;
        QThread::msleep(handOverRetryMs);
    }
}

#include "SingleInstance.moc"
