#include <gtest/gtest.h>

#include "caldav/support/FaultProxy.h"
#include "caldav/support/SyncTestSuite.h"

// Listing the calendar home through sync-collection. None of the test
// servers announces it ("calendarserver-home-sync"), and none answers it
// rightly: Cyrus and Xandikos answer a home's report with no members at all
// (only a token), Radicale refuses it (403), DAViCal fails (500); and none
// gives its home a sync token in a PROPFIND (Cyrus: 404). Cyrus is reached
// here through a proxy that adds the class to its DAV header: the home has
// no token to start from, so every cycle lists it in full, asks for its
// token each time, and sees calendars added, renamed and deleted there. The
// report itself and the merging of what it would list are not shown by any
// real server.
namespace {

class CalDAVHomeSyncTest : public SyncTestSuite<CyrusServer> {
protected:
    void SetUp() override {
        SyncTestSuite<CyrusServer>::SetUp();
        proxy = std::make_unique<FaultProxy>(server->port());
        ASSERT_EQ(proxy->listen(), QString());
        proxy->addDAVClass("calendarserver-home-sync");
    }
    QString serviceAddress() const override {
        return proxy->url(QLatin1String(SyncAccount<CyrusServer>::principal));
    }
    // A calendar made with an extended MKCOL (Cyrus fails to delete one made
    // by MKCALENDAR); its URL.
    QString makeDeletableCalendar(const QString &name, const QString &title) {
        const QString url = server->url(QLatin1String(SyncAccount<CyrusServer>::home) + name + '/');
        const QByteArray body =
            "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
            "<D:mkcol xmlns:D=\"DAV:\" xmlns:C=\"urn:ietf:params:xml:ns:caldav\"><D:set><D:prop>"
            "<D:resourcetype><D:collection/><C:calendar/></D:resourcetype><D:displayname>" +
            title.toUtf8() + "</D:displayname></D:prop></D:set></D:mkcol>";
        EXPECT_EQ(sendBlocking("MKCOL", url, user(), password(), body), 201);
        return url;
    }
    // A cycle that lists the home in full and asks for its token.
    void syncListingTheHome() {
        proxy->clearExchanges();
        bool tokenAsked = false;
        proxy->setOnRequest(
            [&tokenAsked](const FaultProxy::Exchange &exchange, const QByteArray &request) {
                tokenAsked = tokenAsked || (exchange.method == "PROPFIND" &&
                                            exchange.path == SyncAccount<CyrusServer>::home &&
                                            request.contains("sync-token"));
            });
        sync();
        proxy->setOnRequest({});
        EXPECT_TRUE(tokenAsked);
        EXPECT_TRUE(homeListed());
        for (const FaultProxy::Exchange &exchange : proxy->exchanges())
            EXPECT_FALSE(exchange.method == "REPORT" &&
                         exchange.path == SyncAccount<CyrusServer>::home);
        EXPECT_FALSE(fixture.log.contains("): webdav sync for home collection "));
        EXPECT_TRUE(fixture.syncData(service()).value("sync-token").toString().isEmpty());
    }
    bool homeListed() {
        for (const FaultProxy::Exchange &exchange : proxy->exchanges())
            if (exchange.method == "PROPFIND" && exchange.path == SyncAccount<CyrusServer>::home)
                return true;
        return false;
    }
    std::unique_ptr<FaultProxy> proxy;
};

}  // namespace

TEST_F(CalDAVHomeSyncTest, AHomeWithoutTokenIsListedInFullAndMissesNoCalendar) {
    syncListingTheHome();
    EXPECT_TRUE(fixture.syncData(service()).value("dav").toString().split(',').contains(
        "calendarserver-home-sync"));

    const QString url = makeDeletableCalendar("home-sync", "Added there");
    syncListingTheHome();
    EXPECT_EQ(calendarsTitled("Added there"), 1);

    rename(url, "Renamed there");
    syncListingTheHome();
    EXPECT_EQ(calendarsTitled("Added there"), 0);
    EXPECT_EQ(calendarsTitled("Renamed there"), 1);

    remove(url);
    syncListingTheHome();
    EXPECT_EQ(calendarsTitled("Renamed there"), 0);
}
