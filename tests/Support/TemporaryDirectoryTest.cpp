#include "Support/TemporaryDirectory.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

constexpr QFileDevice::Permissions groupOrOthers = QFileDevice::ReadGroup | QFileDevice::WriteGroup | QFileDevice::ExeGroup
                                                  | QFileDevice::ReadOther | QFileDevice::WriteOther | QFileDevice::ExeOther;

bool isPrivateFolder(const QString &path)
{
    const QFileInfo info(path);
    return info.isDir() && info.isWritable() && (info.permissions() & groupOrOthers) == 0;
}

TEST(TemporaryDirectory, PrefersThePrivateRuntimeFolderAndClosesAnOpenOne)
{
    QTemporaryDir runtime, cache;
    const QString made = TemporaryDirectory::make(runtime.path(), cache.path());
    EXPECT_EQ(made, runtime.path() + QStringLiteral("/Lumevar"));
    EXPECT_TRUE(isPrivateFolder(made));

    // Found readable by others (planted or made by an old version): closed again.
    QFile::setPermissions(made, QFileDevice::Permissions(0x7755));
    EXPECT_EQ(TemporaryDirectory::make(runtime.path(), cache.path()), made);
    EXPECT_TRUE(isPrivateFolder(made));
}

TEST(TemporaryDirectory, FallsBackToAPrivateFolderInTheUsersCache)
{
    QTemporaryDir cache;
    for (const QString &runtime : {QString(), QStringLiteral("/nonexistent/runtime")}) {
        const QString made = TemporaryDirectory::make(runtime, cache.path());
        EXPECT_EQ(made, cache.path() + QStringLiteral("/Lumevar/Temporary"));
        EXPECT_TRUE(isPrivateFolder(made));
    }
    EXPECT_TRUE(isPrivateFolder(TemporaryDirectory::path()));
}

} // namespace
