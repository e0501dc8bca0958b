#include "Platform/Subsonic/SubsonicClient.h"

#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/OwnerGuard.h"
#include "Support/PoolTask.h"
#include "Support/WorkerPools.h"

#include <QCoroNetworkReply>
#include <QCryptographicHash>
#include <QHostAddress>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QRandomGenerator>
#include <QSslError>
#include <algorithm>
#include <memory>
#include <utility>

namespace {

const QString clientName = QStringLiteral("lumevar");
// Token signing came with API 1.13.0; the password form is older than any server still in use.
const QString tokenVersion = QStringLiteral("1.13.0");
const QString passwordVersion = QStringLiteral("1.10.2");

// Error codes of the Subsonic API.
enum ServerCode {
    missingParameter = 10,
    serverMustUpgrade = 30,
    wrongCredentials = 40,
    tokenNotSupported = 41,
    mechanismNotSupported = 42,
    invalidApiKey = 44,
    notPermitted = 50,
    notFoundCode = 70,
};

// An error reply of the server: its code and message.
struct ServerFailure {
    int code = 0;
    QString message;
    QString version;
};

QString hostOf(const QUrl &url) { return url.port() > 0 ? url.host() + u':' + QString::number(url.port()) : url.host(); }

QString salt()
{
    quint64 words[2] = {QRandomGenerator::system()->generate64(), QRandomGenerator::system()->generate64()};
    return QString::fromLatin1(QByteArray(reinterpret_cast<const char *>(words), sizeof words).toHex());
}

// What a failed transfer means for the user; the message never holds the URL.
MusicError transferError(QNetworkReply::NetworkError code, const QUrl &server, bool timedOut, bool certificateRefused)
{
    const QString host = hostOf(server);
    if (timedOut)
        return MusicError(MusicError::serviceFailed, QStringLiteral("The server at %1 did not answer in time.").arg(host));
    switch (code) {
    case QNetworkReply::HostNotFoundError:
        return MusicError(MusicError::serviceFailed, QStringLiteral("No server named %1 can be found.").arg(server.host()));
    case QNetworkReply::SslHandshakeFailedError:
        if (!certificateRefused)
            return MusicError(MusicError::serviceFailed, QStringLiteral("The server at %1 does not answer over HTTPS.").arg(host));
        return MusicError(MusicError::serviceFailed,
                          QStringLiteral("The certificate of the server at %1 could not be verified, so Lumevar does not "
                                         "trust it with your password.")
                              .arg(host));
    case QNetworkReply::ConnectionRefusedError:
    case QNetworkReply::RemoteHostClosedError:
    case QNetworkReply::NetworkSessionFailedError:
    case QNetworkReply::TemporaryNetworkFailureError:
    case QNetworkReply::UnknownNetworkError:
        return MusicError(MusicError::serviceFailed, QStringLiteral("The server at %1 cannot be reached.").arg(host));
    default:
        return MusicError(MusicError::serviceFailed,
                          QStringLiteral("The server at %1 cannot be reached (network error %2).").arg(host).arg(int(code)));
    }
}

MusicError serverError(const ServerFailure &failure, const SubsonicAccount &account)
{
    const QString host = hostOf(account.server);
    switch (failure.code) {
    case wrongCredentials:
    case invalidApiKey:
    case tokenNotSupported:
    case mechanismNotSupported:
        return MusicError(MusicError::notAuthorized,
                          QStringLiteral("The server at %1 did not accept the user name or password. Sign in again.").arg(host));
    case notPermitted:
        return MusicError(MusicError::notAuthorized,
                          QStringLiteral("The user %1 is not allowed to do this on the server at %2.").arg(account.user, host));
    case notFoundCode:
        return MusicError(MusicError::notFound, QStringLiteral("The server at %1 has no such item.").arg(host));
    default:
        return MusicError(MusicError::serviceFailed, QStringLiteral("The server at %1 answered with an error: %2 (code %3).")
                                                         .arg(host, failure.message)
                                                         .arg(failure.code));
    }
}

// A TLS probe found no TLS at the address: no handshake answer in time, or an answer that is
// not TLS (a plain HTTP server's reply to the handshake).
class NoTlsAnswer : public std::exception {
public:
    const char *what() const noexcept override { return "no TLS answer"; }
};

// How long a local server may take to answer a TLS handshake before it is taken for a plain
// HTTP one (some wait for the rest of a request that never comes).
constexpr int tlsProbeMilliseconds = 5000;

class ServerFailureError : public std::exception {
public:
    explicit ServerFailureError(ServerFailure failure) : failure(std::move(failure)) {}
    const char *what() const noexcept override { return "subsonic error reply"; }
    ServerFailure failure;
};

// The "subsonic-response" object of a successful answer; throws for anything else. Runs on a
// worker thread: it touches nothing but its arguments.
QJsonObject successfulResponse(const QByteArray &body, int status, const QString &host, const QString &method)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(body, &parseError);
    QJsonObject response = document.object().value(QStringLiteral("subsonic-response")).toObject();
    if (response.isEmpty()) {
        // JSON that is cut short or lacks the envelope is a broken answer; anything else (a web
        // page, an error page) means the address is not a Subsonic server's.
        if (status < 400 && body.trimmed().startsWith('{'))
            throw DecodingError(QStringLiteral("%1's answer to %2 is not a Subsonic response: %3")
                                    .arg(host, method, parseError.error == QJsonParseError::NoError ? QStringLiteral("no envelope")
                                                                                                     : parseError.errorString()));
        throw MusicError(MusicError::serviceFailed,
                         QStringLiteral("%1 does not answer as a Subsonic server (HTTP %2). Check the address.").arg(host).arg(status));
    }
    if (response.value(QStringLiteral("status")).toString() != u"ok") {
        const QJsonObject error = response.value(QStringLiteral("error")).toObject();
        throw ServerFailureError({error.value(QStringLiteral("code")).toInt(-1), error.value(QStringLiteral("message")).toString(),
                                  response.value(QStringLiteral("version")).toString()});
    }
    return response;
}

} // namespace

