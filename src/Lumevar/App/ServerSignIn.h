#pragma once
// Signing in to a Subsonic-API server as the Sign In window does it: the address and user name
// checked, the server asked with the credentials (a ping) before anything is saved, then the
// password given to the keyring and the server and user to the settings. Also what the launch
// does when the keyring has no password to give: it asks the user.

#include "Platform/Subsonic/SubsonicService.h"

#include <QCoroTask>
#include <functional>

namespace ServerSignIn {

// Keeps the password (the keyring in the product); throws Error when it cannot.
using PasswordKeeper = std::function<QCoro::Task<void>(SubsonicAccount)>;

struct Result {
    SubsonicAccount account; // with the password that worked
    bool passwordKept = false;
};

// Checks the typed address, user name and password against the server, then saves them. Throws
// Error with the words to show (the client's own: refused password, unreachable, not a Subsonic
// server, redirected, certificate not verified, plain HTTP off the local network); nothing is
// saved then. A keeper that fails does not fail the sign-in: the result says the password was not
// kept.
QCoro::Task<Result> signIn(QString address, QString user, QString password, PasswordKeeper keeper);

// Why the password is asked again at the next launch.
QString passwordNotKeptNote();

// Gives a just-checked password to the running service when it is the same server and user, and
// says whether it did. Any other account needs a relaunch: the player, the store's mirror and the
// panes are bound to the service they were made with.
bool switchLive(MusicService &running, const SubsonicAccount &account);

// Asks the user for the account's password, saying why (the keyring's reason); throws Error when
// the user gives none.
using PasswordPrompt = std::function<QCoro::Task<QString>(SubsonicAccount, QString reason)>;
// The launch's password: what source gives (the environment, the keyring), else what the user
// types when asked.
SubsonicService::PasswordSource askingWhenMissing(SubsonicService::PasswordSource source, PasswordPrompt prompt);

} // namespace ServerSignIn
