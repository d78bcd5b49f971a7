#include "model/store/SqliteConnection.h"

#include <sqlite3.h>

#include "model/foundation/Date.h"
#include "model/store/StoreError.h"

// --- SqliteStatement ---------------------------------------------------------

SqliteStatement::SqliteStatement(SqliteConnection *connection, sqlite3_stmt *statement)
    : m_connection(connection), m_statement(statement) {}

SqliteStatement::~SqliteStatement() {
    sqlite3_finalize(m_statement);
}

SqliteStatement &SqliteStatement::reset() {
    sqlite3_reset(m_statement);
    sqlite3_clear_bindings(m_statement);
    return *this;
}

SqliteStatement &SqliteStatement::bind(int index, const QVariant &value) {
    if (!value.isValid() || value.isNull())
        return bindNull(index);
    int rc = SQLITE_OK;
    switch (value.typeId()) {
        case QMetaType::QString: {
            const QByteArray text = value.toString().toUtf8();
            rc = sqlite3_bind_text(m_statement, index, text.constData(), int(text.size()),
                                   SQLITE_TRANSIENT);
            break;
        }
        case QMetaType::Bool:
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::LongLong:
        case QMetaType::ULongLong:
        case QMetaType::Long:
        case QMetaType::ULong:
        case QMetaType::Short:
        case QMetaType::UShort:
            rc = sqlite3_bind_int64(m_statement, index, value.toLongLong());
            break;
        case QMetaType::Double:
        case QMetaType::Float:
            rc = sqlite3_bind_double(m_statement, index, value.toDouble());
            break;
        case QMetaType::QByteArray: {
            const QByteArray data = value.toByteArray();
            rc = sqlite3_bind_blob(m_statement, index, data.constData(), int(data.size()),
                                   SQLITE_TRANSIENT);
            break;
        }
        default:
            if (value.metaType() == QMetaType::fromType<Date>()) {
                rc = sqlite3_bind_double(m_statement, index,
                                         value.value<Date>().secondsSinceReference());
            } else {
                const QByteArray text = value.toString().toUtf8();
                rc = sqlite3_bind_text(m_statement, index, text.constData(), int(text.size()),
                                       SQLITE_TRANSIENT);
            }
            break;
    }
    if (rc != SQLITE_OK)
        m_connection->raise(QStringLiteral("bind"), StoreError::PersistentStoreOperation);
    return *this;
}

SqliteStatement &SqliteStatement::bindInt(int index, qint64 value) {
    sqlite3_bind_int64(m_statement, index, value);
    return *this;
}

SqliteStatement &SqliteStatement::bindNull(int index) {
    sqlite3_bind_null(m_statement, index);
    return *this;
}

SqliteStatement &SqliteStatement::bindTextInPlace(int index, QByteArrayView utf8) {
    if (sqlite3_bind_text(m_statement, index, utf8.data(), int(utf8.size()), SQLITE_STATIC) !=
        SQLITE_OK)
        m_connection->raise(QStringLiteral("bind"), StoreError::PersistentStoreOperation);
    return *this;
}

SqliteStatement &SqliteStatement::bindBlobInPlace(int index, const QByteArray &data) {
    if (sqlite3_bind_blob(m_statement, index, data.constData(), int(data.size()), SQLITE_STATIC) !=
        SQLITE_OK)
        m_connection->raise(QStringLiteral("bind"), StoreError::PersistentStoreOperation);
    return *this;
}

SqliteStatement &SqliteStatement::clearBindings() {
    sqlite3_clear_bindings(m_statement);
    return *this;
}

bool SqliteStatement::step() {
    const int rc = sqlite3_step(m_statement);
    if (rc == SQLITE_ROW)
        return true;
    if (rc == SQLITE_DONE)
        return false;
    const QString sql = QString::fromUtf8(sqlite3_sql(m_statement));
    sqlite3_reset(m_statement);
    m_connection->raise(sql, StoreError::PersistentStoreOperation);
}

void SqliteStatement::execute() {
    while (step()) {
    }
    sqlite3_reset(m_statement);
}

int SqliteStatement::columnCount() const {
    return sqlite3_column_count(m_statement);
}

bool SqliteStatement::isNull(int column) const {
    return sqlite3_column_type(m_statement, column) == SQLITE_NULL;
}

qint64 SqliteStatement::columnInt(int column) const {
    return sqlite3_column_int64(m_statement, column);
}

