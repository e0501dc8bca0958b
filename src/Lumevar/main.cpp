// Lumevar: a compact music player over a local music folder.
//
//   lumevar [--library PATH | --server URL --user NAME] [--audio-output DRIVER]
//
// PATH is the music folder to play from; without it the stored setting "libraryFolder" or the
// user's music folder is used. With --server the library is that of a Subsonic-API server,
// signed in as NAME with the password from the keyring or LUMEVAR_SERVER_PASSWORD. Without either
// option the source chosen in Settings is used (a server signed in to in the Sign In window);
// when the keyring has no password for it, the Sign In window asks for one. DRIVER is mpv's audio
// output ("pulse", "alsa", "null" on a machine without sound); without it mpv chooses.

#include "Lumevar/App/LumevarApp.h"
#include "Lumevar/App/ServerSignIn.h"
#include "Lumevar/App/SharedInstances.h"
#include "Lumevar/App/SingleInstance.h"
#include "Lumevar/Feedback/AutomaticFeedbackReport.h"
#include "Lumevar/Mpris/MprisService.h"
#include "Lumevar/Notifications/DesktopNotifications.h"
#include "Lumevar/Notifications/SongChangeNotifier.h"
#include "Lumevar/UI/DockMenu.h"
#include "Lumevar/Settings/MusicSourceSettings.h"
#include "Lumevar/UI/MainWindow.h"
#include "Lumevar/UI/SignInWindow.h"
#include "LumevarCore/LocalDatabase.h"
#include "Platform/LocalLibrary/LocalLibraryService.h"
#include "Platform/Music/ApplicationMusicPlayer.h"
#include "Platform/Music/MpvAudioEngine.h"
#include "Platform/Subsonic/SubsonicKeyring.h"
#include "Platform/Subsonic/SubsonicService.h"
#include "Support/Log.h"
#include "Support/QuitSignals.h"
#include "Support/Task.h"
#include "Support/WaitForTask.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QCoroTask>
#include <QDBusConnection>
#include <QFileInfo>
#include <QIcon>
#include <QProcess>
#include <clocale>
#include <cstdio>
#include <memory>

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Lumevar"));
    QApplication::setApplicationDisplayName(QStringLiteral("Lumevar"));
    QApplication::setDesktopFileName(QStringLiteral("lumevar"));
    // The installed theme's icon when there is one, else the copy built into the program.
    QApplication::setWindowIcon(QIcon::fromTheme(QStringLiteral("lumevar"), QIcon(QStringLiteral(":/icons/lumevar.svg"))));
    QuitSignals::install();
    // Closing the main window leaves the process and playback running; quitting is explicit.
    QApplication::setQuitOnLastWindowClosed(false);
    // libmpv parses numbers in the C locale only.
    std::setlocale(LC_NUMERIC, "C");

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("A compact music player."));
    parser.addHelpOption();
    const QCommandLineOption libraryOption(QStringLiteral("library"), QStringLiteral("The music folder to play from."),
                                           QStringLiteral("PATH"));
    parser.addOption(libraryOption);
    const QCommandLineOption audioOutputOption(QStringLiteral("audio-output"), QStringLiteral("mpv's audio output driver."),
                                               QStringLiteral("DRIVER"));
    parser.addOption(audioOutputOption);
    const QCommandLineOption serverOption(QStringLiteral("server"), QStringLiteral("A Subsonic-API server to play from."),
                                          QStringLiteral("URL"));
    parser.addOption(serverOption);
    const QCommandLineOption userOption(QStringLiteral("user"), QStringLiteral("The user name on the server."),
                                        QStringLiteral("NAME"));
    parser.addOption(userOption);
    parser.process(application);

    // One process per profile: a second launch raises the first one's window and ends here.
    auto instance = std::make_unique<SingleInstance>(QFileInfo(LocalDatabase::defaultPath()).absolutePath());
    switch (instance->claim(QCoreApplication::arguments())) {
    case SingleInstance::Claim::first:
        break;
    case SingleInstance::Claim::handedOver:
        return 0;
    case SingleInstance::Claim::alreadyRunning:
        return 1;
    }

    // The platform: the music folder or a server as the music service, mpv as the audio output.
    std::unique_ptr<LocalLibraryService> folder;
    std::unique_ptr<SubsonicService> server;
    const bool storedServer = !parser.isSet(libraryOption) && MusicSourceSettings::source() == MusicSource::server;
    if (parser.isSet(serverOption) || storedServer) {
        SubsonicAccount account = parser.isSet(serverOption)
                                      ? SubsonicAccount{SubsonicClient::normalizedServer(parser.value(serverOption)), parser.value(userOption), {}, {}}
                                      : *MusicSourceSettings::serverAccount();
        if (!account.server.isValid() || account.user.isEmpty()) {
            std::fprintf(stderr, "lumevar: --server needs a server address and --user a user name\n");
            return 2;
        }
        LUMEVAR_INFO(Log::app(), "Music server: %@ as %@", account.server.toString(), account.user);
        server = std::make_unique<SubsonicService>(account, ServerSignIn::askingWhenMissing(&SubsonicKeyring::readPassword, SignInWindow::prompt()));
    } else {
        folder = std::make_unique<LocalLibraryService>(LocalLibraryService::resolveLibraryFolder(parser.value(libraryOption)));
        LUMEVAR_INFO(Log::app(), "Library folder: %@", folder->folder());
    }
    MusicService &service = server ? static_cast<MusicService &>(*server) : *folder;
    MpvAudioEngine::Options audio;
    audio.audioOutput = parser.value(audioOutputOption);
    MpvAudioEngine engine(audio);
    ApplicationMusicPlayer player(engine, service);

    // A decoding failure is reported to the makers, when the build or environment gives a token.
    AutomaticFeedbackReport automaticReport(FeedbackConfiguration::current());
    // Installed until the end of main(), after everything made below has gone.
    const SharedInstances shared({.service = &service, .player = &player, .feedback = &automaticReport});

    LumevarApp root;
    MainViewModel &model = root.mainViewModel();
    // Each newly shown song's artwork is cached, then announced on the desktop if the user asked.
    DesktopNotifications notifications;
    SongChangeNotifier songChanges(model, notifications);
    songChanges.install();
    MainWindow window(root);
    QObject::connect(&window, &MainWindow::quitRequested, &application, &QApplication::quit);
    bool relaunch = false;
    QObject::connect(&window, &MainWindow::relaunchRequested, &application, [&relaunch] {
        relaunch = true;
        QApplication::quit();
    });

    DockMenu dock(model);
    QObject::connect(&dock, &DockMenu::showWindowRequested, &window, &MainWindow::raiseWindow);
    QObject::connect(&dock, &DockMenu::quitRequested, &application, &QApplication::quit);
    if (!dock.install())
        LUMEVAR_INFO(Log::app(), "No system tray; the window's menus are the only controls");

    QObject::connect(instance.get(), &SingleInstance::activated, &window, [&window](const QStringList &) { window.raiseWindow(); });

    MprisService::Hooks hooks;
    hooks.raise = [&window] { window.raiseWindow(); };
    hooks.quit = [] { QApplication::quit(); };
    // Play with nothing loaded plays the selected row of the songs on screen, else all of them.
    hooks.playWhenStopped = [&root, &model] {
        if (model._detailSongs().isEmpty())
            return;
        detach(root.songsViewModel().playSelection(model._selectedDetailSongID().value_or(SongSelection::playID)));
    };
    hooks.artworkSettles = true; // songChanges settles it
    MprisService mpris(model, std::move(hooks));
    mpris.registerOn(QDBusConnection::sessionBus());

    window.show();
    const int status = application.exec();
    // A clean quit folds the store's write-ahead log back, so that local.db alone is the library.
    try {
        waitForTask(LocalDatabase::shared().close());
    } catch (...) {
        LUMEVAR_ERROR(Log::app(), "Failed to close the local store: %@", errorFromCurrentException());
    }
    if (relaunch) {
        // The profile is let go first, so that the new process takes it instead of handing over.
        // The source comes from the settings there, so --library and --server are not passed on.
        instance.reset();
        QStringList arguments;
        if (parser.isSet(audioOutputOption))
            arguments << QStringLiteral("--audio-output") << parser.value(audioOutputOption);
        if (!QProcess::startDetached(QCoreApplication::applicationFilePath(), arguments))
            LUMEVAR_ERROR(Log::app(), "Failed to start Lumevar again; start it yourself");
    }
    return status;
}
