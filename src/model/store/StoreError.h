#pragma once

#include <QList>
#include <QString>
#include <QVariantMap>
#include <stdexcept>

class ManagedObject;

// A failure of the object store: opening, migrating, fetching or saving. The
// codes follow the store framework's numbering, so that callers can tell
// validation errors (code & ~1023 == 1024) and multiple validation errors
// (1560) from store I/O errors (256 and up).
class StoreError : public std::runtime_error {
public:
    enum Code {
        ValidationMissingMandatoryProperty = 1570,
        ValidationMultipleErrors = 1560,
        ValidationRelationshipDeniedDelete = 1600,
        PersistentStoreOpen = 256,
        PersistentStoreSave = 134030,
        PersistentStoreIncompatibleVersionHash = 134100,
        PersistentStoreOperation = 134070,
        ObjectNotFound = 133000,
    };

    StoreError(int code, const QString &description, ManagedObject *object = nullptr);

    int code() const { return m_code; }
    QString description() const { return QString::fromUtf8(what()); }
    ManagedObject *object() const { return m_object; }
    // The individual errors of a ValidationMultipleErrors error.
    const QList<StoreError> &detailedErrors() const { return m_detailedErrors; }
    void setDetailedErrors(QList<StoreError> errors) { m_detailedErrors = std::move(errors); }
    QVariantMap userInfo() const;

private:
    int m_code;
    ManagedObject *m_object;
    QList<StoreError> m_detailedErrors;
};
