#pragma once
// Where the library comes from: the music folder, or a Subsonic-API server signed in to in the Sign
// In window. "musicSource" ("folder" or "server"), "serverAddress" and "serverUser" in
// Lumevar.conf; read at launch, where --library or --server on the command line win over them.
// The password is never stored here: it lives in the keyring, or nowhere.

#include "Platform/Subsonic/SubsonicClient.h"

#include <QString>
#include <optional>

namespace MusicSourceKeys {
inline const QString musicSource = QStringLiteral("musicSource");
inline const QString serverAddress = QStringLiteral("serverAddress");
inline const QString serverUser = QStringLiteral("serverUser");
} // namespace MusicSourceKeys

enum class MusicSource { folder, server };

namespace MusicSourceSettings {
// The chosen source; "server" without a stored server counts as the folder.
MusicSource source();
// The stored server and user (no password), whether or not the server is the chosen source.
std::optional<SubsonicAccount> serverAccount();
// Chooses the folder; the stored server stays for a later choice.
void chooseFolder();
// Stores the server and user and chooses the server. The account's password is not written.
void chooseServer(const SubsonicAccount &account);
// Chooses the stored server again; false when none is stored.
bool chooseStoredServer();
// "https://host[:port] as user", for the settings window and the Sign In window.
QString describe(const SubsonicAccount &account);
} // namespace MusicSourceSettings
