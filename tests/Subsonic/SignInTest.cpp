// Signing in to a music server through the widgets a user touches: the Sign In window against a
// real supysonic (a password it refuses, then one it takes, then the running service taking it
// live) and against loopback peers that answer what a Subsonic server never would; the password
// asked at launch when the keyring has none; the source choice in the settings window.
#include "ScriptedPeer.h"
#include "SupysonicServer.h"

#include "Lumevar/App/ServerSignIn.h"
#include "LumevarCore/LocalDatabase.h"
#include "LumevarCore/SyncEngine.h"
#include "Lumevar/Settings/MusicSourceSettings.h"
#include "Lumevar/UI/Settings/SourceSettingsView.h"
#include "Lumevar/UI/SignInWindow.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/UserDefaults.h"
#include "TestKit/AsyncTest.h"
#include "TestKit/Waits.h"

#include <QApplication>
#include <QFile>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QSslKey>
#include <QSslServer>
#include <QSslSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <functional>
#include <gtest/gtest.h>

namespace {

void forgetSource()
{
    for (const QString &key : {MusicSourceKeys::musicSource, MusicSourceKeys::serverAddress, MusicSourceKeys::serverUser})
        UserDefaults::standard().removeObject(key);
}

QString storedSettings()
{
    UserDefaults::standard().synchronize();
    QFile file(UserDefaults::standard().filePath());
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// A keeper that records what it was given, or fails as a machine without a keyring does.
struct FakeKeyring {
    QList<SubsonicAccount> kept;
    bool available = true;

    ServerSignIn::PasswordKeeper keeper()
    {
        return [this](SubsonicAccount account) -> QCoro::Task<void> {
            if (!available)
                throw MusicError(MusicError::serviceFailed, QStringLiteral("No keyring is running on this desktop."));
            kept.append(account);
            co_return;
        };
    }
};

// Types into the window's fields and presses Sign In, then waits for the check to end.
void signIn(SignInWindow &window, const QString &address, const QString &user, const QString &password)
{
    for (auto [field, text] : {std::pair{window.addressField(), address}, {window.userField(), user}, {window.passwordField(), password}}) {
        field->clear();
        QTest::keyClicks(field, text);
    }
    QTest::mouseClick(window.signInButton(), Qt::LeftButton);
    ASSERT_TRUE(waitUntil([&] { return window.signInButton()->isEnabled(); }));
}

// A server on loopback that speaks TLS with a self-signed certificate (committed beside the tests)
// and answers every request as a Subsonic server would, so that a client that took the
// certificate would sign in.
class SelfSignedPeer {
public:
    SelfSignedPeer()
    {
        QFile certificate(QString::fromUtf8(LUMEVAR_TEST_TLS_DIR "/loopback.crt"));
        QFile key(QString::fromUtf8(LUMEVAR_TEST_TLS_DIR "/loopback.key"));
        if (!certificate.open(QIODevice::ReadOnly) || !key.open(QIODevice::ReadOnly))
            return;
        QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
        configuration.setLocalCertificate(QSslCertificate(certificate.readAll()));
        configuration.setPrivateKey(QSslKey(key.readAll(), QSsl::Rsa));
        configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
        m_server.setSslConfiguration(configuration);
        QObject::connect(&m_server, &QSslServer::pendingConnectionAvailable, &m_server, [this] {
            while (QTcpSocket *socket = m_server.nextPendingConnection()) {
                QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
                    if (!socket->readAll().contains("\r\n\r\n"))
                        return;
                    ++m_answered;
                    socket->write(ScriptedPeer::ok(R"("x":0)"));
                });
            }
        });
        m_server.listen(QHostAddress::LocalHost);
    }
    bool isListening() const { return m_server.isListening(); }
    QUrl root() const { return QUrl(QStringLiteral("https://127.0.0.1:%1").arg(m_server.serverPort())); }
    int answered() const { return m_answered; }

private:
    QSslServer m_server;
    int m_answered = 0;
};

bool loggedAnError(const QString &words)
{
    for (const LogStore::Entry &entry : LogStore::shared().entries())
        if (entry.message.contains(words))
            return true;
    return false;
}

