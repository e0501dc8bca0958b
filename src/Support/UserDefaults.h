#pragma once
// Stored defaults: small typed values that outlive the process (settings, sync stamps, the
// telemetry client's state), kept with QSettings in an INI file in the user's configuration
// directory: "<config>/Lumevar/Lumevar.conf" for UserDefaults::standard(), and
// "<config>/Lumevar/<suite>.conf" for a named suite, which shares nothing with the standard one.
// <config> comes from QStandardPaths, so tests in test mode never touch the user's real files.
//
// Each key is looked up first among the stored values and then in the registration domain, an
// in-memory map filled by registerDefaults() at start and never written to disk:
//
//   defaults.registerDefaults({{"padding", 2}});
//   defaults.integerValue("padding");   // 2 until something is stored
//   defaults.set("padding", 4);          // 4, and so on the next launches
//   defaults.removeObject("padding");    // 2 again
//
// Typed reads never fail; a key that is absent everywhere, or holds something else, gives
// false / 0 / 0.0 for booleans and numbers, and std::nullopt for strings, data and string arrays.
// The INI file keeps numbers and booleans as text, so after a restart object() gives them back as
// strings: read them through the typed reads, which convert. Byte arrays, string lists and dates
// keep their type.
//
// Thread-safe: the values live in a map under a mutex, read and written from any thread; the file is
// written by a QSettings on the owner's thread (writes from other threads reach it queued).
// changed(key) is emitted on the writing thread after
// each set/removeObject/registerDefaults/removePersistentDomain, once per key whose value may
// have changed; a receiver on the main thread gets it queued when the writer is another thread.
// QSettings writes changes to disk shortly after they are made and at destruction; synchronize()
// forces it.

#include <QMutex>
#include <QObject>
#include <QSettings>
#include <QStringList>
#include <QVariantMap>
#include <optional>

class UserDefaults : public QObject {
    Q_OBJECT
public:
    // The application's defaults. Made at the first call, which should come from the main thread.
    static UserDefaults &standard();

    // An empty name gives the standard file; any other its own file.
    explicit UserDefaults(const QString &suiteName = {}, QObject *parent = nullptr);
    ~UserDefaults() override;

    QString suiteName() const { return m_suiteName; }
    QString filePath() const;

    // The stored value, else the registered one, else an invalid QVariant.
    QVariant object(const QString &key) const;
    bool boolValue(const QString &key) const;       // numbers: not 0; text: begins with y, t or 1-9
    qint64 integerValue(const QString &key) const;  // text is parsed, fractions truncated
    double doubleValue(const QString &key) const;
    std::optional<QString> stringValue(const QString &key) const;       // numbers give their text
    std::optional<QByteArray> dataValue(const QString &key) const;      // byte arrays only
    std::optional<QStringList> stringArrayValue(const QString &key) const;

    // Stores value under key; an invalid QVariant removes the key instead.
    void set(const QString &key, const QVariant &value);
    void removeObject(const QString &key);

    // Adds values to the registration domain (a later registration of a key replaces the earlier).
    void registerDefaults(const QVariantMap &defaults);
    // Removes every stored value of this file; the registration domain stays.
    void removePersistentDomain();
    // Writes pending changes to disk now.
    void synchronize();

Q_SIGNALS:
    void changed(const QString &key);

private:
    // Mirrors a change into the file, on the owner's thread. An invalid value removes the key.
    void persist(const QString &key, const QVariant &value);
    void persistClear();

    QString m_suiteName;
    QSettings m_settings; // used on the owner's thread only
    mutable QMutex m_mutex;
    QVariantMap m_stored;
    QVariantMap m_registered;
};
