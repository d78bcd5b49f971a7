#include "model/store/StoreError.h"

StoreError::StoreError(int code, const QString &description, ManagedObject *object)
    : std::runtime_error(description.toStdString()), m_code(code), m_object(object) {}

QVariantMap StoreError::userInfo() const {
    QVariantMap info{{QStringLiteral("description"), description()}};
    if (!m_detailedErrors.isEmpty()) {
        QStringList details;
        for (const StoreError &error : m_detailedErrors)
            details << error.description();
        info.insert(QStringLiteral("detailedErrors"), details);
    }
    return info;
}