class SignIn : public ::testing::Test {
protected:
    void SetUp() override { forgetSource(); }
    void TearDown() override { forgetSource(); }
};

} // namespace

TEST_F(SignIn, ARealServerRefusesAWrongPasswordThenTakesTheRightOneWhichReachesTheKeyringAndNotTheSettings)
{
    QString why;
    SupysonicServer *server = SupysonicServer::shared(&why);
    if (!server)
        GTEST_SKIP() << "No Subsonic server to test against: " << why.toStdString();
    FakeKeyring keyring;
    SignInWindow window;
    window.setPasswordKeeper(keyring.keeper());
    QSignalSpy signedIn(&window, &SignInWindow::signedIn);
    window.show();

    signIn(window, server->root().toString(), SupysonicServer::user, QStringLiteral("not the password"));
    EXPECT_TRUE(window.errorText().contains(QStringLiteral("did not accept the user name or password"))) << window.errorText().toStdString();
    // The window grew for the error instead of squeezing the fields.
    for (const QLineEdit *field : {window.addressField(), window.userField(), window.passwordField()})
        EXPECT_EVENTUALLY_TRUE(field->height() >= field->sizeHint().height());
    EXPECT_TRUE(keyring.kept.isEmpty());
    EXPECT_EQ(MusicSourceSettings::source(), MusicSource::folder);
    EXPECT_FALSE(MusicSourceSettings::serverAccount());
    EXPECT_TRUE(signedIn.isEmpty());

    signIn(window, server->root().toString() + QStringLiteral("/rest/"), SupysonicServer::user, SupysonicServer::password);
    EXPECT_EQ(window.errorText(), QString());
    ASSERT_EQ(keyring.kept.size(), 1);
    EXPECT_EQ(keyring.kept[0].password, SupysonicServer::password);
    EXPECT_EQ(keyring.kept[0].server, server->root()); // the typed "/rest/" dropped
    EXPECT_EQ(MusicSourceSettings::source(), MusicSource::server);
    ASSERT_TRUE(MusicSourceSettings::serverAccount());
    EXPECT_EQ(MusicSourceSettings::serverAccount()->user, SupysonicServer::user);
    EXPECT_FALSE(storedSettings().contains(SupysonicServer::password));
    EXPECT_TRUE(window.passwordField()->text().isEmpty());
    // Nothing runs on that server yet: the window offers to start again on it.
    ASSERT_EQ(signedIn.size(), 1);
    EXPECT_FALSE(signedIn[0][0].toBool());
    EXPECT_TRUE(window.relaunchButton()->isVisible());
    EXPECT_TRUE(window.statusText().contains(QStringLiteral("next launch"))) << window.statusText().toStdString();
    QSignalSpy relaunch(&window, &SignInWindow::relaunchRequested);
    QTest::mouseClick(window.relaunchButton(), Qt::LeftButton);
    EXPECT_EQ(relaunch.size(), 1);
}

TEST_F(SignIn, TheRunningServiceOfTheSameAccountTakesTheCheckedPasswordLiveAndAnotherAccountDoesNot)
{
    QString why;
    SupysonicServer *server = SupysonicServer::shared(&why);
    if (!server)
        GTEST_SKIP() << "No Subsonic server to test against: " << why.toStdString();
    // The launch's service, refused for a stale password.
    SubsonicService running(SubsonicAccount{server->root(), SupysonicServer::user, QStringLiteral("stale"), {}});
    ASSERT_EQ(runTask(running.requestAuthorization()), MusicAuthorizationStatus::denied);

    EXPECT_FALSE(ServerSignIn::switchLive(running, SubsonicAccount{server->root(), QStringLiteral("bob"), QStringLiteral("x"), {}}));
    FakeKeyring keyring;
    SignInWindow window;
    window.setPasswordKeeper(keyring.keeper());
    window.setLiveSwitch([&running](const SubsonicAccount &account) { return ServerSignIn::switchLive(running, account); });
    QSignalSpy signedIn(&window, &SignInWindow::signedIn);
    signIn(window, server->root().toString(), SupysonicServer::user, SupysonicServer::password);
    ASSERT_EQ(signedIn.size(), 1);
    EXPECT_TRUE(signedIn[0][0].toBool());
    EXPECT_FALSE(window.relaunchButton()->isVisible());
    EXPECT_EQ(runTask(running.requestAuthorization()), MusicAuthorizationStatus::authorized) << running.unavailableReason().toStdString();
}

