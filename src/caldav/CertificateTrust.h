#pragma once

#include <QList>
#include <QSet>
#include <QSslError>
#include <QString>
#include <functional>

// Whether to talk to a server whose certificate the system does not trust.
// The system's own verdict comes first (a trusted certificate never gets
// here); then the hosts the user accepted during this run; then the prompt,
// if one is installed. Without a prompt an untrusted certificate is refused.
// Main thread only.
class CertificateTrust {
public:
    // Asks the user; true to connect anyway.
    using Prompt = std::function<bool(const QString &host, const QList<QSslError> &errors)>;

    static CertificateTrust &shared();

    // Whether the connection to `host` may go on despite `errors`. When the
    // prompt says yes and `rememberAnswer` is set, the host is accepted for
    // the rest of the run.
    bool isTrustedHost(const QString &host, const QList<QSslError> &errors, bool rememberAnswer);

    // The hosts accepted during this run (kept in memory only).
    void acceptHost(const QString &host);
    void forgetAcceptedHosts();
    bool isAcceptedHost(const QString &host) const;

    // Installs the prompt (the certificate dialog); nullptr removes it.
    void setPrompt(Prompt prompt);

private:
    QSet<QString> m_acceptedHosts;
    Prompt m_prompt;
};
