#include "Support/UserDefaults.h"

#include "Support/Log.h"

#include <QStandardPaths>
#include <QThread>
#include <cmath>

namespace {

QString defaultsFilePath(const QString &suiteName)
{
    QString name = suiteName.isEmpty() ? QStringLiteral("Lumevar") : suiteName;
    name.replace(QLatin1Char('/'), QLatin1Char('_')); // a suite is one file, never a folder
    return QStandardPaths::writableLocation(QStandardPaths::ConfigLocation) + QStringLiteral("/Lumevar/") + name
        + QStringLiteral(".conf");
}

bool isNumber(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
    case QMetaType::Float:
        return true;
    default:
        return false;
    }
}

// A number from a number or from its text (the INI file keeps numbers as text); nullopt otherwise.
std::optional<double> numberFrom(const QVariant &value)
{
    if (isNumber(value))
        return value.toDouble();
    if (value.typeId() == QMetaType::QString) {
        const QString text = value.toString().trimmed();
        if (text.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0)
            return 1.0;
        if (text.compare(QLatin1String("false"), Qt::CaseInsensitive) == 0)
            return 0.0;
        bool ok = false;
        const double number = text.toDouble(&ok);
        if (ok && std::isfinite(number))
            return number;
    }
    return std::nullopt;
}

} // namespace

UserDefaults &UserDefaults::standard()
{
    static UserDefaults defaults;
    return defaults;
}

UserDefaults::UserDefaults(const QString &suiteName, QObject *parent)
    : QObject(parent), m_suiteName(suiteName), m_settings(defaultsFilePath(suiteName), QSettings::IniFormat)
{
    if (m_settings.status() != QSettings::NoError)
        LUMEVAR_ERROR(Log::app(), "Failed to read the defaults file %@, starting empty", m_settings.fileName());
    for (const QString &key : m_settings.allKeys()) {
        // The INI file writes an empty string list as an invalid value.
        const QVariant value = m_settings.value(key);
        m_stored.insert(key, value.isValid() ? value : QVariant(QStringList()));
    }
}

UserDefaults::~UserDefaults() = default;

QString UserDefaults::filePath() const
{
    return m_settings.fileName();
}

void UserDefaults::persist(const QString &key, const QVariant &value)
{
    if (QThread::currentThread() != thread()) {
        QMetaObject::invokeMethod(this, [this, key, value] { persist(key, value); }, Qt::QueuedConnection);
        return;
    }
    if (value.isValid())
        m_settings.setValue(key, value);
    else
        m_settings.remove(key);
}

void UserDefaults::persistClear()
{
    if (QThread::currentThread() != thread()) {
        QMetaObject::invokeMethod(this, [this] { persistClear(); }, Qt::QueuedConnection);
        return;
    }
    m_settings.clear();
    m_settings.sync();
    if (m_settings.status() != QSettings::NoError)
        LUMEVAR_ERROR(Log::app(), "Failed to clear the defaults file %@", m_settings.fileName());
}

QVariant UserDefaults::object(const QString &key) const
{
    QMutexLocker lock(&m_mutex);
    const auto stored = m_stored.constFind(key);
    return stored != m_stored.cend() ? *stored : m_registered.value(key);
}

bool UserDefaults::boolValue(const QString &key) const
{
    const QVariant value = object(key);
    if (value.typeId() == QMetaType::QString) {
        const QString text = value.toString().trimmed();
        if (text.isEmpty())
            return false;
        const QChar first = text.front().toLower();
        return first == QLatin1Char('y') || first == QLatin1Char('t') || (first >= QLatin1Char('1') && first <= QLatin1Char('9'));
    }
    return numberFrom(value).value_or(0.0) != 0.0;
}

qint64 UserDefaults::integerValue(const QString &key) const
{
    const QVariant value = object(key);
    if (value.typeId() == QMetaType::LongLong || value.typeId() == QMetaType::Int)
        return value.toLongLong(); // exact, also beyond a double's 53 bits
    if (value.typeId() == QMetaType::QString) {
        bool ok = false;
        const qint64 exact = value.toString().trimmed().toLongLong(&ok);
        if (ok)
            return exact;
    }
    const double number = numberFrom(value).value_or(0.0);
    if (number >= 9.2e18 || number <= -9.2e18)
        return 0; // out of range: treated like an unreadable value
    return qint64(number);
}

double UserDefaults::doubleValue(const QString &key) const
{
    return numberFrom(object(key)).value_or(0.0);
}

std::optional<QString> UserDefaults::stringValue(const QString &key) const
{
    const QVariant value = object(key);
    if (value.typeId() == QMetaType::QString)
        return value.toString();
    if (isNumber(value))
        return value.toString();
    return std::nullopt;
}

std::optional<QByteArray> UserDefaults::dataValue(const QString &key) const
{
    const QVariant value = object(key);
    if (value.typeId() == QMetaType::QByteArray)
        return value.toByteArray();
    return std::nullopt;
}

std::optional<QStringList> UserDefaults::stringArrayValue(const QString &key) const
{
    const QVariant value = object(key);
    switch (value.typeId()) {
    case QMetaType::QStringList:
        return value.toStringList();
    case QMetaType::QString:
        // The INI file writes a list of one string as that string.
        return QStringList{value.toString()};
    case QMetaType::QVariantList: {
        QStringList strings;
        for (const QVariant &item : value.toList()) {
            if (item.typeId() != QMetaType::QString)
                return std::nullopt;
            strings << item.toString();
        }
        return strings;
    }
    default:
        return std::nullopt;
    }
}

void UserDefaults::set(const QString &key, const QVariant &value)
{
    if (!value.isValid()) {
        removeObject(key);
        return;
    }
    {
        QMutexLocker lock(&m_mutex);
        m_stored.insert(key, value);
    }
    persist(key, value);
    Q_EMIT changed(key);
}

void UserDefaults::removeObject(const QString &key)
{
    {
        QMutexLocker lock(&m_mutex);
        if (m_stored.remove(key) == 0)
            return;
    }
    persist(key, {});
    Q_EMIT changed(key);
}

void UserDefaults::registerDefaults(const QVariantMap &defaults)
{
    {
        QMutexLocker lock(&m_mutex);
        m_registered.insert(defaults);
    }
    for (auto it = defaults.keyBegin(); it != defaults.keyEnd(); ++it)
        Q_EMIT changed(*it);
}

void UserDefaults::removePersistentDomain()
{
    QStringList removed;
    {
        QMutexLocker lock(&m_mutex);
        removed = m_stored.keys();
        m_stored.clear();
    }
    persistClear();
    for (const QString &key : removed)
        Q_EMIT changed(key);
}

void UserDefaults::synchronize()
{
    if (QThread::currentThread() != thread()) {
        QMetaObject::invokeMethod(this, [this] { synchronize(); }, Qt::BlockingQueuedConnection);
        return;
    }
    m_settings.sync();
    if (m_settings.status() != QSettings::NoError)
        LUMEVAR_ERROR(Log::app(), "Failed to write the defaults file %@", m_settings.fileName());
}
