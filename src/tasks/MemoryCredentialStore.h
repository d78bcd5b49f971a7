#pragma once

#include <QHash>
#include <QPair>

#include "tasks/CredentialStore.h"

// Secrets kept for the running process only: what is used when no keyring
// can be reached, and in tests.
class MemoryCredentialStore : public CredentialStore {
public:
    std::optional<QString> password(const QString &service, const QString &account) override;
    void setPassword(const QString &service, const QString &account,
                     const std::optional<QString> &password) override;
    qsizetype count() const { return m_secrets.size(); }

private:
    QHash<QPair<QString, QString>, QString> m_secrets;
};
