#pragma once

#include <QString>
#include <optional>

// Where account passwords and tokens are kept: generic secrets named by a
// service name ("merovan - host (login)") and an account (the login, or
// "OAuth"). Main thread only.
class CredentialStore {
public:
    virtual ~CredentialStore();
    // None when there is no such secret (or it cannot be read).
    virtual std::optional<QString> password(const QString &service, const QString &account) = 0;
    // Adds or replaces the secret; none removes it.
    virtual void setPassword(const QString &service, const QString &account,
                             const std::optional<QString> &password) = 0;

    // The process-wide store: one kept in memory for the running process
    // unless another was installed (the caller keeps ownership; nullptr
    // restores the in-memory one).
    static CredentialStore &shared();
    static void setShared(CredentialStore *store);
};
