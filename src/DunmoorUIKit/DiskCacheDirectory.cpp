#include "DunmoorUIKit/DiskCacheDirectory.h"

#include "Support/Clock.h"
#include "Support/WorkerPools.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QThreadPool>
#include <cstdio>

CacheFileError::CacheFileError(Code code, QString detail)
    : Error(QStringLiteral("DunmoorUIKit.CacheFileError"), code, std::move(detail))
{
}

DiskCacheDirectory::DiskCacheDirectory(QString directory, bool shouldHashKeys, QString extension,
                                       QString touchFailureMessage, Clock *clock)
    : m_directory(std::move(directory)), m_shouldHashKeys(shouldHashKeys), m_extension(std::move(extension)),
      m_touchFailureMessage(std::move(touchFailureMessage)), m_clock(clock)
{
    QDir().mkpath(m_directory);
}

QString DiskCacheDirectory::storedKey(const QString &key) const
{
    if (!m_shouldHashKeys)
        return key;
    return QString::fromLatin1(QCryptographicHash::hash(key.toUtf8(), QCryptographicHash::Sha256).toHex().toUpper());
}

QString DiskCacheDirectory::fileOfStoredKey(const QString &storedKey) const
{
    return m_directory + QLatin1Char('/') + storedKey + QLatin1Char('.') + m_extension;
}

QByteArray DiskCacheDirectory::read(const QString &path) const
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw CacheFileError(CacheFileError::readFailed, path + QStringLiteral(": ") + file.errorString());
    return file.readAll();
}

void DiskCacheDirectory::write(const QString &path, const QByteArray &bytes) const
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
        throw CacheFileError(CacheFileError::writeFailed, path + QStringLiteral(": ") + file.errorString());
}

double DiskCacheDirectory::now() const
{
    return (m_clock ? *m_clock : Clock::shared()).now();
}

void DiskCacheDirectory::touchLater(const QString &path) const
{
    const QDateTime time = QDateTime::fromMSecsSinceEpoch(qint64((now() + referenceDateOffsetFromUnixEpoch) * 1000.0));
    WorkerPools::background().start([path, time, message = m_touchFailureMessage] {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly) || !file.setFileTime(time, QFileDevice::FileModificationTime)) {
            std::printf("%s%s\n", qPrintable(message), qPrintable(path + QStringLiteral(": ") + file.errorString()));
            std::fflush(stdout);
        }
    });
}

void DiskCacheDirectory::remove(const QString &path) const
{
    QFile::remove(path);
}

void DiskCacheDirectory::removeFiles(double ageSeconds) const
{
    const double current = now() + referenceDateOffsetFromUnixEpoch;
    const QFileInfoList entries = QDir(m_directory).entryInfoList(QDir::Files | QDir::NoDotAndDotDot);
    for (const QFileInfo &entry : entries) {
        QDateTime lastUse = entry.lastModified();
        if (!lastUse.isValid())
            lastUse = entry.birthTime();
        if (!lastUse.isValid())
            continue;
        if (std::abs(current - double(lastUse.toMSecsSinceEpoch()) / 1000.0) > ageSeconds)
            QFile::remove(entry.filePath());
    }
}
