#include "caldav/CertificateTrust.h"

#include "tasks/TaskManager.h"

CertificateTrust &CertificateTrust::shared() {
    static CertificateTrust trust;
    return trust;
}

bool CertificateTrust::isTrustedHost(const QString &host, const QList<QSslError> &errors,
                                     bool rememberAnswer) {
    if (isAcceptedHost(host))
        return true;
    if (!m_prompt)
        return false;
    // No other task runs while the user decides.
    TaskManager &manager = TaskManager::sharedManager();
    manager.suspend();
    const bool trusted = m_prompt(host, errors);
    manager.resume();
    if (trusted && rememberAnswer)
        acceptHost(host);
    return trusted;
}

void CertificateTrust::acceptHost(const QString &host) {
    m_acceptedHosts.insert(host.toLower());
}

void CertificateTrust::forgetAcceptedHosts() {
    m_acceptedHosts.clear();
}

bool CertificateTrust::isAcceptedHost(const QString &host) const {
    return m_acceptedHosts.contains(host.toLower());
}

void CertificateTrust::setPrompt(Prompt prompt) {
    m_prompt = std::move(prompt);
}
