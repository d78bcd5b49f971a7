#include <gtest/gtest.h>

#include <QCoreApplication>
#include <cstdio>

#include "model/ModelObject.h"
#include "tasks/MemoryCredentialStore.h"
#include "tasks/RemoteServiceTask.h"
#include "tasks/SecretServiceCredentialStore.h"
#include "tasks/TaskTestSupport.h"

namespace {

// Prints why a child routine failed and gives its exit code.
int fail(int code, const char *what) {
    std::fprintf(stderr, "%s\n", what);
    return code;
}

const QString kService = QStringLiteral("merovan - cal.example.org (anna)");
const QString kAccount = QStringLiteral("anna");

// The keyring round trip, on the bus the harness made.
MEROVAN_CHILD_ROUTINE(keyringRoundTrip) {
    SecretServiceCredentialStore store;
    if (store.password(kService, kAccount))
        return fail(10, "a fresh keyring already has the password");
    store.setPassword(kService, kAccount, QStringLiteral("s3cr\u00e9t"));
    store.setPassword(kService, QStringLiteral("OAuth"), QStringLiteral("token"));
    store.setPassword(kService, kAccount, QStringLiteral("s3cr\u00e9t 2"));
    if (!store.usesKeyring())
        return fail(11, "the keyring was not reached");
    // Another store reads it back: it is in the keyring, not in this object.
    SecretServiceCredentialStore reader;
    if (reader.password(kService, kAccount) != QStringLiteral("s3cr\u00e9t 2"))
        return fail(12, "the replaced password did not read back");
    if (reader.password(kService, QStringLiteral("OAuth")) != QStringLiteral("token"))
        return fail(13, "the second account did not read back");
    reader.setPassword(kService, kAccount, std::nullopt);
    if (store.password(kService, kAccount))
        return fail(14, "the removed password is still there");
    if (store.password(kService, QStringLiteral("OAuth")) != QStringLiteral("token"))
        return fail(15, "removing one account removed the other");
    return 0;
}

// No keyring: the passwords live as long as the process.
MEROVAN_CHILD_ROUTINE(keyringMissing) {
    LogCapture log;
    SecretServiceCredentialStore store;
    store.setPassword(kService, kAccount, QStringLiteral("kept"));
    if (store.usesKeyring())
        return fail(20, "a keyring answered on a bus that does not exist");
    if (store.password(kService, kAccount) != QStringLiteral("kept"))
        return fail(21, "the password was not kept for the process");
    if (log.count(QStringLiteral("Keyring unavailable (")) != 1)
        return fail(22, "no clear message about the missing keyring");
    store.setPassword(kService, kAccount, std::nullopt);
    if (store.password(kService, kAccount))
        return fail(23, "the password was not removed");
    return 0;
}

}  // namespace

TEST(SecretServiceCredentialStoreTest, KeepsPasswordsInTheKeyring) {
    const ProcessResult result = runOnPrivateBus("keyringRoundTrip");
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
}

TEST(SecretServiceCredentialStoreTest, WithoutAKeyringKeepsThemForTheProcess) {
    QProcessEnvironment noBus;
    noBus.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                 QStringLiteral("unix:path=/nonexistent/merovan-test-bus"));
    const ProcessResult result = runChildRoutine("keyringMissing", noBus);
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
}

class ServicePasswordTest : public TaskManagerTest {
protected:
    ServicePasswordTest() { CredentialStore::setShared(&m_store); }
    ~ServicePasswordTest() override { CredentialStore::setShared(nullptr); }

    ModelObject *service(const QString &url, const QString &login) {
        auto *object = ModelObject::as<ModelObject>(
            context().insertNewObject(QStringLiteral("RemoteService")));
        object->setValue(QStringLiteral("url"), url);
        if (!login.isEmpty())
            object->setMaskedStringValue(login, QStringLiteral("login"));
        return object;
    }
    QString entryName(const QString &host, const QString &login) const {
        return QStringLiteral("%1 - %2 (%3)")
            .arg(QFileInfo(QCoreApplication::applicationFilePath()).fileName(), host, login);
    }

    MemoryCredentialStore m_store;
};

TEST_F(ServicePasswordTest, EntriesAreNamedByProgramHostAndLogin) {
    ModelObject *account = service(QStringLiteral("https://cal.example.org:8443/dav/"), "anna");
    QString login;
    EXPECT_EQ(RemoteServiceTask::keychainEntryNameForService(account, QUrl(), &login),
              entryName(QStringLiteral("cal.example.org"), QStringLiteral("anna")));
    EXPECT_EQ(login, QStringLiteral("anna"));
    // The service's own url wins over the one asked about.
    EXPECT_EQ(RemoteServiceTask::hostNameForService(account, QUrl("https://other.example.org/")),
              QStringLiteral("cal.example.org"));

    ModelObject *bare = service(QString(), "bob");
    EXPECT_EQ(RemoteServiceTask::keychainEntryNameForService(
                  bare, QUrl(QStringLiteral("https://dav.example.net/x")), nullptr),
              entryName(QStringLiteral("dav.example.net"), QStringLiteral("bob")));
    EXPECT_FALSE(RemoteServiceTask::keychainEntryNameForService(bare, QUrl(), nullptr))
        << "no host, no name";
    ModelObject *anonymous = service(QStringLiteral("https://cal.example.org/"), QString());
    EXPECT_FALSE(RemoteServiceTask::keychainEntryNameForService(anonymous, QUrl(), nullptr))
        << "no login, no name";
}

TEST_F(ServicePasswordTest, TransientPasswordMovesIntoTheStore) {
    ModelObject *account = service(QStringLiteral("https://cal.example.org/"), "anna");
    account->setMaskedStringValue(QStringLiteral("typed"), QStringLiteral("transPassword"));
    EXPECT_EQ(RemoteServiceTask::passwordForService(account, QUrl()), QStringLiteral("typed"));
    EXPECT_EQ(m_store.count(), 0);

    RemoteServiceTask::setPassword(QStringLiteral("typed"), account, QUrl());
    EXPECT_FALSE(account->unmaskedStringValueForKey(QStringLiteral("transPassword")));
    EXPECT_EQ(m_store.password(entryName("cal.example.org", "anna"), "anna"), "typed");
    EXPECT_EQ(RemoteServiceTask::passwordForService(account, QUrl()), QStringLiteral("typed"));

    RemoteServiceTask::setPassword(std::nullopt, account, QUrl());
    EXPECT_EQ(m_store.count(), 0);
    EXPECT_FALSE(RemoteServiceTask::passwordForService(account, QUrl()));
}

TEST(ServicePasswordTextTest, TrimsWhiteSpaceAndLineEnds) {
    EXPECT_EQ(RemoteServiceTask::trimWhiteSpaceFromPassword(" \tpass word\r\n"), "pass word");
}
