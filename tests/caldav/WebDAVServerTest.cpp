#include <gtest/gtest.h>

#include "caldav/support/DAVNames.h"

#include <QThread>
#include <QTimer>

#include "caldav/support/ClientProbe.h"
#include "caldav/support/DAVServers.h"
#include "caldav/support/ServerTestSuite.h"
#include "support/TestSupport.h"

// The client against real CalDAV servers started for these tests.
namespace {

QByteArray event(const QString &uid, const QString &summary) {
    return QStringLiteral(
               "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Merovan//Tests//EN\r\n"
               "BEGIN:VEVENT\r\nUID:%1\r\nDTSTAMP:20300101T000000Z\r\n"
               "DTSTART:20300110T100000Z\r\nDTEND:20300110T110000Z\r\nSUMMARY:%2\r\n"
               "END:VEVENT\r\nEND:VCALENDAR\r\n")
        .arg(uid, summary)
        .toUtf8();
}

// The first propstat of a response that holds `key`.
QVariantMap propstatWith(const QVariantMap &response, const QString &key) {
    for (const QVariant &propstat : response.value("propstat").toList())
        if (propstat.toMap().contains(key))
            return propstat.toMap();
    return {};
}

QVariantMap responseFor(const QVariantMap &results, const QString &hrefEnd) {
    for (const QVariant &response : results.value("multistatus").toList())
        if (response.toMap().value("href").toString().endsWith(hrefEnd))
            return response.toMap();
    return {};
}

QString etagOf(const ClientProbe &probe) {
    return probe.client.response()->headerValue("ETag").value_or(QString());
}

class RadicaleTest : public ServerTestSuite<RadicaleServer> {
protected:
    void SetUp() override {
        ServerTestSuite::SetUp();
        probe.login = QStringLiteral("test");
        probe.password = QStringLiteral("test");
        calendar = server->calendarURL();
    }
    // Runs the request already started and expects an answer with `status`.
    void expectStatus(int status) {
        ASSERT_TRUE(probe.wait()) << "no answer in time";
        ASSERT_EQ(probe.failed, 0) << (probe.error ? probe.error->text().toStdString() : "");
        EXPECT_EQ(probe.client.response()->statusCode, status);
    }
    QString put(const QString &name, const QString &summary) {
        probe.client.put(calendar + name, std::nullopt, "text/calendar", event(name, summary));
        expectStatus(201);
        return etagOf(probe);
    }

