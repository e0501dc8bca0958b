#include "Lumevar/Settings/MusicSourceSettings.h"

#include "Support/UserDefaults.h"

namespace {
const QString folderValue = QStringLiteral("folder");
const QString serverValue = QStringLiteral("server");
} // namespace

namespace MusicSourceSettings {

std::optional<SubsonicAccount> serverAccount()
{
    const UserDefaults &defaults = UserDefaults::standard();
    const QUrl server = SubsonicClient::normalizedServer(defaults.stringValue(MusicSourceKeys::serverAddress).value_or(QString()));
    const QString user = defaults.stringValue(MusicSourceKeys::serverUser).value_or(QString());
    if (!server.isValid() || user.isEmpty())
        return std::nullopt;
    return SubsonicAccount{server, user, {}, {}};
}

MusicSource source()
{
    const bool server = UserDefaults::standard().stringValue(MusicSourceKeys::musicSource) == serverValue;
    return server && serverAccount() ? MusicSource::server : MusicSource::folder;
}

void chooseFolder() { UserDefaults::standard().set(MusicSourceKeys::musicSource, folderValue); }

void chooseServer(const SubsonicAccount &account)
{
    UserDefaults &defaults = UserDefaults::standard();
    defaults.set(MusicSourceKeys::serverAddress, account.server.toString());
    defaults.set(MusicSourceKeys::serverUser, account.user);
    defaults.set(MusicSourceKeys::musicSource, serverValue);
}

bool chooseStoredServer()
{
    if (!serverAccount())
        return false;
    UserDefaults::standard().set(MusicSourceKeys::musicSource, serverValue);
    return true;
}

QString describe(const SubsonicAccount &account)
{
    return QStringLiteral("%1 as %2").arg(account.server.toString(), account.user);
}

} // namespace MusicSourceSettings
