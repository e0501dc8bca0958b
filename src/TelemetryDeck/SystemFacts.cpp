#include "TelemetryDeck/SystemFacts.h"

#include <QFile>
#include <QRegularExpression>
#include <QSysInfo>

namespace {

QString operatingSystemName()
{
#if defined(Q_OS_MACOS)
    return QStringLiteral("macOS");
#elif defined(Q_OS_LINUX)
    return QStringLiteral("Linux");
#else
    return QSysInfo::kernelType();
#endif
}

// The first line of a small system file, without its line end; empty when unreadable.
QString firstLine(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readLine()).trimmed();
}

} // namespace

void SystemFacts::parseVersion(const QString &text, int &major, int &minor, int &patch)
{
    static const QRegularExpression numbers(QStringLiteral("^(\\d+)(?:\\.(\\d+))?(?:\\.(\\d+))?"));
    const auto match = numbers.match(text);
    major = match.captured(1).toInt();
    minor = match.captured(2).toInt();
    patch = match.captured(3).toInt();
}

const SystemFacts &SystemFacts::current()
{
    static const SystemFacts facts = [] {
        SystemFacts made;
        made.operatingSystem = operatingSystemName();
        // The distribution's version is what its users know; a rolling distribution has none,
        // and then the kernel's stands in.
        QString version = QSysInfo::productVersion();
        if (version.isEmpty() || version == QLatin1String("unknown") || !version.front().isDigit())
            version = QSysInfo::kernelVersion();
        parseVersion(version, made.majorVersion, made.minorVersion, made.patchVersion);
        made.architecture = QSysInfo::currentCpuArchitecture();
        made.modelName = firstLine(QStringLiteral("/sys/devices/virtual/dmi/id/product_name"));
        if (made.modelName.isEmpty())
            made.modelName = QSysInfo::currentCpuArchitecture();
        return made;
    }();
    return facts;
}

QString SystemFacts::systemVersion() const
{
    return QStringLiteral("%1 %2.%3.%4").arg(operatingSystem).arg(majorVersion).arg(minorVersion).arg(patchVersion);
}

QString SystemFacts::majorSystemVersion() const { return QStringLiteral("%1 %2").arg(operatingSystem).arg(majorVersion); }

QString SystemFacts::majorMinorSystemVersion() const
{
    return QStringLiteral("%1 %2.%3").arg(operatingSystem).arg(majorVersion).arg(minorVersion);
}
