#include "tasks/SecretServiceCredentialStore.h"

// GLib names a structure field "signals", which Qt's keyword macro would replace.
#pragma push_macro("signals")
#undef signals
#include <libsecret/secret.h>
#pragma pop_macro("signals")

#include "model/foundation/Log.h"

namespace {

const SecretSchema *schema() {
    static const SecretSchema passwords = {"org.merovan.Password",
                                           SECRET_SCHEMA_NONE,
                                           {{"service", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                            {"account", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                            {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING}},
                                           0,
                                           nullptr,
                                           nullptr,
                                           nullptr,
                                           nullptr,
                                           nullptr,
                                           nullptr,
                                           nullptr};
    return &passwords;
}

// Takes the error's message and frees it; empty when there was none.
QString takeError(GError *error) {
    if (!error)
        return QString();
    const QString message = QString::fromUtf8(error->message);
    g_error_free(error);
    return message;
}

}  // namespace

void SecretServiceCredentialStore::fallBack(const QString &reason) {
    m_unavailable = true;
    logWarning("Keyring unavailable (%@): passwords are kept until the program ends", reason);
}

std::optional<QString> SecretServiceCredentialStore::password(const QString &service,
                                                              const QString &account) {
    if (m_unavailable)
        return m_processOnly.password(service, account);
    GError *error = nullptr;
    gchar *secret = secret_password_lookup_sync(schema(), nullptr, &error, "service",
                                                service.toUtf8().constData(), "account",
                                                account.toUtf8().constData(), nullptr);
    if (const QString failure = takeError(error); !failure.isEmpty()) {
        fallBack(failure);
        return m_processOnly.password(service, account);
    }
    if (!secret)
        return std::nullopt;
    const QString found = QString::fromUtf8(secret);
    secret_password_free(secret);
    return found;
}

void SecretServiceCredentialStore::setPassword(const QString &service, const QString &account,
                                               const std::optional<QString> &password) {
    if (m_unavailable) {
        m_processOnly.setPassword(service, account, password);
        return;
    }
    GError *error = nullptr;
    const QByteArray serviceText = service.toUtf8();
    const QByteArray accountText = account.toUtf8();
    if (password) {
        secret_password_store_sync(schema(), SECRET_COLLECTION_DEFAULT, serviceText.constData(),
                                   password->toUtf8().constData(), nullptr, &error, "service",
                                   serviceText.constData(), "account", accountText.constData(),
                                   nullptr);
    } else {
        secret_password_clear_sync(schema(), nullptr, &error, "service", serviceText.constData(),
                                   "account", accountText.constData(), nullptr);
    }
    if (const QString failure = takeError(error); !failure.isEmpty()) {
        fallBack(failure);
        m_processOnly.setPassword(service, account, password);
    }
}
