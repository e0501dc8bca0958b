#include "LumevarCore/Sqlite.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

QString repeated(const QString &text, int times)
{
    QString result;
    for (int i = 0; i < times; ++i)
        result += text;
    return result;
}

} // namespace

// Bound texts and blobs are kept in the statement handle's own buffer while they fit and copied
// by SQLite when they do not; either way, what was bound is what the row holds, even when the
// values bound were temporaries gone before the statement ran.
TEST(SqliteTest, BoundValuesAreStoredExactlyWhetherTheyFitTheHandlesBufferOrNot)
{
    QTemporaryDir dir;
    SqliteConnection db;
    db.open(dir.filePath(QStringLiteral("bind.db")));
    db.execute("CREATE TABLE t(n INTEGER, a, b, c)");

    const QString accented = repeated(QStringLiteral("Żółć Café 🎵 "), 300); // past the buffer on its own
    const QByteArray bytes(5000, '\x7f');
    const QList<std::tuple<QString, QByteArray, QString>> rows = {
        {QStringLiteral("short"), QByteArray("\x00\x01\x02", 3), QStringLiteral("ascii")},
        {accented, bytes, QStringLiteral("after a value that did not fit")},
        {QString(), QByteArray(), QStringLiteral("Señorita")},
    };
    {
        SqliteTransaction transaction(db);
        for (qsizetype i = 0; i < rows.size(); ++i) {
            SqliteQuery insert = db.query("INSERT INTO t(n, a, b, c) VALUES (?1, ?2, ?3, ?4)");
            // Copies made for the call, overwritten before the statement runs.
            QString text = std::get<0>(rows[i]);
            QByteArray blob = std::get<1>(rows[i]);
            QString last = std::get<2>(rows[i]);
            text.detach();
            blob.detach();
            last.detach();
            insert.bindAll(qint64(i), text, blob, last);
            text.fill(u'x');
            blob.fill('x');
            last.fill(u'x');
            insert.run();
        }
        // One handle reused row after row, reset between them.
        SqliteQuery reused = db.query("INSERT INTO t(n, a, b, c) VALUES (?1, ?2, ?3, ?4)");
        for (int i = 0; i < 40; ++i) {
            reused.bindAll(qint64(100 + i), repeated(QStringLiteral("é"), i * 10), QByteArray(i * 10, 'b'), QString::number(i));
            reused.run();
            reused.reset();
        }
        transaction.commit();
    }

    SqliteQuery read = db.query("SELECT n, a, b, c, typeof(b) FROM t ORDER BY n");
    for (qsizetype i = 0; i < rows.size(); ++i) {
        ASSERT_TRUE(read.next());
        EXPECT_EQ(read.text(1), std::get<0>(rows[i]));
        EXPECT_EQ(read.blob(2), std::get<1>(rows[i]));
        EXPECT_EQ(read.text(4), QStringLiteral("blob")); // an empty blob stays a blob
        EXPECT_EQ(read.text(3), std::get<2>(rows[i]));
    }
    for (int i = 0; i < 40; ++i) {
        ASSERT_TRUE(read.next());
        EXPECT_EQ(read.int64(0), 100 + i);
        EXPECT_EQ(read.text(1), repeated(QStringLiteral("é"), i * 10));
        EXPECT_EQ(read.blob(2), QByteArray(i * 10, 'b'));
        EXPECT_EQ(read.text(3), QString::number(i));
    }
    EXPECT_FALSE(read.next());
}
