// Replays inputs through a fuzz target without libFuzzer: each file named on the command line, or
// every file in a folder named there, is handed to LLVMFuzzerTestOneInput once. A fault crashes
// the run (and the sanitizers of the build report it); otherwise it prints how many ran.

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int main(int argc, char **argv)
{
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        QStringList files;
        const QString name = QFile::decodeName(argv[i]);
        if (QFileInfo(name).isDir()) {
            QDirIterator it(name, QDir::Files, QDirIterator::Subdirectories);
            while (it.hasNext())
                files.append(it.next());
            files.sort();
        } else {
            files.append(name);
        }
        for (const QString &file : files) {
            QFile input(file);
            if (!input.open(QIODevice::ReadOnly)) {
                std::fprintf(stderr, "cannot read %s\n", qPrintable(file));
                return 1;
            }
            const QByteArray bytes = input.readAll();
            std::fprintf(stderr, "replaying %s (%lld bytes)\n", qPrintable(file), static_cast<long long>(bytes.size()));
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.constData()), size_t(bytes.size()));
            ++count;
        }
    }
    std::printf("%d inputs replayed without a fault\n", count);
    return 0;
}