SubsonicClient::SubsonicClient(SubsonicAccount account, QObject *parent)
    : QObject(parent), m_account(std::move(account)), m_network(new QNetworkAccessManager(this))
{
    // A redirect is reported, not followed: it could lead the credentials elsewhere, or from
    // HTTPS to HTTP.
    m_network->setRedirectPolicy(QNetworkRequest::ManualRedirectPolicy);
    if (!m_account.apiKey.isEmpty())
        m_form = AuthForm::apiKey;
}

SubsonicClient::~SubsonicClient() = default;

QUrl SubsonicClient::normalizedServer(const QString &typed)
{
    QString text = typed.trimmed();
    if (text.isEmpty())
        return {};
    if (!text.contains(QStringLiteral("://")))
        text.prepend(QStringLiteral("https://"));
    QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || url.host().isEmpty() || (url.scheme() != u"https" && url.scheme() != u"http"))
        return {};
    QString path = url.path();
    while (path.endsWith(u'/'))
        path.chop(1);
    if (path.endsWith(QStringLiteral("/rest")))
        path.chop(5);
    url.setPath(path);
    url.setQuery(QString());
    url.setFragment(QString());
    url.setUserInfo(QString());
    return url;
}

SubsonicAccount SubsonicClient::typedAccount(const QString &typedAddress, QString user, QString password)
{
    SubsonicAccount account{normalizedServer(typedAddress), std::move(user), std::move(password), {}};
    account.httpsAssumed = !typedAddress.contains(QStringLiteral("://"));
    return account;
}