    QString calendar;
};

TEST_F(RadicaleTest, PropfindReadsPropertiesAtDepthZeroAndOne) {
    put("depth-a.ics", "A");
    probe.client.propfind(
        calendar, 0, 0,
        {"resourcetype", "displayname", kCalDAV + " supported-calendar-component-set", "sync-token",
         "current-user-privilege-set", kICal + " calendar-order"});
    expectStatus(207);
    QVariantMap results = probe.results();
    QVariantList responses = results.value("multistatus").toList();
    ASSERT_EQ(responses.size(), 1);
    const QVariantMap found = propstatWith(responses[0].toMap(), "resourcetype");
    EXPECT_EQ(found.value("property status").toInt(), 200);
    EXPECT_TRUE(found.value("resourcetype").toStringList().contains(kCalDAV + " calendar"));
    EXPECT_TRUE(found.value("resourcetype").toStringList().contains("collection"));
    EXPECT_FALSE(found.value("sync-token").toString().isEmpty());
    EXPECT_TRUE(found.value("current-user-privilege-set").toStringList().contains("write"));
    // Unknown properties come back as 404 propstats (unless the server is brief).
    for (const QVariant &propstat : responses[0].toMap().value("propstat").toList()) {
        if (propstat.toMap().value("property status").toInt() == 404) {
            EXPECT_FALSE(propstat.toMap().contains("resourcetype"));
        }
    }

    probe.client.propfind(calendar, 0, 1, {"getetag", "getcontenttype"});
    expectStatus(207);
    results = probe.results();
    const QVariantMap member = responseFor(results, "/depth-a.ics");
    ASSERT_FALSE(member.isEmpty());
    EXPECT_TRUE(propstatWith(member, "getetag").value("getetag").toString().startsWith('"'));
    EXPECT_GE(results.value("multistatus").toList().size(), 2);
}

TEST_F(RadicaleTest, PropnameListsTheNamesOfTheProperties) {
    probe.client.propfind(calendar, 0, 0, {});
    expectStatus(207);
    const QVariantList responses = probe.results().value("multistatus").toList();
    ASSERT_EQ(responses.size(), 1);
    const QVariantMap names = propstatWith(responses[0].toMap(), "displayname");
    EXPECT_TRUE(names.contains("getetag") || names.contains("resourcetype"));
    EXPECT_TRUE(names.contains(kCalDAV + " supported-calendar-component-set"));
    // Names only: no values.
    EXPECT_TRUE(names.value("resourcetype").toStringList().isEmpty());
}

TEST_F(RadicaleTest, PutCreatesOnlyOnceAndConditionsGuardChanges) {
    const QString etag = put("create.ics", "First");
    ASSERT_FALSE(etag.isEmpty());

    // Create-only: the resource exists now.
    probe.client.put(calendar + "create.ics", std::nullopt, "text/calendar",
                     event("create.ics", "Again"));
    expectStatus(412);

    probe.client.put(calendar + "create.ics", QStringLiteral("\"wrong\""), "text/calendar",
                     event("create.ics", "Wrong"));
    expectStatus(412);

    probe.client.get(calendar + "create.ics", etag);
    expectStatus(200);  // Radicale ignores If-None-Match on GET
    EXPECT_TRUE(probe.client.responseData().contains("SUMMARY:First"));
    EXPECT_EQ(probe.client.request().rawHeader("If-None-Match"), etag.toUtf8());

    probe.client.put(calendar + "create.ics", etag, "text/calendar", event("create.ics", "Second"));
    ASSERT_TRUE(probe.wait());
    EXPECT_LT(probe.client.response()->statusCode, 300);
    const QString newETag = etagOf(probe);

    probe.client.deleteResource(calendar + "create.ics", etag);
    expectStatus(412);
    probe.client.deleteResource(calendar + "create.ics", newETag);
    ASSERT_TRUE(probe.wait());
    EXPECT_LT(probe.client.response()->statusCode, 300);
    probe.client.get(calendar + "create.ics", std::nullopt);
    expectStatus(404);
}

TEST_F(RadicaleTest, SyncCollectionReportsChangesSinceAToken) {
    probe.client.mkcol(server->url("/test/synced/"), {kCalDAV + " calendar"}, {});
    expectStatus(201);
    calendar = server->url("/test/synced/");
    put("one.ics", "One");

    probe.client.syncCollectionReport(calendar, "", {"getetag"}, true);
    expectStatus(207);
    QVariantMap results = probe.results();
    const QString token = results.value("sync-token").toString();
    ASSERT_FALSE(token.isEmpty());
    ASSERT_EQ(results.value("multistatus").toList().size(), 1);
    EXPECT_FALSE(propstatWith(responseFor(results, "/one.ics"), "getetag").isEmpty());
    EXPECT_EQ(probe.client.foundProperties(), QStringList{"getetag"});

    put("two.ics", "Two");
    probe.client.syncCollectionReport(calendar, token, {"getetag"}, true);
    expectStatus(207);
    results = probe.results();
    const QVariantList changes = results.value("multistatus").toList();
    ASSERT_EQ(changes.size(), 1);
    EXPECT_TRUE(changes[0].toMap().value("href").toString().endsWith("/two.ics"));
    EXPECT_NE(results.value("sync-token").toString(), token);

    // A token the server never gave: refused with a precondition.
    probe.client.syncCollectionReport(calendar, "http://radicale.org/ns/sync/unknown", {"getetag"},
                                      true);
    ASSERT_TRUE(probe.wait());
    EXPECT_EQ(probe.client.response()->statusCode, 403);
    const QVariantList errors = probe.results().value("error").toList();
    ASSERT_FALSE(errors.isEmpty());
    EXPECT_TRUE(errors[0].toMap().contains("valid-sync-token"));
}

TEST_F(RadicaleTest, ExtendedMkcolAndProppatchSetAndRemoveProperties) {
    const QString made = server->url("/test/made/");
    probe.client.mkcol(made, {kCalDAV + " calendar"},
                       {{"displayname", "Made here"}, {kCalDAV + " calendar-description", "Desc"}});
    expectStatus(201);

    probe.client.proppatch(made,
                           {{"displayname", "Renamed"}, {kICal + " calendar-color", "#00FF00FF"}});
    expectStatus(207);
    const QVariantMap patched = probe.results().value("multistatus").toList()[0].toMap();
    EXPECT_EQ(propstatWith(patched, "displayname").value("property status").toInt(), 200);

    probe.client.propfind(made, 0, 0, {"displayname", kICal + " calendar-color", "resourcetype"});
    expectStatus(207);
    QVariantMap response = probe.results().value("multistatus").toList()[0].toMap();
    EXPECT_EQ(propstatWith(response, "displayname").value("displayname").toString(), "Renamed");
    EXPECT_EQ(propstatWith(response, kICal + " calendar-color").value(kICal + " calendar-color"),
              "#00FF00FF");
    EXPECT_TRUE(propstatWith(response, "resourcetype")
                    .value("resourcetype")
                    .toStringList()
                    .contains(kCalDAV + " calendar"));

    probe.client.proppatch(made, {{kICal + " calendar-color", QVariant()}});
    expectStatus(207);
    probe.client.propfind(made, 0, 0, {kICal + " calendar-color"});
    expectStatus(207);
    response = probe.results().value("multistatus").toList()[0].toMap();
    EXPECT_NE(propstatWith(response, kICal + " calendar-color").value("property status").toInt(),
              200);
}

TEST_F(RadicaleTest, BasicCredentialsGoBeforeAnyChallenge) {
    LogCapture log;
    probe.client.propfind(calendar, 0, 0, {"displayname"});
    expectStatus(207);
    ASSERT_EQ(probe.credentialsCalls.size(), 1);
    EXPECT_EQ(probe.credentialsCalls[0].retries, 0);
    // The log shows the request without the secret.
    EXPECT_TRUE(log.contains("Authorization: <>"));
    for (const LogMessage &message : log.messages())
        EXPECT_FALSE(message.text.contains(QByteArray("test:test").toBase64()));
    EXPECT_TRUE(log.contains("send request =>\nPROPFIND " + calendar));
    EXPECT_TRUE(log.contains("HTTP 207"));
}

TEST_F(RadicaleTest, AWrongPasswordReachesTheOwnerWithTheRetryCount) {
    probe.password = QStringLiteral("wrong");
    probe.maximumAnswers = 3;
    probe.client.propfind(calendar, 0, 0, {"displayname"});
    ASSERT_TRUE(probe.wait());
    QList<int> retries;
    for (const ClientProbe::CredentialsCall &call : probe.credentialsCalls)
        retries.append(call.retries);
    // Before sending, then one challenge per refused attempt until the owner gives up.
    EXPECT_EQ(retries, QList<int>({0, 1, 2, 3}));
    ASSERT_EQ(probe.failed, 1);
    ASSERT_TRUE(probe.error.has_value());
    EXPECT_TRUE(probe.error->isUserCancelledAuthentication());
    EXPECT_FALSE(probe.client.userAborted());

    // Cancelling the prompt on a challenge is the user's doing.
    probe.credentialsCalls.clear();
    probe.maximumAnswers = 1;
    probe.client.propfind(calendar, 0, 0, {"displayname"});
    ASSERT_TRUE(probe.wait());
    EXPECT_EQ(probe.credentialsCalls.size(), 2);
    EXPECT_TRUE(probe.error->isUserCancelledAuthentication());
    EXPECT_FALSE(probe.client.userAborted());
}

TEST_F(RadicaleTest, ResultsCanBeComputedOnAWorkerThread) {
    for (int i = 0; i < 20; ++i)
        put(QStringLiteral("bulk-%1.ics").arg(i), QStringLiteral("Bulk %1").arg(i));
    probe.client.propfind(calendar, 0, 1, {"getetag"});
    expectStatus(207);
    bool done = false;
    QThread *doneThread = nullptr;
    QEventLoop loop;
    probe.client.calcResultsDictInBackground([&] {
        done = true;
        doneThread = QThread::currentThread();
        loop.quit();
    });
    QTimer::singleShot(30000, &loop, &QEventLoop::quit);
    loop.exec();
    ASSERT_TRUE(done);
    EXPECT_EQ(doneThread, QThread::currentThread());
    const QVariantMap results = probe.results();
    EXPECT_GE(results.value("multistatus").toList().size(), 21);
    // The dictionary was handed over; the next call computes it again.
    EXPECT_EQ(probe.results(), results);
}

TEST(XandikosTest, GetWithTheCurrentETagAnswersNotModified) {
    XandikosServer server;
    const QString error = server.start();
    ASSERT_TRUE(error.isEmpty()) << error.toStdString();
    ClientProbe probe;
    probe.answer = -1;  // no credentials: the server has no authentication
    const QString url = server.calendarURL() + "x.ics";
    probe.client.put(url, std::nullopt, "text/calendar", event("x", "X"));
    ASSERT_TRUE(probe.wait());
    ASSERT_EQ(probe.client.response()->statusCode, 201);
    const QString etag = etagOf(probe);
    ASSERT_FALSE(etag.isEmpty());

    probe.client.get(url, etag);
    ASSERT_TRUE(probe.wait());
    EXPECT_EQ(probe.client.response()->statusCode, 304);
    probe.client.get(url, QStringLiteral("\"other\""));
    ASSERT_TRUE(probe.wait());
    EXPECT_EQ(probe.client.response()->statusCode, 200);

    probe.client.syncCollectionReport(server.calendarURL(), "", {"getetag"}, true);
    ASSERT_TRUE(probe.wait());
    const QVariantMap results = probe.results();
    EXPECT_EQ(results.value("status").toInt(), 207);
    EXPECT_FALSE(results.value("sync-token").toString().isEmpty());
    EXPECT_FALSE(responseFor(results, "x.ics").isEmpty());
}

TEST(DAViCalTest, PrincipalPropertiesAndCreateOnlyPut) {
    DAViCalServer server;
    const QString error = server.start();
    ASSERT_TRUE(error.isEmpty()) << error.toStdString();
    ClientProbe probe;
    probe.login = QStringLiteral("test");
    probe.password = QStringLiteral("test");
    probe.client.propfind(
        server.url("/caldav.php/test/"), 0, 0,
        {"displayname", kCalDAV + " calendar-home-set", kCalDAV + " calendar-user-address-set"});
    ASSERT_TRUE(probe.wait());
    ASSERT_EQ(probe.failed, 0);
    QVariantMap results = probe.results();
    EXPECT_TRUE(results.value("headers").toMap().contains("X-DAViCal-Version"));
    const QVariantMap principal =
        propstatWith(results.value("multistatus").toList().value(0).toMap(),
                     kCalDAV + " calendar-user-address-set");
    EXPECT_TRUE(principal.value(kCalDAV + " calendar-user-address-set")
                    .toString()
                    .contains("mailto:test@example.com"));

    probe.client.put(server.calendarURL() + "d.ics", std::nullopt, "text/calendar",
                     event("d", "D"));
    ASSERT_TRUE(probe.wait());
    EXPECT_EQ(probe.client.response()->statusCode, 201);
    probe.client.put(server.calendarURL() + "d.ics", std::nullopt, "text/calendar",
                     event("d", "D2"));
    ASSERT_TRUE(probe.wait());
    EXPECT_EQ(probe.client.response()->statusCode, 412);
}

}  // namespace
