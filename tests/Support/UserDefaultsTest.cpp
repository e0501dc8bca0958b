#include "Support/UserDefaults.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <gtest/gtest.h>
#include <thread>

namespace {

// A suite of its own per test, emptied before and after, so tests neither see nor leave values.
class UserDefaultsTest : public ::testing::Test {
protected:
    static QString suiteName()
    {
        return QStringLiteral("UserDefaultsTest-")
            + QString::fromUtf8(::testing::UnitTest::GetInstance()->current_test_info()->name());
    }
    void SetUp() override { defaults.removePersistentDomain(); }
    void TearDown() override
    {
        defaults.removePersistentDomain();
        QFile::remove(defaults.filePath());
    }
    UserDefaults defaults{suiteName()};
};

} // namespace

TEST_F(UserDefaultsTest, StoredValuesOverrideRegisteredOnesWhichComeBackAfterRemoval)
{
    defaults.registerDefaults({{QStringLiteral("padding"), 2}, {QStringLiteral("showSubtitles"), true}});
    EXPECT_EQ(defaults.integerValue(QStringLiteral("padding")), 2);
    EXPECT_TRUE(defaults.boolValue(QStringLiteral("showSubtitles")));

    defaults.set(QStringLiteral("padding"), 4);
    defaults.set(QStringLiteral("showSubtitles"), false);
    EXPECT_EQ(defaults.integerValue(QStringLiteral("padding")), 4);
    EXPECT_FALSE(defaults.boolValue(QStringLiteral("showSubtitles")));

    // Registered values live in memory only; stored ones reach the file.
    defaults.synchronize();
    {
        UserDefaults reopened(suiteName());
        EXPECT_EQ(reopened.integerValue(QStringLiteral("padding")), 4);
        EXPECT_FALSE(reopened.object(QStringLiteral("artworkSize")).isValid());
    }

    defaults.removeObject(QStringLiteral("padding"));
    EXPECT_EQ(defaults.integerValue(QStringLiteral("padding")), 2);
    EXPECT_FALSE(defaults.boolValue(QStringLiteral("showSubtitles")));

    defaults.set(QStringLiteral("performedFullSync"), true);
    defaults.removePersistentDomain();
    EXPECT_TRUE(defaults.boolValue(QStringLiteral("showSubtitles")));
    EXPECT_FALSE(defaults.boolValue(QStringLiteral("performedFullSync")));
    EXPECT_TRUE(UserDefaults(suiteName()).object(QStringLiteral("showSubtitles")).isNull());

    // Storing an invalid value removes the key.
    defaults.set(QStringLiteral("padding"), 9);
    defaults.set(QStringLiteral("padding"), QVariant());
    EXPECT_EQ(defaults.integerValue(QStringLiteral("padding")), 2);
}

TEST_F(UserDefaultsTest, AbsentAndMismatchedKeysGiveTheFallBacks)
{
    EXPECT_EQ(defaults.doubleValue(QStringLiteral("absent")), 0.0);
    EXPECT_FALSE(defaults.stringArrayValue(QStringLiteral("absent")));
    defaults.set(QStringLiteral("text"), QStringLiteral("hello"));
    defaults.set(QStringLiteral("bytes"), QByteArray("\x00\x01", 2));
    defaults.set(QStringLiteral("number"), 5);
    EXPECT_FALSE(defaults.dataValue(QStringLiteral("text")));
    EXPECT_FALSE(defaults.boolValue(QStringLiteral("text")));
    EXPECT_EQ(defaults.integerValue(QStringLiteral("text")), 0);
    EXPECT_FALSE(defaults.stringValue(QStringLiteral("bytes")));
    EXPECT_FALSE(defaults.stringArrayValue(QStringLiteral("number")));
    EXPECT_EQ(defaults.stringValue(QStringLiteral("number")), QStringLiteral("5"));
    EXPECT_EQ(defaults.dataValue(QStringLiteral("bytes")), QByteArray("\x00\x01", 2));
}

