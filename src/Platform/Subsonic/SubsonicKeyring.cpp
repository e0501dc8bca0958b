#include "Platform/Subsonic/SubsonicKeyring.h"

#include "Support/Error.h"
#include "Support/Log.h"

#include <QCoroSignal>
#include <QDBusConnection>
#include <qt6keychain/keychain.h>

namespace SubsonicKeyring {

namespace {

const QString keyringService = QStringLiteral("Lumevar");

QString reasonOf(const QKeychain::Job &job, const QString &key)
{
    // Without a session bus QtKeychain fails with a bare D-Bus message: no keyring can run there.
    const QKeychain::Error error = QDBusConnection::sessionBus().isConnected() ? job.error() : QKeychain::NoBackendAvailable;
    switch (error) {
    case QKeychain::NoBackendAvailable:
        return QStringLiteral("No keyring is running on this desktop, so Lumevar cannot read the password of %1. Start a "
                              "keyring (GNOME Keyring, KWallet), or give the password in LUMEVAR_SERVER_PASSWORD.")
            .arg(key);
    case QKeychain::EntryNotFound:
        return QStringLiteral("No password for %1 is in the keyring. Store it there (service “Lumevar”), or give it in "
                              "LUMEVAR_SERVER_PASSWORD.")
            .arg(key);
    case QKeychain::AccessDenied:
    case QKeychain::AccessDeniedByUser:
        return QStringLiteral("The keyring refused to give Lumevar the password of %1.").arg(key);
    default:
        return QStringLiteral("The keyring failed for %1: %2").arg(key, job.errorString());
    }
}

} // namespace

QString entryKey(const SubsonicAccount &account)
{
    const QUrl &server = account.server;
    return account.user + u'@' + server.host() + (server.port() > 0 ? u':' + QString::number(server.port()) : QString());
}

QCoro::Task<QString> readPassword(SubsonicAccount account)
{
    if (qEnvironmentVariableIsSet(passwordVariable))
        co_return qEnvironmentVariable(passwordVariable);
    const QString key = entryKey(account);
    QKeychain::ReadPasswordJob job(keyringService);
    job.setAutoDelete(false);
    job.setKey(key);
    job.start();
    co_await qCoro(&job, &QKeychain::Job::finished);
    if (job.error() != QKeychain::NoError) {
        const QString reason = reasonOf(job, key);
        LUMEVAR_ERROR(Log::app(), "Failed to read the server password from the keyring: %@", reason);
        throw MusicError(MusicError::notAuthorized, reason);
    }
    co_return job.textData();
}

QCoro::Task<void> writePassword(SubsonicAccount account)
{
    const QString key = entryKey(account);
    QKeychain::WritePasswordJob job(keyringService);
    job.setAutoDelete(false);
    job.setKey(key);
    job.setTextData(account.password);
    job.start();
    co_await qCoro(&job, &QKeychain::Job::finished);
    if (job.error() != QKeychain::NoError) {
        const QString reason = reasonOf(job, key);
        LUMEVAR_ERROR(Log::app(), "Failed to store the server password in the keyring: %@", reason);
        throw MusicError(MusicError::serviceFailed, reason);
    }
}

} // namespace SubsonicKeyring
