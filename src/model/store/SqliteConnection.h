#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QHash>
#include <QString>
#include <QVariant>
#include <memory>

struct sqlite3;
struct sqlite3_stmt;

class SqliteConnection;

// A table or column name as an SQL identifier, in double quotes.
inline QString sqlIdentifier(const QString &name) {
    return QLatin1Char('"') + name + QLatin1Char('"');
}

// A prepared statement. Bind values by 1-based index, step through rows, read
// columns by 0-based index. Resets itself for reuse when re-bound.
class SqliteStatement {
public:
    SqliteStatement(SqliteConnection *connection, sqlite3_stmt *statement);
    ~SqliteStatement();
    SqliteStatement(const SqliteStatement &) = delete;
    SqliteStatement &operator=(const SqliteStatement &) = delete;

    SqliteStatement &reset();
    // QString -> TEXT, integers and bool -> INTEGER, double -> REAL, Date -> REAL
    // seconds since 2001, QByteArray -> BLOB, no value -> NULL.
    SqliteStatement &bind(int index, const QVariant &value);
    SqliteStatement &bindInt(int index, qint64 value);
    SqliteStatement &bindNull(int index);
    // UTF-8 text or data bound without a copy: the bytes must stay as they
    // are until the statement has run. A text without bytes is an empty
    // text, not NULL, as long as its data pointer is set.
    SqliteStatement &bindTextInPlace(int index, QByteArrayView utf8);
    SqliteStatement &bindBlobInPlace(int index, const QByteArray &data);
    // Every parameter back to NULL.
    SqliteStatement &clearBindings();

    // Advances to the next row; false when there is none. Throws StoreError.
    bool step();
    // Runs a statement that returns no rows.
    void execute();

    int columnCount() const;
    bool isNull(int column) const;
    qint64 columnInt(int column) const;
    double columnDouble(int column) const;
    QString columnText(int column) const;
    QByteArray columnBlob(int column) const;
    // The column as a QVariant of the SQLite storage class it holds.
    QVariant columnValue(int column) const;

private:
    SqliteConnection *m_connection;
    sqlite3_stmt *m_statement;
};

// One SQLite connection, with a cache of prepared statements keyed by their
// SQL. Opened in WAL mode with foreign keys off (the store keeps its own
// relationships) and a busy timeout.
class SqliteConnection {
public:
    enum class Mode { ReadWrite, ReadOnly };
    // Throws StoreError (PersistentStoreOpen) when the file cannot be opened.
    SqliteConnection(const QString &path, Mode mode = Mode::ReadWrite);
    ~SqliteConnection();
    SqliteConnection(const SqliteConnection &) = delete;
    SqliteConnection &operator=(const SqliteConnection &) = delete;

    // Runs one or more statements without results.
    void execute(const QString &sql);
    // A cached prepared statement, reset and ready to bind.
    SqliteStatement &statement(const QString &sql);
    // A single value of a one-row query, or no value.
    QVariant queryValue(const QString &sql);

    void begin();
    void commit();
    void rollback();
    bool inTransaction() const;
    qint64 lastInsertRowId() const;

    QString errorMessage() const;
    sqlite3 *handle() const { return m_db; }
    const QString &path() const { return m_path; }

    [[noreturn]] void raise(const QString &what, int code) const;

private:
    QString m_path;
    sqlite3 *m_db = nullptr;
    QHash<QString, std::shared_ptr<SqliteStatement>> m_statements;
};