bool SubsonicClient::isLocalHost(const QString &host)
{
    const QString name = host.toLower();
    if (name == u"localhost" || name.endsWith(QStringLiteral(".local")) || name.endsWith(QStringLiteral(".lan")) ||
        name.endsWith(QStringLiteral(".home.arpa")) || (!name.isEmpty() && !name.contains(u'.') && !name.contains(u':')))
        return true;
    const QHostAddress address(name);
    if (address.isNull())
        return false;
    if (address.isLoopback() || address.isLinkLocal() || address.isUniqueLocalUnicast() || address.isSiteLocal())
        return true;
    for (const auto &[net, bits] : {std::pair{"10.0.0.0", 8}, std::pair{"172.16.0.0", 12}, std::pair{"192.168.0.0", 16}})
        if (address.isInSubnet(QHostAddress(QString::fromLatin1(net)), bits))
            return true;
    return false;
}

QUrlQuery SubsonicClient::credentials(AuthForm form) const
{
    QUrlQuery query;
    switch (form) {
    case AuthForm::apiKey:
        query.addQueryItem(QStringLiteral("apiKey"), m_account.apiKey);
        break;
    case AuthForm::token: {
        const QString s = salt();
        const QByteArray token = QCryptographicHash::hash((m_account.password + s).toUtf8(), QCryptographicHash::Md5).toHex();
        query.addQueryItem(QStringLiteral("u"), m_account.user);
        query.addQueryItem(QStringLiteral("t"), QString::fromLatin1(token));
        query.addQueryItem(QStringLiteral("s"), s);
        break;
    }
    case AuthForm::password:
        query.addQueryItem(QStringLiteral("u"), m_account.user);
        query.addQueryItem(QStringLiteral("p"), QStringLiteral("enc:") + QString::fromLatin1(m_account.password.toUtf8().toHex()));
        break;
    }
    const bool tokenForm = form == AuthForm::token;
    query.addQueryItem(QStringLiteral("v"), tokenForm || m_serverVersion.isEmpty() ? (tokenForm ? tokenVersion : passwordVersion)
                                                                                   : m_serverVersion);
    query.addQueryItem(QStringLiteral("c"), clientName);
    return query;
}

QUrl SubsonicClient::unsignedURL(const QString &method, const QUrlQuery &parameters) const
{
    QUrl url = m_account.server;
    url.setPath(url.path() + QStringLiteral("/rest/") + method + QStringLiteral(".view"));
    url.setQuery(parameters);
    return url;
}

QUrl SubsonicClient::signedURL(const QString &method, const QUrlQuery &parameters) const
{
    QUrlQuery query = parameters;
    for (const auto &[key, value] : credentials(m_form).queryItems(QUrl::FullyDecoded))
        query.addQueryItem(key, value);
    return unsignedURL(method, query);
}

QUrl SubsonicClient::signURL(const QUrl &url) const
{
    const QString root = m_account.server.toString(QUrl::StripTrailingSlash) + QStringLiteral("/rest/");
    const QString text = url.toString(QUrl::RemoveQuery);
    if (!text.startsWith(root) || !text.endsWith(QStringLiteral(".view")))
        return url;
    const QString method = text.mid(root.size(), text.size() - root.size() - 5);
    return signedURL(method, QUrlQuery(url));
}

QUrl SubsonicClient::withoutCredentials(const QUrl &url)
{
    QUrl plain = url.adjusted(QUrl::RemoveUserInfo);
    QUrlQuery query(plain);
    for (const char *key : {"u", "p", "t", "s", "apiKey"})
        query.removeAllQueryItems(QString::fromLatin1(key));
    plain.setQuery(query.isEmpty() ? QString() : query.query(QUrl::FullyEncoded));
    return plain;
}

