#pragma once
// The server password in the system keyring (the Secret Service through QtKeychain), keyed by
// user and server. Never in the settings file or the log.

#include "Platform/Subsonic/SubsonicClient.h"

#include <QCoroTask>

namespace SubsonicKeyring {

// The environment variable that gives the password to scripts and tests instead.
inline constexpr const char *passwordVariable = "LUMEVAR_SERVER_PASSWORD";

// The entry's name: "user@host[:port]".
QString entryKey(const SubsonicAccount &account);

// The password of the account: the environment variable when set, else the keyring's. Throws
// MusicError::notAuthorized saying why there is none (no keyring running, nothing stored).
QCoro::Task<QString> readPassword(SubsonicAccount account);

// Stores the password; throws MusicError with the reason when the keyring cannot.
QCoro::Task<void> writePassword(SubsonicAccount account);

} // namespace SubsonicKeyring
