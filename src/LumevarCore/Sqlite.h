#pragma once
// A thin layer over the SQLite C API for the store's worker thread: one connection with a cache
// of prepared statements, statements that bind and read Qt values, and a transaction guard.
// Every failure throws StoreError. Not thread-safe: the connection belongs to one thread.

#include <QByteArray>
#include <QByteArrayView>
#include <QDateTime>
#include <QHash>
#include <QString>
#include <optional>

struct sqlite3;
struct sqlite3_stmt;

class SqliteConnection;

// A prepared statement borrowed from the connection's cache; reset when the handle goes.
class SqliteQuery {
public:
    SqliteQuery(SqliteConnection &connection, sqlite3_stmt *statement);
    ~SqliteQuery();
    SqliteQuery(const SqliteQuery &) = delete;
    SqliteQuery &operator=(const SqliteQuery &) = delete;

    // Binds by 1-based index.
    void bind(int index, const QString &value);
    void bind(int index, const QByteArray &blob);
    void bind(int index, qint64 value);
    void bind(int index, int value) { bind(index, qint64(value)); }
    void bind(int index, double value);
    void bind(int index, const QDateTime &value); // milliseconds since 1970 UTC
    void bindNull(int index);
    template <typename T>
    void bind(int index, const std::optional<T> &value)
    {
        if (value)
            bind(index, *value);
        else
            bindNull(index);
    }
    // Binds the values to ?1, ?2, … in order.
    template <typename... Values>
    SqliteQuery &bindAll(const Values &...values)
    {
        int index = 0;
        (bind(++index, values), ...);
        return *this;
    }

    // Advances to the next row; false when there is none.
    bool next();
    // Runs a statement that returns no rows.
    void run();
    void reset();

    bool isNull(int column) const;
    qint64 int64(int column) const;
    double real(int column) const;
    QString text(int column) const;
    QByteArray blob(int column) const;
    // The column's bytes (UTF-8 for text) as SQLite holds them: valid until the next step or reset.
    QByteArrayView bytes(int column) const;
    std::optional<QString> optionalText(int column) const;
    std::optional<QDateTime> optionalDate(int column) const;

private:
    // Room in the handle's own buffer for n more bytes; nullptr when they do not fit.
    char *reserveBound(qsizetype n);

    SqliteConnection &m_connection;
    sqlite3_stmt *m_statement;
    // Texts and blobs bound since the last reset, kept here so that SQLite needs no copy of its
    // own (an allocation per value: a dozen per row of a sync). Never moves while the handle
    // lives; a value that does not fit is copied by SQLite as usual.
    qsizetype m_boundSize = 0;
    char m_bound[4096];
};

class SqliteConnection {
public:
    SqliteConnection() = default;
    ~SqliteConnection();
    SqliteConnection(const SqliteConnection &) = delete;
    SqliteConnection &operator=(const SqliteConnection &) = delete;

    // Opens or creates the file. Throws StoreError(openFailed).
    void open(const QString &path);
    void close();
    // Closes without folding the write-ahead log into the file: for a file that is about to be
    // moved aside as damaged, which must keep the bytes it had.
    void closeWithoutCheckpoint();
    bool isOpen() const { return m_db != nullptr; }
    // Whether SQLite opened the main database read-only (the file cannot be written).
    bool isReadOnly() const;
    // The absolute path of the open database's file; empty for a store in memory or a closed one.
    QString fileName() const;

    // Runs one or more statements without results.
    void execute(const char *sql);
    // A prepared statement for the text, made once and kept.
    SqliteQuery query(const char *sql);
    SqliteQuery query(const QByteArray &sql);
    // A single integer or text answer of a query without parameters.
    qint64 scalar(const char *sql);

    qint64 lastInsertRowID() const;
    int changes() const;
    // False once SQLite ended a transaction itself (it rolls back on some errors, a full disk
    // among them).
    bool inTransaction() const;

    [[noreturn]] void fail(const char *what);
    // SQLite's extended result code of the last failure this connection threw for (0: none).
    int lastErrorCode() const { return m_lastError; }

private:
    sqlite3 *m_db = nullptr;
    int m_lastError = 0;
    QHash<QByteArray, sqlite3_stmt *> m_statements;
};

// BEGIN IMMEDIATE on construction; ROLLBACK unless commit() was called.
class SqliteTransaction {
public:
    explicit SqliteTransaction(SqliteConnection &connection);
    ~SqliteTransaction();
    SqliteTransaction(const SqliteTransaction &) = delete;
    SqliteTransaction &operator=(const SqliteTransaction &) = delete;
    void commit();

private:
    SqliteConnection &m_connection;
    bool m_open = true;
};
