// Test entry point: a Qt application object on the main thread, test-mode standard paths (so no
// test touches the user's settings or data) and a C numeric locale for libmpv.
#include <QStandardPaths>
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
    QStandardPaths::setTestModeEnabled(true);
    TestApplication app(argc, argv);
    TestApplication::setOrganizationName(QStringLiteral("LumevarTests"));
    TestApplication::setApplicationName(QStringLiteral("LumevarTests"));
    std::setlocale(LC_NUMERIC, "C");
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
