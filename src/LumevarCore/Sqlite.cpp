#include "LumevarCore/Sqlite.h"

#include "LumevarCore/StoreSpace.h"

#include "Support/Error.h"
#include "Support/Log.h"

#include <QStringEncoder>
#include <QTimeZone>

#include <sqlite3.h>

#include <cstring>

SqliteQuery::SqliteQuery(SqliteConnection &connection, sqlite3_stmt *statement)
    : m_connection(connection), m_statement(statement) {}

SqliteQuery::~SqliteQuery() { reset(); }

void SqliteQuery::reset()
{
    sqlite3_reset(m_statement);
    // No binding points into the buffer any more: it can be filled again from its start.
    sqlite3_clear_bindings(m_statement);
    m_boundSize = 0;
}

char *SqliteQuery::reserveBound(qsizetype n)
{
    if (n > qsizetype(sizeof(m_bound)) - m_boundSize)
        return nullptr;
    char *start = m_bound + m_boundSize;
    m_boundSize += n;
    return start;
}

void SqliteQuery::bind(int index, const QString &value)
{
    QStringEncoder encoder(QStringConverter::Utf8);
    // UTF-8 takes at most three bytes per UTF-16 unit.
    if (char *start = reserveBound(value.size() * 3)) {
        const char *end = encoder.appendToBuffer(start, value);
        m_boundSize -= value.size() * 3 - (end - start);
        if (sqlite3_bind_text(m_statement, index, start, int(end - start), SQLITE_STATIC) != SQLITE_OK)
            m_connection.fail("bind");
        return;
    }
    thread_local QByteArray buffer;
    if (buffer.size() < value.size() * 3)
        buffer.resize(value.size() * 3);
    const char *end = encoder.appendToBuffer(buffer.data(), value);
    if (sqlite3_bind_text(m_statement, index, buffer.constData(), int(end - buffer.constData()), SQLITE_TRANSIENT) != SQLITE_OK)
        m_connection.fail("bind");
}

void SqliteQuery::bind(int index, const QByteArray &blob)
{
    // A zero-length blob must stay a blob, not become NULL.
    if (blob.isEmpty()) {
        if (sqlite3_bind_blob(m_statement, index, "", 0, SQLITE_STATIC) != SQLITE_OK)
            m_connection.fail("bind");
        return;
    }
    char *copy = reserveBound(blob.size());
    if (copy)
        memcpy(copy, blob.constData(), size_t(blob.size()));
    if (sqlite3_bind_blob(m_statement, index, copy ? copy : blob.constData(), int(blob.size()),
                          copy ? SQLITE_STATIC : SQLITE_TRANSIENT) != SQLITE_OK)
        m_connection.fail("bind");
}

void SqliteQuery::bind(int index, qint64 value)
{
    if (sqlite3_bind_int64(m_statement, index, value) != SQLITE_OK)
        m_connection.fail("bind");
}

void SqliteQuery::bind(int index, double value)
{
    if (sqlite3_bind_double(m_statement, index, value) != SQLITE_OK)
        m_connection.fail("bind");
}

void SqliteQuery::bind(int index, const QDateTime &value)
{
    if (value.isValid())
        bind(index, qint64(value.toMSecsSinceEpoch()));
    else
        bindNull(index);
}

void SqliteQuery::bindNull(int index)
{
    if (sqlite3_bind_null(m_statement, index) != SQLITE_OK)
        m_connection.fail("bind");
}

bool SqliteQuery::next()
{
    const int rc = sqlite3_step(m_statement);
    if (rc == SQLITE_ROW)
        return true;
    if (rc == SQLITE_DONE)
        return false;
    m_connection.fail("step");
}

void SqliteQuery::run()
{
    while (next()) {
    }
}

bool SqliteQuery::isNull(int column) const { return sqlite3_column_type(m_statement, column) == SQLITE_NULL; }

qint64 SqliteQuery::int64(int column) const { return sqlite3_column_int64(m_statement, column); }

double SqliteQuery::real(int column) const { return sqlite3_column_double(m_statement, column); }

QString SqliteQuery::text(int column) const
{
    const auto *data = reinterpret_cast<const char *>(sqlite3_column_text(m_statement, column));
    return QString::fromUtf8(data, sqlite3_column_bytes(m_statement, column));
}

QByteArray SqliteQuery::blob(int column) const
{
    const auto *data = static_cast<const char *>(sqlite3_column_blob(m_statement, column));
    return QByteArray(data, sqlite3_column_bytes(m_statement, column));
}

QByteArrayView SqliteQuery::bytes(int column) const
{
    // Asking for the blob first and the size second is the order SQLite documents as safe.
    const auto *data = static_cast<const char *>(sqlite3_column_blob(m_statement, column));
    return QByteArrayView(data, sqlite3_column_bytes(m_statement, column));
}

std::optional<QString> SqliteQuery::optionalText(int column) const
{
    if (isNull(column))
        return std::nullopt;
    return text(column);
}

std::optional<QDateTime> SqliteQuery::optionalDate(int column) const
{
    if (isNull(column))
        return std::nullopt;
    // Qt::UTC keeps the value inline; a QTimeZone would allocate and consult the zone per row.
    return QDateTime::fromMSecsSinceEpoch(int64(column), Qt::UTC);
}

