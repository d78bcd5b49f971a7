#pragma once

#include <QString>

#include "tasks/MemoryCredentialStore.h"

// Passwords in the desktop keyring (the Secret Service on the session bus),
// as generic secrets with the attributes "service" and "account". When the
// keyring cannot be reached, a warning says so once and the passwords are
// kept for the running process only.
class SecretServiceCredentialStore : public CredentialStore {
public:
    std::optional<QString> password(const QString &service, const QString &account) override;
    void setPassword(const QString &service, const QString &account,
                     const std::optional<QString> &password) override;
    // False once the keyring failed and the process-only store took over.
    bool usesKeyring() const { return !m_unavailable; }

private:
    void fallBack(const QString &reason);

    bool m_unavailable = false;
    MemoryCredentialStore m_processOnly;
};
