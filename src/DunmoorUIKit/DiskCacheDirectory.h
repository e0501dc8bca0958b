#pragma once
// The disk level shared by the kit's caches: one file per key in a folder, the key used as the
// file's name or hashed (upper-case hex SHA-256 of its UTF-8), atomic writes, a touch on read that
// sets the file's modification time to now, and the purge of files not used for a given age.
// The time comes from the injected Clock. Safe on any thread.

#include "Support/Error.h"

#include <QString>

class Clock;

class CacheFileError : public Error {
public:
    enum Code { readFailed = 0, writeFailed = 1 };
    CacheFileError(Code code, QString detail);
};

class DiskCacheDirectory {
public:
    // Makes the folder (with its parents); a failure shows at the first write.
    // touchFailureMessage starts the line printed when a touch fails.
    DiskCacheDirectory(QString directory, bool shouldHashKeys, QString extension, QString touchFailureMessage,
                       Clock *clock = nullptr);

    const QString &directory() const { return m_directory; }
    // The key as stored: itself, or its hash when keys are hashed.
    QString storedKey(const QString &key) const;
    QString fileOfStoredKey(const QString &storedKey) const;

    // Throws CacheFileError(readFailed).
    QByteArray read(const QString &path) const;
    // Replaces the file in one step. Throws CacheFileError(writeFailed).
    void write(const QString &path, const QByteArray &bytes) const;
    // Sets the file's modification time to now on the global thread pool; the caller does not wait.
    void touchLater(const QString &path) const;
    void remove(const QString &path) const;

    // Removes every visible file whose last use (modification time, else creation time) lies
    // further than ageSeconds from now, in the past or the future. Failures are skipped.
    void removeFiles(double ageSeconds) const;

private:
    double now() const;

    QString m_directory;
    bool m_shouldHashKeys;
    QString m_extension;
    QString m_touchFailureMessage;
    Clock *m_clock;
};