TEST_F(SignIn, WhatIsNotASubsonicServerOrNotSafeToSendAPasswordToIsSaidInTheWindowAndNothingIsSaved)
{
    ScriptedPeer page([](const QString &, const QUrlQuery &) -> std::optional<QByteArray> {
        const QByteArray html = "<!doctype html><title>My router</title>";
        return "HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nContent-Length: " + QByteArray::number(html.size()) +
               "\r\nConnection: close\r\n\r\n" + html;
    });
    // (How the client words a redirect, a broken answer or a time-out is checked on the wire; here,
    // that the window says what the client found and keeps nothing.)
    const struct {
        QString address;
        QString expected;
    } cases[] = {
        {page.root().toString(), QStringLiteral("does not answer as a Subsonic server")},
        {QStringLiteral("http://music.example.org"), QStringLiteral("plain HTTP")},
        {QStringLiteral("ftp://music.example.org"), QStringLiteral("Enter the server's address")},
    };
    FakeKeyring keyring;
    SignInWindow window;
    window.setPasswordKeeper(keyring.keeper());
    for (const auto &each : cases) {
        signIn(window, each.address, QStringLiteral("alice"), QStringLiteral("secret"));
        EXPECT_TRUE(window.errorText().contains(each.expected)) << each.address.toStdString() << ": " << window.errorText().toStdString();
        EXPECT_FALSE(window.errorText().contains(QStringLiteral("secret")));
    }
    EXPECT_TRUE(keyring.kept.isEmpty());
    EXPECT_FALSE(MusicSourceSettings::serverAccount());
    EXPECT_FALSE(window.relaunchButton()->isVisible());
}

TEST_F(SignIn, WithoutAKeyringTheSignInSucceedsSaysThePasswordIsNotKeptAndTheLaunchAsksForItAgain)
{
    int pings = 0;
    ScriptedPeer peer([&pings](const QString &path, const QUrlQuery &query) -> std::optional<QByteArray> {
        ++pings;
        if (path.endsWith(QStringLiteral("/ping.view")) && query.hasQueryItem(QStringLiteral("t")))
            return ScriptedPeer::ok();
        return ScriptedPeer::failed(40, "Wrong username or password");
    });
    FakeKeyring keyring;
    keyring.available = false;
    {
        SignInWindow window;
        window.setPasswordKeeper(keyring.keeper());
        signIn(window, peer.root().toString(), QStringLiteral("alice"), QStringLiteral("hunter2"));
        EXPECT_EQ(window.errorText(), QString());
        EXPECT_EQ(window.noteText(), ServerSignIn::passwordNotKeptNote());
        EXPECT_EQ(MusicSourceSettings::source(), MusicSource::server);
        EXPECT_FALSE(storedSettings().contains(QStringLiteral("hunter2")));
    }

    // The next launch: the keyring gives nothing, so the Sign In window asks, saying why, with
    // the stored server and user fixed.
    const SubsonicAccount stored = *MusicSourceSettings::serverAccount();
    const QString reason = QStringLiteral("No keyring is running on this desktop.");
    auto noKeyring = [reason](SubsonicAccount) -> QCoro::Task<QString> {
        throw MusicError(MusicError::notAuthorized, reason);
        co_return QString();
    };
    const SubsonicService::PasswordSource launch = ServerSignIn::askingWhenMissing(noKeyring, SignInWindow::prompt());
    auto askedWindow = [] {
        for (QWidget *widget : QApplication::topLevelWidgets())
            if (auto *window = qobject_cast<SignInWindow *>(widget); window && window->isVisible())
                return window;
        return static_cast<SignInWindow *>(nullptr);
    };

    // Typed and checked: the password goes to the service.
    std::optional<QString> given;
    auto answer = [&](SubsonicAccount account) -> QCoro::Task<void> { given = co_await launch(account); };
    QTimer::singleShot(0, [&] {
        ASSERT_TRUE(waitUntil([&] { return askedWindow() != nullptr; }));
        SignInWindow *window = askedWindow();
        EXPECT_EQ(window->noteText(), reason);
        EXPECT_TRUE(window->addressField()->isReadOnly());
        EXPECT_EQ(window->userField()->text(), QStringLiteral("alice"));
        window->setPasswordKeeper(keyring.keeper());
        QTest::keyClicks(window->passwordField(), QStringLiteral("hunter2"));
        // Enter in the field signs in, as the dialog's default button.
        QTest::keyClick(window->passwordField(), Qt::Key_Return);
    });
    runTask(answer(stored));
    EXPECT_EQ(given, QStringLiteral("hunter2"));

    // Dismissed (Escape) without a password: the launch is refused with the keyring's reason, for the
    // unavailable screen.
    QTimer::singleShot(0, [&] {
        ASSERT_TRUE(waitUntil([&] { return askedWindow() != nullptr; }));
        QTest::keyClick(askedWindow(), Qt::Key_Escape);
    });
    try {
        runTask(launch(stored));
        ADD_FAILURE() << "a closed window gave a password";
    } catch (const Error &error) {
        EXPECT_EQ(error.localizedDescription(), reason);
    }

    // An address given without a scheme is shown as given, so that signing in from the window
    // tries HTTPS and then plain HTTP as the launch did.
    SignInWindow asked;
    asked.askPassword(SubsonicClient::typedAccount(QStringLiteral("nas:4533"), QStringLiteral("alice")), reason);
    EXPECT_EQ(asked.addressField()->text(), QStringLiteral("nas:4533"));
}

