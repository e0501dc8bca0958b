#pragma once
// A small file system of its own for a test of a full disk: a tmpfs of the given size mounted on a
// temporary folder (the test must run as root where mounts are allowed; else skipReason() says why
// not and the test skips), filled to the last byte by fill() and given its space back by free().

#include <QDir>
#include <QFile>
#include <QString>
#include <QTemporaryDir>

#include <algorithm>

#include <cerrno>
#include <cstring>
#include <sys/mount.h>
#include <unistd.h>

class TmpfsMount {
public:
    explicit TmpfsMount(qint64 bytes)
    {
        if (::geteuid() != 0) {
            m_skipReason = QStringLiteral("mounting a small file system needs root");
            return;
        }
        const QByteArray options = "size=" + QByteArray::number(bytes);
        if (::mount("tmpfs", QFile::encodeName(m_dir.path()).constData(), "tmpfs", 0, options.constData()) != 0) {
            m_skipReason = QStringLiteral("cannot mount a tmpfs here: %1").arg(QString::fromLocal8Bit(std::strerror(errno)));
            return;
        }
        m_mounted = true;
    }
    ~TmpfsMount()
    {
        if (m_mounted)
            ::umount2(QFile::encodeName(m_dir.path()).constData(), MNT_DETACH);
    }
    TmpfsMount(const TmpfsMount &) = delete;
    TmpfsMount &operator=(const TmpfsMount &) = delete;

    // Empty when the mount is in place.
    const QString &skipReason() const { return m_skipReason; }
    QString path() const { return m_dir.path(); }
    QString filePath(const QString &name) const { return m_dir.filePath(name); }

    // Fills what space is left (leaving keep bytes), so the next writes meet ENOSPC.
    void fill(qint64 keep = 0)
    {
        QFile filler(fillerPath());
        if (!filler.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered))
            return;
        // Smaller and smaller blocks, down to the last byte the file system will take.
        for (const qsizetype size : {1024 * 1024, 4096, 64, 1}) {
            const QByteArray block(size, 'f');
            while (filler.write(block) == block.size()) {
            }
        }
        filler.close();
        if (keep > 0)
            filler.resize(std::max<qint64>(0, filler.size() - keep));
    }
    // Gives the space back.
    void free() { QFile::remove(fillerPath()); }

private:
    QString fillerPath() const { return m_dir.filePath(QStringLiteral(".filler")); }

    QTemporaryDir m_dir;
    QString m_skipReason;
    bool m_mounted = false;
};
