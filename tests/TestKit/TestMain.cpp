// Test entry point: a Qt application object on the main thread, test-mode standard paths under a
// home folder of the process's own (so no test touches the user's settings or data, nor another
// test's) and a C numeric locale for libmpv.
#include "Support/UserDefaults.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <clocale>

#ifdef LUMEVAR_TEST_WIDGETS
#include <QApplication>
using TestApplication = QApplication;
#else
#include <QGuiApplication>
using TestApplication = QGuiApplication;
#endif

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", qgetenv("QT_QPA_PLATFORM").isEmpty() ? QByteArray("offscreen") : qgetenv("QT_QPA_PLATFORM"));
    // A home folder of this process's own: ctest runs tests side by side, and the test-mode paths
    // (settings, data, caches) lie under the home folder, so two tests at once would share one
    // settings file and change each other's values. The desktop's caches (fonts) stay shared.
    if (qEnvironmentVariableIsEmpty("XDG_CACHE_HOME"))
        qputenv("XDG_CACHE_HOME", QFile::encodeName(QDir::homePath() + QStringLiteral("/.cache")));
    const QTemporaryDir home;
    qputenv("HOME", QFile::encodeName(home.path()));
    QStandardPaths::setTestModeEnabled(true);
    TestApplication app(argc, argv);
    TestApplication::setOrganizationName(QStringLiteral("LumevarTests"));
    TestApplication::setApplicationName(QStringLiteral("LumevarTests"));
    std::setlocale(LC_NUMERIC, "C");
    ::testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    // Written now, while the home folder is still there, rather than when the settings go at exit.
    UserDefaults::standard().synchronize();
    return result;
}
