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

namespace {

// What the command line asks for.
struct Options {
    QString library;
    QString audioOutput;
    QString server;
    QString user;
};

Options parseOptions(const QApplication &application)
{
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
    return {parser.value(libraryOption), parser.value(audioOutputOption), parser.value(serverOption), parser.value(userOption)};
}

// The music service: the server given on the command line, else the folder given there, else
// the source chosen in Settings. Nothing when the server's account is incomplete.
std::unique_ptr<MusicService> makeService(const Options &options)
{
    const bool storedServer = options.library.isEmpty() && MusicSourceSettings::source() == MusicSource::server;
    if (options.server.isEmpty() && !storedServer) {
        auto folder = std::make_unique<LocalLibraryService>(LocalLibraryService::resolveLibraryFolder(options.library));
        LUMEVAR_INFO(Log::app(), "Library folder: %@", folder->folder());
        return folder;
    }
    const SubsonicAccount account = !options.server.isEmpty()
                                        ? SubsonicClient::typedAccount(options.server, options.user)
                                        : *MusicSourceSettings::serverAccount();
    if (!account.server.isValid() || account.user.isEmpty()) {
        std::fprintf(stderr, "lumevar: --server needs a server address and --user a user name\n");
        return nullptr;
    }
    LUMEVAR_INFO(Log::app(), "Music server: %@ as %@", account.server.toString(), account.user);
    return std::make_unique<SubsonicService>(account, ServerSignIn::askingWhenMissing(&SubsonicKeyring::readPassword, SignInWindow::prompt()));
}

// Starts Lumevar again once this process has let its profile go. The source comes from the
// settings there, so --library and --server are not passed on.
void startAgain(const Options &options)
{
    QStringList arguments;
    if (!options.audioOutput.isEmpty())
        arguments << QStringLiteral("--audio-output") << options.audioOutput;
    if (!QProcess::startDetached(QCoreApplication::applicationFilePath(), arguments))
        LUMEVAR_ERROR(Log::app(), "Failed to start Lumevar again; start it yourself");
}

} // namespace

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

    const Options options = parseOptions(application);

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
    const std::unique_ptr<MusicService> chosenService = makeService(options);
    if (!chosenService)
        return 2;
    MusicService &service = *chosenService;
    MpvAudioEngine::Options audio;
    audio.audioOutput = options.audioOutput;
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
        instance.reset();
        startAgain(options);
    }
    return status;
}