TEST_F(SignIn, TheSettingsSourceChoiceShowsTheStoredServerAndStoresTheChoiceButNeverAServerThatIsNotThere)
{
    SourceSettingsView view;
    QSignalSpy signInRequests(&view, &SourceSettingsView::signInRequested);
    EXPECT_TRUE(view.folderChoice()->isChecked());
    EXPECT_EQ(view.serverText(), QStringLiteral("No server signed in yet."));

    // No server stored: choosing one opens the Sign In window and the folder stays chosen.
    QTest::mouseClick(view.serverChoice(), Qt::LeftButton);
    EXPECT_EQ(signInRequests.size(), 1);
    EXPECT_TRUE(view.folderChoice()->isChecked());
    EXPECT_EQ(MusicSourceSettings::source(), MusicSource::folder);

    // A sign-in elsewhere stores a server: the view follows.
    MusicSourceSettings::chooseServer(SubsonicAccount{QUrl(QStringLiteral("https://music.example.org:4533")), QStringLiteral("alice"),
                                                      QStringLiteral("secret"), {}});
    EXPECT_TRUE(view.serverChoice()->isChecked());
    EXPECT_EQ(view.serverText(), QStringLiteral("https://music.example.org:4533 as alice"));
    EXPECT_FALSE(storedSettings().contains(QStringLiteral("secret")));

    // Back to the folder, and to the server again, without signing in anew.
    QTest::mouseClick(view.folderChoice(), Qt::LeftButton);
    EXPECT_EQ(MusicSourceSettings::source(), MusicSource::folder);
    QTest::mouseClick(view.serverChoice(), Qt::LeftButton);
    EXPECT_EQ(MusicSourceSettings::source(), MusicSource::server);
    EXPECT_EQ(signInRequests.size(), 1);
    QTest::mouseClick(view.signInButton(), Qt::LeftButton);
    EXPECT_EQ(signInRequests.size(), 2);
}