double SqliteStatement::columnDouble(int column) const {
    return sqlite3_column_double(m_statement, column);
}

QString SqliteStatement::columnText(int column) const {
    const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(m_statement, column));
    return QString::fromUtf8(text, sqlite3_column_bytes(m_statement, column));
}

QByteArray SqliteStatement::columnBlob(int column) const {
    const auto *data = static_cast<const char *>(sqlite3_column_blob(m_statement, column));
    return QByteArray(data, sqlite3_column_bytes(m_statement, column));
}

QVariant SqliteStatement::columnValue(int column) const {
    switch (sqlite3_column_type(m_statement, column)) {
        case SQLITE_INTEGER:
            return columnInt(column);
        case SQLITE_FLOAT:
            return columnDouble(column);
        case SQLITE_TEXT:
            return columnText(column);
        case SQLITE_BLOB:
            return columnBlob(column);
        default:
            return QVariant();
    }
}

// --- SqliteConnection --------------------------------------------------------

SqliteConnection::SqliteConnection(const QString &path, Mode mode) : m_path(path) {
    const int flags = (mode == Mode::ReadOnly ? SQLITE_OPEN_READONLY
                                              : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE) |
                      SQLITE_OPEN_NOMUTEX;
    if (sqlite3_open_v2(path.toUtf8().constData(), &m_db, flags, nullptr) != SQLITE_OK) {
        const QString message = m_db ? QString::fromUtf8(sqlite3_errmsg(m_db)) : QString();
        sqlite3_close(m_db);
        m_db = nullptr;
        throw StoreError(StoreError::PersistentStoreOpen,
                         QStringLiteral("cannot open %1: %2").arg(path, message));
    }
    sqlite3_busy_timeout(m_db, 5000);
    sqlite3_extended_result_codes(m_db, 1);
    // Reads go through a memory map of the file rather than a read call
    // per page: a range of items scattered over a large store reads
    // thousands of pages, far more than the page cache keeps.
    sqlite3_exec(m_db, "PRAGMA mmap_size=1073741824", nullptr, nullptr, nullptr);
}

SqliteConnection::~SqliteConnection() {
    m_statements.clear();  // finalize before closing
    sqlite3_close(m_db);
}

void SqliteConnection::execute(const QString &sql) {
    char *error = nullptr;
    if (sqlite3_exec(m_db, sql.toUtf8().constData(), nullptr, nullptr, &error) != SQLITE_OK) {
        const QString message = QString::fromUtf8(error ? error : "");
        sqlite3_free(error);
        throw StoreError(StoreError::PersistentStoreOperation,
                         QStringLiteral("%1 (%2)").arg(message, sql.left(200)));
    }
}

SqliteStatement &SqliteConnection::statement(const QString &sql) {
    auto it = m_statements.find(sql);
    if (it != m_statements.end())
        return it.value()->reset();
    sqlite3_stmt *statement = nullptr;
    const QByteArray text = sql.toUtf8();
    if (sqlite3_prepare_v3(m_db, text.constData(), int(text.size()), SQLITE_PREPARE_PERSISTENT,
                           &statement, nullptr) != SQLITE_OK)
        raise(sql, StoreError::PersistentStoreOperation);
    auto prepared = std::make_shared<SqliteStatement>(this, statement);
    m_statements.insert(sql, prepared);
    return *prepared;
}

QVariant SqliteConnection::queryValue(const QString &sql) {
    SqliteStatement &query = statement(sql);
    QVariant value;
    if (query.step())
        value = query.columnValue(0);
    query.reset();
    return value;
}

void SqliteConnection::begin() {
    execute(QStringLiteral("BEGIN IMMEDIATE"));
}

void SqliteConnection::commit() {
    execute(QStringLiteral("COMMIT"));
}

void SqliteConnection::rollback() {
    if (inTransaction())
        sqlite3_exec(m_db, "ROLLBACK", nullptr, nullptr, nullptr);
}

bool SqliteConnection::inTransaction() const {
    return sqlite3_get_autocommit(m_db) == 0;
}

qint64 SqliteConnection::lastInsertRowId() const {
    return sqlite3_last_insert_rowid(m_db);
}

QString SqliteConnection::errorMessage() const {
    return QString::fromUtf8(sqlite3_errmsg(m_db));
}

void SqliteConnection::raise(const QString &what, int code) const {
    throw StoreError(code, QStringLiteral("%1 (%2)").arg(errorMessage(), what.left(200)));
}
