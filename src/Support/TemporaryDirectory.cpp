#include "Support/TemporaryDirectory.h"

#include "Support/Log.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

namespace {

constexpr QFileDevice::Permissions ownerOnly = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner
                                              | QFileDevice::ReadUser | QFileDevice::WriteUser | QFileDevice::ExeUser;

// Makes the folder (and its parents) and leaves it at mode 0700; false when that fails.
bool makePrivateFolder(const QString &folder)
{
    if (!QDir().mkpath(folder))
        return false;
    const QFileInfo info(folder);
    if (!info.isDir() || !info.isWritable())
        return false;
    if ((info.permissions() & ~ownerOnly) != 0 || (info.permissions() & ownerOnly) != ownerOnly) {
        if (!QFile::setPermissions(folder, ownerOnly))
            return false;
    }
    return true;
}

} // namespace

QString TemporaryDirectory::make(const QString &runtimeDirectory, const QString &cacheDirectory)
{
    if (!runtimeDirectory.isEmpty() && QFileInfo(runtimeDirectory).isDir()) {
        const QString folder = runtimeDirectory + QStringLiteral("/Lumevar");
        if (makePrivateFolder(folder))
            return folder;
    }
    if (!cacheDirectory.isEmpty()) {
        const QString folder = cacheDirectory + QStringLiteral("/Lumevar/Temporary");
        if (makePrivateFolder(folder))
            return folder;
    }
    LUMEVAR_ERROR(Log::app(), "Failed to create the temporary folder under %@ or %@", runtimeDirectory, cacheDirectory);
    return {};
}

QString TemporaryDirectory::path()
{
    static const QString folder = make(qEnvironmentVariable("XDG_RUNTIME_DIR"),
                                       QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation));
    return folder;
}
