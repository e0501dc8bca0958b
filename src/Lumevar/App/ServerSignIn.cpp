#include "Lumevar/App/ServerSignIn.h"

#include "Lumevar/Settings/MusicSourceSettings.h"
#include "Support/Error.h"
#include "Support/Log.h"

#include <memory>

namespace ServerSignIn {

QString passwordNotKeptNote()
{
    return QStringLiteral("No keyring is available, so the password is not kept: Lumevar asks for it at each launch.");
}

QCoro::Task<Result> signIn(QString address, QString user, QString password, PasswordKeeper keeper)
{
    const SubsonicAccount typed = SubsonicClient::typedAccount(address, user.trimmed(), password);
    if (!typed.server.isValid())
        throw MusicError(MusicError::notAuthorized, QStringLiteral("Enter the server's address, such as https://music.example.org."));
    if (typed.user.isEmpty())
        throw MusicError(MusicError::notAuthorized, QStringLiteral("Enter your user name on the server."));
    if (password.isEmpty())
        throw MusicError(MusicError::notAuthorized, QStringLiteral("Enter your password."));

    // The client lives in this frame; its requests end with it. What is kept is the address it
    // reached (http:// for a local server without HTTPS when the scheme was not typed).
    auto client = std::make_unique<SubsonicClient>(typed);
    co_await client->signIn();
    Result result{client->account(), false};
    client.reset();

    if (keeper) {
        try {
            co_await keeper(result.account);
            result.passwordKept = true;
        } catch (...) {
            // The keeper logged its reason; signing in goes on without a kept password.
            LUMEVAR_NOTICE(Log::app(), "The password of %@ is not kept; it is asked at each launch", MusicSourceSettings::describe(result.account));
        }
    }
    MusicSourceSettings::chooseServer(result.account);
    LUMEVAR_INFO(Log::app(), "Signed in to %@", MusicSourceSettings::describe(result.account));
    co_return result;
}

bool switchLive(MusicService &running, const SubsonicAccount &account)
{
    auto *server = dynamic_cast<SubsonicService *>(&running);
    if (!server)
        return false;
    const SubsonicAccount &current = server->client().account();
    if (current.server != account.server || current.user != account.user)
        return false;
    server->setPassword(account.password);
    return true;
}

namespace {

QCoro::Task<QString> passwordOrAsk(SubsonicService::PasswordSource source, PasswordPrompt prompt, SubsonicAccount account)
{
    QString reason;
    try {
        co_return co_await source(account);
    } catch (const CancellationError &) {
        throw;
    } catch (...) {
        reason = errorFromCurrentException().localizedDescription();
    }
    co_return co_await prompt(account, reason);
}

} // namespace

SubsonicService::PasswordSource askingWhenMissing(SubsonicService::PasswordSource source, PasswordPrompt prompt)
{
    return [source = std::move(source), prompt = std::move(prompt)](SubsonicAccount account) {
        return passwordOrAsk(source, prompt, std::move(account));
    };
}

} // namespace ServerSignIn
