#include "FuzzKit.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QLoggingCategory>
#include <QTemporaryDir>

#include <cstdlib>
#include <memory>

namespace FuzzKit {

namespace {

QString &folder()
{
    static QString path;
    return path;
}

std::unique_ptr<QTemporaryDir> &ownFolder()
{
    static std::unique_ptr<QTemporaryDir> dir;
    return dir;
}

} // namespace

void setUp()
{
    if (QCoreApplication::instance())
        return;
    static int argc = 1;
    static char name[] = "lumevar-fuzz";
    static char *argv[] = {name, nullptr};
    new QCoreApplication(argc, argv); // lives as long as the process
    // Millions of inputs each log a line or two; only crashes and sanitizer reports matter here.
    // LUMEVAR_FUZZ_LOG=1 keeps the log, to follow what one input does.
    if (!qEnvironmentVariableIsSet("LUMEVAR_FUZZ_LOG"))
        QLoggingCategory::setFilterRules(QStringLiteral("*=false"));

    QString path = qEnvironmentVariable("LUMEVAR_FUZZ_SCRATCH");
    if (path.isEmpty()) {
        const QString base = QDir(QStringLiteral("/dev/shm")).exists() ? QStringLiteral("/dev/shm") : QDir::tempPath();
        ownFolder() = std::make_unique<QTemporaryDir>(base + QStringLiteral("/lumevar-fuzz-XXXXXX"));
        path = ownFolder()->path();
        std::atexit([] { ownFolder().reset(); });
    }
    QDir().mkpath(path);
    folder() = QDir(path).absolutePath();
}

const QString &scratch() { return folder(); }

QByteArray bytes(const uint8_t *data, size_t size)
{
    return QByteArray(reinterpret_cast<const char *>(data), qsizetype(size));
}

QByteArray write(const QString &name, const QByteArray &bytes)
{
    const QString path = folder() + u'/' + name;
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size())
        std::abort(); // the scratch folder itself failed: no input can be judged
    return QFile::encodeName(path);
}

void clear(const QString &name)
{
    QDir dir(folder() + u'/' + name);
    if (dir.exists() && !dir.isEmpty())
        dir.removeRecursively();
}

} // namespace FuzzKit
