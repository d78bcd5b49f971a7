#include <gtest/gtest.h>

#include "caldav/CertificateTrust.h"
#include "caldav/TaskManagerConnection.h"
#include "caldav/support/ClientProbe.h"
#include "caldav/support/DAVServers.h"
#include "caldav/support/ServerTestSuite.h"
#include "support/TestSupport.h"
#include "tasks/TaskManager.h"

// Answers of the canned server: what real servers send only now and then.
namespace {

class CannedTest : public ServerTestSuite<CannedServer> {
protected:
    void SetUp() override {
        ServerTestSuite::SetUp();
        probe.answer = -1;
    }
    QVariantMap answer() {
        EXPECT_TRUE(probe.wait());
        EXPECT_EQ(probe.failed, 0);
        return probe.results();
    }
};

TEST_F(CannedTest, ARedirectIsDeliveredNotFollowed) {
    probe.client.propfind(server->url("/redirect"), 0, 0, {"current-user-principal"});
    const QVariantMap results = answer();
    EXPECT_EQ(results.value("status").toInt(), 302);
    EXPECT_EQ(results.value("headers").toMap().value("Location").toString(), "/target/");
    EXPECT_EQ(results.value("url").toString(), server->url("/redirect"));
    EXPECT_FALSE(results.contains("multistatus"));
    EXPECT_EQ(probe.client.responseData(), "moved");
}

TEST_F(CannedTest, AForbiddenHTMLPageBecomesTheErrorText) {
    probe.client.get(server->url("/forbidden-html"), std::nullopt);
    const QVariantList errors = answer().value("error").toList();
    ASSERT_EQ(errors.size(), 1);
    EXPECT_EQ(errors[0].toMap(),
              (QVariantMap{{"403 Forbidden\nForbidden\nYou may not read \"calendar\".", ""}}));
}

TEST_F(CannedTest, AMultistatusThatIsNotXMLHasNoResponses) {
    LogCapture log;
    probe.client.propfind(server->url("/broken-207"), 0, 1, {"getetag"});
    const QVariantMap results = answer();
    EXPECT_EQ(results.value("status").toInt(), 207);
    EXPECT_FALSE(results.contains("multistatus"));
    EXPECT_TRUE(log.contains("WebDAVClient: error processing multistatus"));
}

TEST_F(CannedTest, TheServerSeesTheHeadersTheClientBuilt) {
    probe.client.setExpectXMLResponse(true);
    probe.client.propfind(server->url("/echo"), 0, 1, {"getetag"});
    const QVariantMap echoed = answer().value("multistatus").toList().value(0).toMap();
    EXPECT_EQ(echoed.value("method").toString(), "PROPFIND");
    // Only the first of the repeated header elements is kept; the request shows them all.
    EXPECT_TRUE(probe.client.responseData().contains("name=\"Depth\">1<"));
    EXPECT_TRUE(probe.client.responseData().contains("name=\"Prefer\">return=minimal<"));
    EXPECT_FALSE(probe.client.responseData().contains("name=\"Cookie\""));
}

TEST(DigestTest, DigestChallengesAreAnsweredWithTheOwnersCredentials) {
    CannedServer server({.digest = true});
    const QString error = server.start();
    ASSERT_TRUE(error.isEmpty()) << error.toStdString();
    ClientProbe probe;
    probe.login = QLatin1String(CannedServer::kDigestUser);
    probe.password = QLatin1String(CannedServer::kDigestPassword);
    probe.client.propfind(server.url("/cal/"), 0, 0, {"displayname"});
    ASSERT_TRUE(probe.wait());
    ASSERT_EQ(probe.failed, 0) << probe.error->text().toStdString();
    EXPECT_EQ(probe.client.response()->statusCode, 207);
    // Basic went first and was refused; the Digest challenge asked again.
    ASSERT_EQ(probe.credentialsCalls.size(), 2);
    EXPECT_EQ(probe.credentialsCalls[1].retries, 1);

    probe.credentialsCalls.clear();
    probe.password = QStringLiteral("wrong");
    probe.maximumAnswers = 2;
    probe.client.propfind(server.url("/cal/"), 0, 0, {"displayname"});
    ASSERT_TRUE(probe.wait());
    EXPECT_EQ(probe.failed, 1);
    EXPECT_EQ(probe.credentialsCalls.size(), 3);
}

// Each test starts its own server with a new certificate; no accepted host
// or prompt outlives a test.
class TLSTest : public ::testing::Test {
protected:
    void SetUp() override { CertificateTrust::shared().forgetAcceptedHosts(); }
    void TearDown() override {
        CertificateTrust::shared().setPrompt(nullptr);
        CertificateTrust::shared().forgetAcceptedHosts();
        // Kept-alive TLS connections close while the application still exists.
        TaskManagerConnection::networkAccessManager().clearConnectionCache();
    }
};

TEST_F(TLSTest, AnUntrustedCertificateIsRefusedUntilTheHostIsAccepted) {
    CannedServer server({.tls = true});
    const QString error = server.start();
    ASSERT_TRUE(error.isEmpty()) << error.toStdString();
    ClientProbe probe;
    probe.answer = -1;
    LogCapture log;
    probe.client.propfind(server.url("/cal/"), 0, 0, {"displayname"});
    ASSERT_TRUE(probe.wait());
    ASSERT_EQ(probe.failed, 1);
    ASSERT_TRUE(probe.error.has_value());
    EXPECT_TRUE(probe.error->is(WebDAVError::kURLDomain, WebDAVError::kServerCertificateUntrusted));
    EXPECT_TRUE(probe.error->description.contains("is not trusted"))
        << probe.error->text().toStdString();
    EXPECT_TRUE(probe.error->description.contains("self signed") ||
                probe.error->description.contains("self-signed"))
        << probe.error->text().toStdString();
    EXPECT_TRUE(probe.client.userAborted());
    EXPECT_TRUE(log.contains("WebDAVClient: cancelling authentication"));

    // A prompt that declines changes nothing; one that accepts lets it through
    // and is remembered for the host.
    int prompts = 0;
    CertificateTrust::shared().setPrompt([&](const QString &host, const QList<QSslError> &) {
        ++prompts;
        EXPECT_EQ(host, "127.0.0.1");
        return prompts > 1;
    });
    probe.client.propfind(server.url("/cal/"), 0, 0, {"displayname"});
    ASSERT_TRUE(probe.wait());
    EXPECT_EQ(probe.failed, 2);
    probe.client.propfind(server.url("/cal/"), 0, 0, {"displayname"});
    ASSERT_TRUE(probe.wait());
    EXPECT_EQ(probe.finished, 1);
    EXPECT_EQ(probe.client.response()->statusCode, 207);
    EXPECT_FALSE(probe.client.userAborted());
    EXPECT_TRUE(CertificateTrust::shared().isAcceptedHost("127.0.0.1"));
    probe.client.propfind(server.url("/cal/"), 0, 0, {"displayname"});
    ASSERT_TRUE(probe.wait());
    EXPECT_EQ(probe.finished, 2);
    EXPECT_EQ(prompts, 2);
    // The prompt held the task manager while it was open.
    EXPECT_EQ(TaskManager::sharedManager().suspendCount(), 0);
    TaskManager::stopSharedManager();
}

TEST_F(TLSTest, AStoredHostExceptionLetsTheConnectionThrough) {
    CannedServer server({.tls = true});
    const QString error = server.start();
    ASSERT_TRUE(error.isEmpty()) << error.toStdString();
    CertificateTrust::shared().acceptHost(QStringLiteral("127.0.0.1"));
    ClientProbe probe;
    probe.answer = -1;
    probe.client.get(server.url("/redirect"), std::nullopt);
    ASSERT_TRUE(probe.wait());
    ASSERT_EQ(probe.failed, 0);
    EXPECT_EQ(probe.client.response()->statusCode, 302);
}

}  // namespace