QCoro::Task<void> SubsonicClient::signIn()
{
    const QUrl server = m_account.server;
    if (!server.isValid() || server.host().isEmpty())
        throw MusicError(MusicError::notAuthorized, QStringLiteral("The server address is not valid."));
    if (server.scheme() == u"http") {
        if (!isLocalHost(server.host()))
            throw MusicError(MusicError::notAuthorized,
                             QStringLiteral("The server at %1 is reached over plain HTTP, which would send your password "
                                            "unprotected. Use its https:// address.")
                                 .arg(hostOf(server)));
        LUMEVAR_NOTICE(Log::sync(), "The server at %@ is reached over plain HTTP, allowed on the local network only",
                       hostOf(server));
    }
    const OwnerGuard guard(this);
    auto answer = std::make_shared<QJsonObject>();
    // The forms from the strongest the account allows; a server that does not know a form says
    // so with one of a few codes, and the next is tried.
    QList<AuthForm> forms;
    if (!m_account.apiKey.isEmpty())
        forms.append(AuthForm::apiKey);
    if (!m_account.user.isEmpty())
        forms << AuthForm::token << AuthForm::password;
    if (forms.isEmpty())
        throw MusicError(MusicError::notAuthorized, QStringLiteral("No user name was given for the server."));
    // An assumed https:// is checked by the first request: a local server that does not speak
    // TLS is taken at its http:// address instead.
    bool probeTls = m_account.httpsAssumed && server.scheme() == u"https" && isLocalHost(server.host());
    for (qsizetype i = 0; i < forms.size(); ++i) {
        const bool last = i + 1 == forms.size();
        try {
            const QString ping = QStringLiteral("ping");
            const QUrlQuery none;
            const AuthForm form = forms[i];
            Reader keep = [answer](const QJsonObject &response) { *answer = response; };
            co_await guard(send(ping, none, form, std::move(keep), TextReader(), std::exchange(probeTls, false)));
            m_form = forms[i];
            break;
        } catch (const NoTlsAnswer &) {
            m_account.server.setScheme(QStringLiteral("http"));
            LUMEVAR_NOTICE(Log::sync(), "The server at %@ does not answer over HTTPS; reaching it over plain HTTP, allowed on the local network only",
                           hostOf(server));
            --i;
        } catch (const ServerFailureError &refused) {
            const int code = refused.failure.code;
            const bool formUnknown = code == missingParameter || code == tokenNotSupported || code == mechanismNotSupported ||
                                     code == serverMustUpgrade || (forms[i] == AuthForm::apiKey && code == invalidApiKey);
            if (!refused.failure.version.isEmpty())
                m_serverVersion = refused.failure.version;
            if (last || !formUnknown)
                throw serverError(refused.failure, m_account);
            LUMEVAR_INFO(Log::sync(), "The server at %@ does not take that form of signing in (error %d); trying the next",
                         hostOf(server), code);
        }
    }
    // The scheme is settled: account() names the address reached.
    m_account.httpsAssumed = false;
    m_serverVersion = answer->value(QStringLiteral("version")).toString(m_serverVersion);
    m_openSubsonic = answer->value(QStringLiteral("openSubsonic")).toBool();
    LUMEVAR_INFO(Log::sync(), "Signed in to %@ (API %@%@)", hostOf(server), m_serverVersion,
                 m_openSubsonic ? QStringLiteral(", OpenSubsonic") : QString());
}

void SubsonicClient::endTurn()
{
    if (m_waiting.empty()) {
        --m_inFlight;
        return;
    }
    // The place goes to the waiting request, resumed from the event loop rather than inside this
    // one's frame.
    const std::coroutine_handle<> next = m_waiting.front();
    m_waiting.pop_front();
    QMetaObject::invokeMethod(this, [next] { next.resume(); }, Qt::QueuedConnection);
}

QCoro::Task<void> SubsonicClient::call(QString method, QUrlQuery parameters, Reader read)
{
    return call(std::move(method), std::move(parameters), std::move(read), TextReader());
}

QCoro::Task<void> SubsonicClient::call(QString method, QUrlQuery parameters, Reader read, TextReader readText)
{
    const SubsonicAccount account = m_account;
    try {
        const AuthForm form = m_form;
        co_await send(method, parameters, form, std::move(read), std::move(readText));
    } catch (const ServerFailureError &refused) {
        throw serverError(refused.failure, account);
    }
}

