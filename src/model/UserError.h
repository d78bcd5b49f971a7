#pragma once

#include <QString>
#include <QStringList>
#include <QVariantMap>

// An error shown to the user: a domain, a numeric code and a dictionary with
// the localised description, the recovery suggestion and the titles of the
// recovery options, plus two keys of the program's own: "Recovery", the
// action of each option (in the order of the options), and "Severity" (2 for
// internal errors).
class UserError {
public:
    static constexpr char kDomain[] = "MerovanErrorDomain";
    static constexpr char kDescriptionKey[] = "NSLocalizedDescription";
    static constexpr char kRecoverySuggestionKey[] = "NSLocalizedRecoverySuggestion";
    static constexpr char kRecoveryOptionsKey[] = "NSLocalizedRecoveryOptions";
    static constexpr char kRecoveryKey[] = "Recovery";
    static constexpr char kSeverityKey[] = "Severity";
    static constexpr int kInternalSeverity = 2;

    UserError(QString domain, qint64 code, QVariantMap userInfo = {});
    // An error with only a description.
    static UserError withDescription(const QString &domain, qint64 code,
                                     const QString &description);

    const QString &domain() const { return m_domain; }
    qint64 code() const { return m_code; }
    const QVariantMap &userInfo() const { return m_userInfo; }

    // Empty when the dictionary has none.
    QString localizedDescription() const;
    QString recoverySuggestion() const;
    void setRecoverySuggestion(const QString &suggestion);
    QStringList recoveryOptions() const;
    QStringList recoveryActions() const;
    // Appends an option with the action it triggers.
    void addRecoveryOption(const QString &title, const QString &action);
    // 0 when the dictionary has none.
    int severity() const;
    void setSeverity(int severity);
    bool isInternal() const { return severity() == kInternalSeverity; }

    bool operator==(const UserError &other) const = default;

private:
    QString m_domain;
    qint64 m_code;
    QVariantMap m_userInfo;
};