TEST_F(UserDefaultsTest, ValuesReadFromTheFileAsAnotherRunWroteItConvertToTheirTypes)
{
    // A file this process has not opened yet, so QSettings parses it rather than using its cache.
    UserDefaults fresh(suiteName() + QStringLiteral("-written"));
    QDir().mkpath(QFileInfo(fresh.filePath()).absolutePath());
    {
        QFile file(fresh.filePath());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("[General]\nflag=true\noff=false\ncount=42\nhuge=1152921504606846977\nratio=0.25\n"
                   "name=x\nblob=@ByteArray(abc)\nnone=@Invalid()\none=a\nmany=a, b\n");
    }
    UserDefaults reader(suiteName() + QStringLiteral("-written"));
    EXPECT_TRUE(reader.boolValue(QStringLiteral("flag")));
    EXPECT_FALSE(reader.boolValue(QStringLiteral("off")));
    EXPECT_EQ(reader.integerValue(QStringLiteral("count")), 42);
    EXPECT_EQ(reader.integerValue(QStringLiteral("huge")), 1152921504606846977LL);
    EXPECT_DOUBLE_EQ(reader.doubleValue(QStringLiteral("ratio")), 0.25);
    EXPECT_EQ(reader.integerValue(QStringLiteral("ratio")), 0);
    EXPECT_EQ(reader.stringValue(QStringLiteral("name")), QStringLiteral("x"));
    EXPECT_EQ(reader.dataValue(QStringLiteral("blob")), QByteArray("abc"));
    EXPECT_EQ(reader.stringArrayValue(QStringLiteral("none")), QStringList());
    EXPECT_EQ(reader.stringArrayValue(QStringLiteral("one")), QStringList{QStringLiteral("a")});
    EXPECT_EQ(reader.stringArrayValue(QStringLiteral("many")), (QStringList{QStringLiteral("a"), QStringLiteral("b")}));
    reader.removePersistentDomain();
    QFile::remove(reader.filePath());
}

TEST_F(UserDefaultsTest, SuitesKeepTheirOwnFilesInTheTestConfigurationFolder)
{
    UserDefaults &standard = UserDefaults::standard();
    const QString key = QStringLiteral("UserDefaultsTest.onlyInStandard");
    standard.set(key, 1);
    EXPECT_FALSE(defaults.object(key).isValid());
    defaults.set(key, 2);
    EXPECT_EQ(standard.integerValue(key), 1);
    standard.removeObject(key);

    EXPECT_NE(standard.filePath(), defaults.filePath());
    EXPECT_TRUE(standard.filePath().endsWith(QStringLiteral("/Lumevar/Lumevar.conf")));
    const QString configFolder = QStandardPaths::writableLocation(QStandardPaths::ConfigLocation);
    EXPECT_TRUE(configFolder.contains(QStringLiteral("qttest"))) << qPrintable(configFolder);
    EXPECT_TRUE(defaults.filePath().startsWith(configFolder));
    EXPECT_EQ(UserDefaults(QStringLiteral("a/b")).filePath(), configFolder + QStringLiteral("/Lumevar/a_b.conf"));
}

TEST_F(UserDefaultsTest, ChangesAreSignalledPerKeyAndWritesFromOtherThreadsAreSeen)
{
    QStringList keys;
    QObject receiver; // ends the connection with the test body, before TearDown clears the file
    QObject::connect(&defaults, &UserDefaults::changed, &receiver, [&keys](const QString &key) { keys << key; });
    defaults.set(QStringLiteral("a"), 1);
    defaults.set(QStringLiteral("b"), 2);
    defaults.removeObject(QStringLiteral("a"));
    defaults.removeObject(QStringLiteral("never stored"));
    defaults.registerDefaults({{QStringLiteral("c"), 3}});
    defaults.removePersistentDomain();
    EXPECT_EQ(keys, (QStringList{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("a"), QStringLiteral("c"),
                                 QStringLiteral("b")}));

    std::thread writer([this] {
        for (int i = 0; i < 50; ++i)
            defaults.set(QStringLiteral("fromWorker%1").arg(i), i);
    });
    for (int i = 0; i < 50; ++i)
        (void)defaults.integerValue(QStringLiteral("fromWorker%1").arg(i)); // reads racing the writes
    writer.join();
    EXPECT_EQ(defaults.integerValue(QStringLiteral("fromWorker49")), 49);
}
