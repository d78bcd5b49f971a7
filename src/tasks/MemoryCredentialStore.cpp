#include "tasks/MemoryCredentialStore.h"

std::optional<QString> MemoryCredentialStore::password(const QString &service,
                                                       const QString &account) {
    const auto found = m_secrets.constFind({service, account});
    if (found == m_secrets.constEnd())
        return std::nullopt;
    return *found;
}

void MemoryCredentialStore::setPassword(const QString &service, const QString &account,
                                        const std::optional<QString> &password) {
    if (password)
        m_secrets.insert({service, account}, *password);
    else
        m_secrets.remove({service, account});
}
