#include "model/UserError.h"

UserError::UserError(QString domain, qint64 code, QVariantMap userInfo)
    : m_domain(std::move(domain)), m_code(code), m_userInfo(std::move(userInfo)) {}

UserError UserError::withDescription(const QString &domain, qint64 code,
                                     const QString &description) {
    return UserError(domain, code, {{QString::fromLatin1(kDescriptionKey), description}});
}

QString UserError::localizedDescription() const {
    return m_userInfo.value(QString::fromLatin1(kDescriptionKey)).toString();
}

QString UserError::recoverySuggestion() const {
    return m_userInfo.value(QString::fromLatin1(kRecoverySuggestionKey)).toString();
}

void UserError::setRecoverySuggestion(const QString &suggestion) {
    m_userInfo.insert(QString::fromLatin1(kRecoverySuggestionKey), suggestion);
}

QStringList UserError::recoveryOptions() const {
    return m_userInfo.value(QString::fromLatin1(kRecoveryOptionsKey)).toStringList();
}

QStringList UserError::recoveryActions() const {
    return m_userInfo.value(QString::fromLatin1(kRecoveryKey)).toStringList();
}

void UserError::addRecoveryOption(const QString &title, const QString &action) {
    m_userInfo.insert(QString::fromLatin1(kRecoveryOptionsKey), recoveryOptions() << title);
    m_userInfo.insert(QString::fromLatin1(kRecoveryKey), recoveryActions() << action);
}

int UserError::severity() const {
    return m_userInfo.value(QString::fromLatin1(kSeverityKey)).toInt();
}

void UserError::setSeverity(int severity) {
    m_userInfo.insert(QString::fromLatin1(kSeverityKey), severity);
}