SqliteConnection::~SqliteConnection() { close(); }

void SqliteConnection::open(const QString &path)
{
    // SQLite's memory statistics take a global mutex on every allocation; the store never reads
    // them. Only possible before the library initialises; later calls change nothing, harmlessly.
    static const bool configured = [] {
        sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
        return true;
    }();
    Q_UNUSED(configured);
    close();
    m_lastError = 0;
    const int rc = sqlite3_open_v2(path.toUtf8().constData(), &m_db,
                                   SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    if (rc != SQLITE_OK) {
        m_lastError = m_db ? sqlite3_extended_errcode(m_db) : rc;
        const QString message = m_db ? QString::fromUtf8(sqlite3_errmsg(m_db)) : QString::fromUtf8(sqlite3_errstr(rc));
        sqlite3_close(m_db);
        m_db = nullptr;
        throw StoreError(StoreError::openFailed, QStringLiteral("%1: %2").arg(path, message));
    }
    sqlite3_extended_result_codes(m_db, 1);
    sqlite3_busy_timeout(m_db, 5000);
}

void SqliteConnection::close()
{
    for (sqlite3_stmt *statement : std::as_const(m_statements))
        sqlite3_finalize(statement);
    m_statements.clear();
    if (m_db) {
        sqlite3_close_v2(m_db);
        m_db = nullptr;
    }
}

void SqliteConnection::closeWithoutCheckpoint()
{
    if (m_db)
        sqlite3_db_config(m_db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    close();
}

QString SqliteConnection::fileName() const
{
    if (!m_db)
        return {};
    const char *name = sqlite3_db_filename(m_db, "main");
    return name ? QString::fromUtf8(name) : QString();
}

bool SqliteConnection::isReadOnly() const { return m_db && sqlite3_db_readonly(m_db, "main") == 1; }

void SqliteConnection::execute(const char *sql)
{
    if (!m_db)
        throw StoreError(StoreError::notOpen, QStringLiteral("The store is not open"));
    char *message = nullptr;
    if (sqlite3_exec(m_db, sql, nullptr, nullptr, &message) != SQLITE_OK) {
        m_lastError = sqlite3_extended_errcode(m_db);
        const QString text = QString::fromUtf8(message ? message : sqlite3_errmsg(m_db));
        sqlite3_free(message);
        throw StoreError(StoreError::queryFailed, text);
    }
}

SqliteQuery SqliteConnection::query(const char *sql)
{
    return query(QByteArray::fromRawData(sql, qsizetype(qstrlen(sql))));
}

SqliteQuery SqliteConnection::query(const QByteArray &sql)
{
    if (!m_db)
        throw StoreError(StoreError::notOpen, QStringLiteral("The store is not open"));
    auto found = m_statements.constFind(sql);
    if (found != m_statements.constEnd())
        return SqliteQuery(*this, found.value());
    sqlite3_stmt *statement = nullptr;
    if (sqlite3_prepare_v3(m_db, sql.constData(), int(sql.size()), SQLITE_PREPARE_PERSISTENT, &statement, nullptr) != SQLITE_OK)
        fail("prepare");
    // A deep copy: the caller's text may be a view of a literal or a temporary.
    m_statements.insert(QByteArray(sql.constData(), sql.size()), statement);
    return SqliteQuery(*this, statement);
}

qint64 SqliteConnection::scalar(const char *sql)
{
    SqliteQuery q = query(sql);
    return q.next() ? q.int64(0) : 0;
}

qint64 SqliteConnection::lastInsertRowID() const { return sqlite3_last_insert_rowid(m_db); }

int SqliteConnection::changes() const { return sqlite3_changes(m_db); }

bool SqliteConnection::inTransaction() const { return m_db && !sqlite3_get_autocommit(m_db); }

bool isOutOfSpace(const Error &error)
{
    // The text of the code is what fail() puts in every StoreError the store throws.
    return error.domain() == QLatin1String("LumevarCore.StoreError") &&
           error.localizedDescription().endsWith(QString::fromUtf8(sqlite3_errstr(SQLITE_FULL)));
}

void SqliteConnection::fail(const char *what)
{
    m_lastError = m_db ? sqlite3_extended_errcode(m_db) : SQLITE_MISUSE;
    const QString message = m_db ? QString::fromUtf8(sqlite3_errmsg(m_db)) : QStringLiteral("no connection");
    throw StoreError(StoreError::queryFailed, QStringLiteral("%1 failed: %2").arg(QLatin1String(what), message));
}

SqliteTransaction::SqliteTransaction(SqliteConnection &connection) : m_connection(connection)
{
    m_connection.execute("BEGIN IMMEDIATE");
}

SqliteTransaction::~SqliteTransaction()
{
    // A statement that failed may have rolled the transaction back already: nothing is left to
    // undo, and a ROLLBACK would only fail.
    if (!m_open || !m_connection.inTransaction())
        return;
    try {
        m_connection.execute("ROLLBACK");
    } catch (const Error &error) {
        LUMEVAR_ERROR(Log::sync(), "Failed to roll back a store transaction: %@", error);
    }
}

void SqliteTransaction::commit()
{
    m_connection.execute("COMMIT");
    m_open = false;
}
