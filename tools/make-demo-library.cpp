// Writes Lumevar's demo library into the folder given on the command line:
//   make-demo-library <folder>
// Short synthesised tunes in MP3, FLAC and Ogg Vorbis with real tags and drawn covers, three
// playlists, and a ".complete" marker written last.

#include "DemoLibrary/DemoLibrary.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <cstdio>

int main(int argc, char *argv[])
{
    // Covers are drawn with text, which needs a GUI application but no display.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    if (arguments.size() != 2 || arguments[1].startsWith(u'-')) {
        std::fprintf(stderr, "usage: make-demo-library <folder>\n");
        return 2;
    }

    QElapsedTimer timer;
    timer.start();
    DemoLibrary::Summary summary;
    QString error;
    if (!DemoLibrary::generate(arguments[1], &summary, &error)) {
        std::fprintf(stderr, "make-demo-library: %s\n", qPrintable(error));
        return 1;
    }
    std::printf("Wrote %d tracks, %d albums and %d playlists to %s in %.1f s\n", summary.tracks, summary.albums,
                summary.playlists, qPrintable(arguments[1]), timer.elapsed() / 1000.0);
    return 0;
}