QCoro::Task<QJsonObject> SubsonicClient::call(QString method, QUrlQuery parameters)
{
    auto answer = std::make_shared<QJsonObject>();
    Reader keep = [answer](const QJsonObject &response) { *answer = response; };
    co_await call(std::move(method), std::move(parameters), std::move(keep));
    co_return std::move(*answer);
}

QCoro::Task<void> SubsonicClient::send(QString method, QUrlQuery parameters, AuthForm form, Reader read, TextReader readText,
                                       bool probeTls)
{
    const OwnerGuard guard(this);
    // A bounded number in flight: the others wait their turn, first come first served; an ending
    // request hands its place to the first waiting.
    struct Turn {
        SubsonicClient *client;
        bool await_ready() const noexcept
        {
            if (client->m_inFlight >= client->m_maxInFlight)
                return false;
            ++client->m_inFlight;
            return true;
        }
        void await_suspend(std::coroutine_handle<> waiting) { client->m_waiting.push_back(waiting); }
        void await_resume() const noexcept {}
    };
    co_await Turn{this};
    guard.check();
    ++m_requestCount;
    parameters.addQueryItem(QStringLiteral("f"), QStringLiteral("json"));
    QUrlQuery query = parameters;
    for (const auto &[key, value] : credentials(form).queryItems(QUrl::FullyDecoded))
        query.addQueryItem(key, value);
    QNetworkRequest request(unsignedURL(method, query));
    request.setTransferTimeout(probeTls ? std::min(m_timeoutMilliseconds, tlsProbeMilliseconds) : m_timeoutMilliseconds);
    std::unique_ptr<QNetworkReply, void (*)(QNetworkReply *)> reply(m_network->get(request),
                                                                   [](QNetworkReply *r) { r->deleteLater(); });
    // Why a certificate was refused goes to the log (the user's message only says that it was):
    // what is wrong with it is what the server's owner needs to know.
    // A certificate refused means the server does speak TLS.
    auto certificateRefused = std::make_shared<bool>(false);
    connect(reply.get(), &QNetworkReply::sslErrors, this, [host = hostOf(m_account.server), certificateRefused](const QList<QSslError> &errors) {
        *certificateRefused = true;
        QStringList reasons;
        for (const QSslError &error : errors)
            reasons.append(error.errorString());
        LUMEVAR_ERROR(Log::sync(), "The certificate of the server at %@ is not trusted: %@", host, reasons.join(QStringLiteral("; ")));
    });
    co_await reply.get();
    guard.check();
    endTurn();

    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const QString host = hostOf(m_account.server);
    if (status >= 300 && status < 400) {
        const QUrl target = reply->attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl();
        throw MusicError(MusicError::serviceFailed, QStringLiteral("The server at %1 sends Lumevar on to %2. Enter that "
                                                                   "address instead.")
                                                        .arg(host, reply->url().resolved(target).adjusted(QUrl::RemoveQuery | QUrl::RemoveUserInfo).toString()));
    }
    if (reply->error() != QNetworkReply::NoError && status == 0) {
        const bool timedOut = reply->error() == QNetworkReply::OperationCanceledError || reply->error() == QNetworkReply::TimeoutError;
        const bool notTls = timedOut || reply->error() == QNetworkReply::SslHandshakeFailedError ||
                            reply->error() == QNetworkReply::RemoteHostClosedError;
        if (probeTls && notTls && !*certificateRefused)
            throw NoTlsAnswer();
        throw transferError(reply->error(), m_account.server, timedOut, *certificateRefused);
    }
    // The answer is decoded and read on a worker once its place in flight was handed on, so that
    // the thread that paints is not held up: even an album's songs cost the main thread more to
    // read (about 46 µs) than to hand over and take back, and a first sync reads a thousand.
    auto decode = [body = reply->readAll(), status, host, method, read = std::move(read), readText = std::move(readText)] {
        if (!readText || !readText(body))
            read(successfulResponse(body, status, host, method));
    };
    reply.reset();
    QCoro::Task<void> decoding = runOnPool(WorkerPools::library(), std::move(decode));
    co_await std::move(decoding);
}