TEST_F(SignIn, AServerWhoseCertificateDoesNotVerifyIsSaidInTheWindowAndTheLogAndLeavesTheMirrorWhole)
{
    if (!QSslSocket::supportsSsl())
        GTEST_SKIP() << "Qt has no TLS backend here";
    SelfSignedPeer peer;
    ASSERT_TRUE(peer.isListening());
    const QString verifyWords = QStringLiteral("could not be verified");

    // The Sign In window says it, nothing is kept, and the log says why.
    LogStore::shared().clear();
    FakeKeyring keyring;
    SignInWindow window;
    window.setPasswordKeeper(keyring.keeper());
    signIn(window, peer.root().toString(), QStringLiteral("alice"), QStringLiteral("secret"));
    EXPECT_TRUE(window.errorText().contains(verifyWords)) << window.errorText().toStdString();
    EXPECT_TRUE(window.errorText().contains(QStringLiteral("127.0.0.1:%1").arg(peer.root().port())));
    EXPECT_TRUE(keyring.kept.isEmpty());
    EXPECT_FALSE(MusicSourceSettings::serverAccount());
    EXPECT_TRUE(loggedAnError(QStringLiteral("self-signed"))) << "no log line names what is wrong with the certificate";
    EXPECT_TRUE(loggedAnError(verifyWords));
    EXPECT_EQ(peer.answered(), 0);

    // Typed without a scheme, the same: a certificate refused is never a reason to fall back to
    // plain HTTP.
    signIn(window, QStringLiteral("127.0.0.1:%1").arg(peer.root().port()), QStringLiteral("alice"), QStringLiteral("secret"));
    EXPECT_TRUE(window.errorText().contains(verifyWords)) << window.errorText().toStdString();
    EXPECT_FALSE(MusicSourceSettings::serverAccount());
    EXPECT_EQ(peer.answered(), 0);

    // A library mirrored from the server before its certificate changed stays whole: the launch's
    // sign-in gives the unavailable screen the words, and a sync fails with them.
    ScriptedPeer before([](const QString &path, const QUrlQuery &) -> std::optional<QByteArray> {
        if (path.endsWith(u"/getAlbumList2.view"))
            return ScriptedPeer::ok(R"("albumList2":{"album":[{"id":"al1","name":"One","songCount":2}]})");
        if (path.endsWith(u"/getAlbum.view"))
            return ScriptedPeer::ok(R"("album":{"id":"al1","name":"One","song":[{"id":"s1","title":"a","track":1},{"id":"s2","title":"b","track":2}]})");
        if (path.endsWith(u"/getArtists.view"))
            return ScriptedPeer::ok(R"("artists":{"index":[]})");
        if (path.endsWith(u"/getPlaylists.view"))
            return ScriptedPeer::ok(R"("playlists":{})");
        return ScriptedPeer::ok();
    });
    QTemporaryDir dir;
    LocalDatabase database(dir.filePath(QStringLiteral("local.db")));
    runTask(database.open());
    SubsonicService plain(SubsonicAccount{before.root(), QStringLiteral("alice"), QStringLiteral("secret"), {}});
    SyncEngine first(database, plain);
    runTask(first.syncAll(nullptr));
    ASSERT_EQ(runTask(database.allLibrarySongs({LocalSong::SortKey::title})).size(), 2);

    SubsonicService secure(SubsonicAccount{peer.root(), QStringLiteral("alice"), QStringLiteral("secret"), {}});
    EXPECT_EQ(runTask(secure.requestAuthorization()), MusicAuthorizationStatus::denied);
    EXPECT_TRUE(secure.unavailableReason().contains(verifyWords)) << secure.unavailableReason().toStdString();
    SyncEngine again(database, secure);
    try {
        runTask(again.syncAll(nullptr));
        ADD_FAILURE() << "synced from a server whose certificate does not verify";
    } catch (const MusicError &error) {
        EXPECT_TRUE(error.localizedDescription().contains(verifyWords)) << error.localizedDescription().toStdString();
    }
    EXPECT_EQ(runTask(database.allLibrarySongs({LocalSong::SortKey::title})).size(), 2);
    EXPECT_EQ(runTask(database.allAlbums({LocalAlbum::SortKey::title})).size(), 1);
    EXPECT_EQ(peer.answered(), 0);
    runTask(database.close());
}
